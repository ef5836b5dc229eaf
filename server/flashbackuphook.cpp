#include "server/flashbackuphook.h"

#include "server/databasehold.h"
#include "server/flashthread.h"
#include "server/sqlitedump.h"
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
    {
        const DatabaseHold oHold(this);
        m_bDumped = a_eMode != PersistScript::c_ePersistNoSqlDump &&
                    m_oDump.dump(true, false, SqliteDump::c_iRetries);
    }
    m_oFlashThread.wake(a_eMode);
    const unsigned iCount = ++m_mCounts[a_eMode];
    const char* pWhat = a_eMode == PersistScript::c_ePersistNoSqlDump ? "Nothing persisted"
                        : m_bDumped                                   ? "Persisted data"
                                                                      : "Persisted some data";
    ZEL_Sysloglevel_info(m_iModule, {"main", 230}, "%s: mode: %d count: %u", pWhat, a_eMode, iCount);
}

std::optional<bool> FlashBackupHook::getResult(bool a_bWait)
{
    const auto oFlashed = m_oFlashThread.getResult(a_bWait);
    return oFlashed ? std::optional(*oFlashed && m_bDumped) : oFlashed;
}

} // namespace zel::cfg
