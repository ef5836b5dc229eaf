// The command line of ledgerd.
#pragma once

#include "storage/storeconfiguration.h"
#include "systema/persistscript.h"

#include <optional>
#include <string>
#include <vector>

namespace zel::cfg {

/// The settings that the command line gives; constant for the life of the process.
struct Options
{
    systema::StoreConfiguration m_oStore{}; // has the default directories
    std::string m_sDatabasePath;
    std::string m_sSocketFile;
    std::string m_sFifoFile;
    std::string m_sPidPath;
    std::string m_sDumpPath;
    unsigned long m_iFlashWaitSeconds = PersistScript::c_iDefaultWaitSeconds; // 0: no delayed flash save
    bool m_bBackground = false;
    bool m_bVerbose = false;
    std::vector<std::string> m_lMapFiles;
};

/// Reads the options in the order in which they stand, and prints what each of them prints.
/// Returns the exit status when the process is to end at once, nothing when it is to go on.
std::optional<int> parseOptions(Options& a_oOptions, int a_iArgc, char* a_pArgv[]);

} // namespace zel::cfg
