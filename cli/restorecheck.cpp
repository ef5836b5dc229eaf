#include "cli/commands.h"
#include "restore/dumpcheck.h"

#include <algorithm>
#include <filesystem>
#include <system_error>

namespace systema::cli {

namespace fs = std::filesystem;

namespace {

constexpr std::string_view c_sDumpSuffix = ".db.sql";
constexpr std::string_view c_sGeneration = "generation.";

/// What a directory holds of interest.
struct Content
{
    std::vector<std::string> m_lDumps;
    std::vector<std::string> m_lGenerations; // the newest first
    std::error_code m_oError;                // why it could not be read
};

bool isGeneration(const fs::path& a_oPath)
{
    const std::string sName = a_oPath.filename();
    std::error_code oIgnored;
    return sName.starts_with(c_sGeneration) && sName.size() > c_sGeneration.size() &&
           sName[c_sGeneration.size()] != '0' &&
           sName.find_first_not_of("0123456789", c_sGeneration.size()) == std::string::npos &&
           fs::is_directory(a_oPath, oIgnored);
}

Content readDirectory(const fs::path& a_oDirectory)
{
    Content oContent;
    fs::directory_iterator it(a_oDirectory, oContent.m_oError);
    for (; !oContent.m_oError && it != fs::directory_iterator(); it.increment(oContent.m_oError)) {
        const std::string sName = it->path().filename();
        if (sName.ends_with(c_sDumpSuffix)) {
            oContent.m_lDumps.push_back(sName);
        } else if (isGeneration(it->path())) {
            oContent.m_lGenerations.push_back(sName);
        }
    }
    std::ranges::sort(oContent.m_lDumps);
    std::ranges::sort(oContent.m_lGenerations, [](const std::string& a_sLeft, const std::string& a_sRight) {
        return std::pair(a_sLeft.size(), a_sLeft) > std::pair(a_sRight.size(), a_sRight); // as numbers
    });
    return oContent;
}

void addFindings(const fs::path& a_oDirectory, const fs::path& a_oBelow,
                 const std::vector<std::string>& a_lDumps, std::vector<Finding>& a_lFindings)
{
    for (const std::string& sName : a_lDumps) {
        const fs::path oDump = a_oBelow / sName;
        a_lFindings.push_back({oDump, zel::cfg::findDumpFault(a_oDirectory / oDump)});
    }
}

} // namespace

Outcome runRestoreCheck(Session& a_oSession, const Arguments& a_oArguments)
{
    const fs::path oDirectory(a_oArguments.m_sDirectory);
    const Content oContent = readDirectory(oDirectory);
    if (oContent.m_oError) {
        return Outcome::usage("cannot read " + a_oArguments.m_sDirectory + ": " +
                              oContent.m_oError.message());
    }
    std::vector<Finding> lFindings;
    addFindings(oDirectory, {}, oContent.m_lDumps, lFindings);
    for (const std::string& sGeneration : oContent.m_lGenerations) {
        const Content oDumps = readDirectory(oDirectory / sGeneration);
        addFindings(oDirectory, sGeneration, oDumps.m_lDumps, lFindings);
        if (oDumps.m_oError) {
            lFindings.push_back({sGeneration, "cannot be read: " + oDumps.m_oError.message()});
        } else if (oDumps.m_lDumps.empty()) {
            lFindings.push_back({sGeneration, "no dump in it"});
        }
    }
    if (lFindings.empty()) {
        return client::Status::refused(EResultCode::Failure, "no dump in " + a_oArguments.m_sDirectory);
    }
    a_oSession.m_oPrinter.printFindings("dump", lFindings);
    const auto iBad =
        std::ranges::count_if(lFindings, [](const Finding& a_oFinding) { return bool(a_oFinding.m_oFault); });
    return iBad == 0 ? Outcome()
                     : client::Status::refused(EResultCode::Failure, "bad: " + std::to_string(iBad) + " of " +
                                                                         std::to_string(lFindings.size()));
}

} // namespace systema::cli
