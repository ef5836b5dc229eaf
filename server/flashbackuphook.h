// What a save is: dumps of the persistent databases, made at once, and then a wake-up for the flash thread.
//
// Owned by main, called by the persistence trigger; main thread only. It has succeeded when all dumps are
// good and the flash-save command has: the command may well find nothing to do where a dump could not be
// written. It runs all the same, for what is good.
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
    std::optional<bool> getResult(bool a_bWait) override;

private:
    SqliteDump& m_oDump;
    FlashThread& m_oFlashThread;
    const int m_iModule;
    std::map<int, unsigned> m_mCounts; // saves so far, by mode
    bool m_bDumped = false;
};

} // namespace zel::cfg
