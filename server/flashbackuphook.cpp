#include "server/flashbackuphook.h"

#include "server/flashthread.h"
#include "server/sqlitedump.h"
#include "systema/configdispatcher.h"
#include "zel/log.h"

namespace zel::cfg {

FlashBackupHook::FlashBackupHook(SqliteDump& a_oDump, FlashThread& a_oFlashThread, int a_iModule)
    : m_oDump(a_oDump),
      m_oFlashThread(a_oFlashThread),
      m_iModule(a_iModule)
{
}

void FlashBackupHook::persist(PersistScript::EPersistMode a_eMode)
{
    auto& oDispatcher = systema::ConfigDispatcher::instance();
    oDispatcher.close(this);
    if (a_eMode != PersistScript::c_ePersistNoSqlDump) {
        m_oDump.dump(true, false, SqliteDump::c_iRetries);
    }
    oDispatcher.open(this);
    m_oFlashThread.wake(a_eMode);
    const unsigned iCount = ++m_mCounts[a_eMode];
    ZEL_Sysloglevel_info(m_iModule, {"main", 230}, "Persisted data: mode: %d count: %u", a_eMode, iCount);
}

} // namespace zel::cfg
