#include "restore/saveclaim.h"

#include "zel/lines.h"
#include "zel/systempath.h"

#include <filesystem>
#include <stdexcept>
#include <string_view>
#include <unistd.h>

namespace fs = std::filesystem;

namespace zel::cfg {

namespace {

constexpr std::string_view c_sSaveCommand = "srv-save-config-active";
constexpr std::string_view c_sRestore = "ledger-restore";
constexpr std::size_t c_iMostOfCommandLine = 4096;

std::string claimOf(const std::string& a_sProcess)
{
    return systemPath("/var/run/" + std::string(c_sSaveCommand) + "." + a_sProcess);
}

/// The id may be that of another program by now.
bool isStoring(const std::string& a_sProcess)
{
    const auto oCommandLine = readFile("/proc/" + a_sProcess + "/cmdline", c_iMostOfCommandLine);
    return oCommandLine && (oCommandLine->find(c_sSaveCommand) != std::string::npos ||
                            oCommandLine->find(c_sRestore) != std::string::npos);
}

} // namespace

SaveClaim::SaveClaim() : m_sDirectory(claimOf(std::to_string(::getpid())))
{
    fs::create_directories(m_sDirectory);
}

SaveClaim::~SaveClaim()
{
    std::error_code oIgnored;
    fs::remove(m_sDirectory, oIgnored);
}

void SaveClaim::requireAlone() const
{
    const std::string sPrefix = claimOf("");
    for (const auto& oEntry : fs::directory_iterator(fs::path(m_sDirectory).parent_path())) {
        const std::string sPath = oEntry.path();
        if (!sPath.starts_with(sPrefix) || sPath == m_sDirectory) {
            continue;
        }
        if (const std::string sProcess = sPath.substr(sPrefix.size()); isStoring(sProcess)) {
            throw std::runtime_error("a save is under way, process " + sProcess);
        }
        std::error_code oIgnored;
        fs::remove_all(sPath, oIgnored); // of a process that was killed
    }
}

} // namespace zel::cfg
