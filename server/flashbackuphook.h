// What a save is: dumps of the persistent databases, made at once, and then a wake-up for the flash thread.
//
// Owned by main, called by the persistence trigger; main thread only. While the flash-save command of the
// save before still runs, a save ends only after it.
#pragma once

#include "systema/persistscript.h"

#include <map>

namespace zel::cfg {

class FlashThread;
class SqliteDump;

class FlashBackupHook : public PersistScript::IHook
{
public:
    /// Neither is owned; a_iModule is the log module of main.
    FlashBackupHook(SqliteDump& a_oDump, FlashThread& a_oFlashThread, int a_iModule);

    /// Lets the databases go for the dumps, which the nosqldump mode leaves out, and takes them back.
    void persist(PersistScript::EPersistMode a_eMode) override;

private:
    SqliteDump& m_oDump;
    FlashThread& m_oFlashThread;
    const int m_iModule;
    std::map<int, unsigned> m_mCounts; // saves so far, by mode
};

} // namespace zel::cfg
