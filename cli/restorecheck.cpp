#include "cli/commands.h"
#include "restore/dumpset.h"
#include "restore/generations.h"
#include "restore/restore.h"
#include "storage/storeconfiguration.h"

#include <algorithm>
#include <filesystem>

namespace systema::cli {

namespace fs = std::filesystem;

namespace {

constexpr std::string_view c_sDumpSuffix = ".db.sql";

/// As a restore on this device judges it.
std::optional<std::string> findFault(const fs::path& a_oDump)
{
    if (!zel::cfg::isDumpName(a_oDump.filename())) {
        return "not a dump of a persistent database";
    }
    static const std::string sFactory = StoreConfiguration().directory(StoreConfiguration::c_pFactory);
    return zel::cfg::findFault(
        {.m_sDatabaseDirectory = {}, .m_sStoreDirectory = {}, .m_sFactoryDirectory = sFactory}, a_oDump);
}

/// Adds what is found in a directory of dumps, and which of the wanted ones is missing. False when there is
/// no dump. Throws fs::filesystem_error.
bool checkDumps(const fs::path& a_oDirectory, const fs::path& a_oShown,
                const std::vector<std::string>& a_lWanted, std::vector<Finding>& a_lFindings)
{
    std::vector<std::string> lNames;
    for (const auto& oEntry : fs::directory_iterator(a_oDirectory)) {
        if (std::string sName = oEntry.path().filename(); sName.ends_with(c_sDumpSuffix)) {
            lNames.push_back(std::move(sName));
        }
    }
    if (lNames.empty()) {
        return false;
    }
    std::ranges::sort(lNames);
    for (const std::string& sName : lNames) {
        a_lFindings.push_back({a_oShown / sName, findFault(a_oDirectory / sName)});
    }
    for (const std::string& sName : a_lWanted) {
        if (!std::ranges::binary_search(lNames, sName)) {
            a_lFindings.push_back({a_oShown / sName, "is missing"});
        }
    }
    return true;
}

/// As a boot judges it: of a generation of older firmware, which has no list, none is missing.
std::vector<std::string> listedDumps(const zel::cfg::Generation& a_oGeneration)
{
    auto lNames = zel::cfg::dumpNames();
    std::erase_if(lNames, [&](const std::string& a_sName) { return !lists(a_oGeneration, a_sName); });
    return lNames;
}

std::vector<Finding> checkDirectory(const std::string& a_sDirectory)
{
    std::vector<Finding> lFindings;
    checkDumps(a_sDirectory, {}, zel::cfg::dumpNames(), lFindings);
    for (const auto& oGeneration : zel::cfg::findGenerations(a_sDirectory)) {
        const fs::path oDirectory(oGeneration.m_sDirectory);
        const fs::path oShown = oDirectory.filename();
        if (!checkDumps(oDirectory, oShown, listedDumps(oGeneration), lFindings)) {
            lFindings.push_back({oShown, "no dump in it"});
        }
    }
    return lFindings;
}

} // namespace

Outcome runRestoreCheck(Session& a_oSession, const Arguments& a_oArguments)
{
    std::vector<Finding> lFindings;
    try {
        lFindings = checkDirectory(a_oArguments.m_sDirectory);
    } catch (const fs::filesystem_error& oError) {
        const bool bFile = oError.code() == std::errc::not_a_directory;
        return Outcome::usage("cannot read " + oError.path1().string() + ": " + oError.code().message() +
                              (bFile ? "; unpack an archive first" : ""));
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
