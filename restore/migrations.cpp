#include "restore/migrations.h"

#include "restore/textfile.h"
#include "storage/databasefiles.h"
#include "zel/log.h"

#include <algorithm>
#include <filesystem>
#include <set>

namespace fs = std::filesystem;

namespace zel::cfg {

namespace {

constexpr std::size_t c_iDigits = 3;

constexpr std::uint64_t c_iLongest = 16 * 1024 * 1024;

std::string readText(const std::string& a_sFile)
{
    TextFile oFile(a_sFile);
    if (oFile.size() > c_iLongest) {
        throw std::runtime_error("longer than 16 MiB");
    }
    std::string sText;
    oFile.read(sText, oFile.size());
    return sText;
}

/// For a message: control characters are shown as \\xNN when it is logged.
std::string firstLine(const std::string& a_sText)
{
    constexpr std::size_t c_iMostShown = 80;
    return a_sText.substr(0, std::min(a_sText.find('\n'), c_iMostShown));
}

/// 0 when the file is not named "NNN-name.sql".
int numberOf(const std::string& a_sFile)
{
    const bool bNamed = a_sFile.find_first_not_of("0123456789") == c_iDigits && a_sFile[c_iDigits] == '-' &&
                        a_sFile.size() > std::string_view("NNN-.sql").size() && a_sFile.ends_with(".sql");
    return bNamed ? std::stoi(a_sFile) : 0;
}

} // namespace

bool Migrations::Migration::isFor(const std::string& a_sDatabase) const
{
    return m_sText.starts_with("-- database: " + a_sDatabase + "\n");
}

Migrations::Migrations(const std::string& a_sDirectory, int a_iLogModule) : m_iModule(a_iLogModule)
{
    std::set<fs::path> lPaths; // of two with one number, the same is taken on every device
    try {
        if (fs::exists(a_sDirectory)) {
            const fs::directory_iterator oFiles(a_sDirectory);
            lPaths.insert(begin(oFiles), end(oFiles));
        }
    } catch (const fs::filesystem_error& oError) {
        ZEL_Sysloglevel_error(m_iModule, zel::here(), "%s", oError.what());
        m_bFaults = true;
    }
    for (const auto& oPath : lPaths) {
        try {
            add(oPath, oPath.filename());
        } catch (const std::runtime_error& oError) {
            ZEL_Sysloglevel_error(m_iModule, zel::here(), "%s is passed over: %s", oPath.c_str(),
                                  oError.what());
            m_bFaults = true;
        }
    }
}

void Migrations::add(const std::string& a_sPath, const std::string& a_sFile)
{
    const int iNumber = numberOf(a_sFile);
    if (iNumber == 0) {
        throw std::runtime_error("not named NNN-name.sql");
    }
    const Migration oMigration{a_sFile, readText(a_sPath)};
    if (std::ranges::none_of(systema::c_aDatabaseFiles, [&](const systema::DatabaseFile& a_oFile) {
            return a_oFile.m_bPersistent && oMigration.isFor(a_oFile.m_pName);
        })) {
        throw std::runtime_error(
            "its first line is not \"-- database: NAME\" of a persistent database but \"" +
            firstLine(oMigration.m_sText) + "\"");
    }
    const auto [itHolder, bNew] = m_mMigrations.emplace(iNumber, oMigration);
    if (!bNew) {
        throw std::runtime_error("has the number of " + itHolder->second.m_sFile);
    }
}

bool Migrations::areFor(const std::string& a_sName) const
{
    return std::ranges::any_of(m_mMigrations,
                               [&](const auto& a_oEntry) { return a_oEntry.second.isFor(a_sName); });
}

bool Migrations::run(systema::SqliteFile& a_oDatabase, const std::string& a_sName, int a_iVersion) const
{
    systema::SqliteFile::Transaction oTransaction(a_oDatabase);
    for (auto it = m_mMigrations.upper_bound(a_iVersion); it != m_mMigrations.end(); ++it) {
        if (!it->second.isFor(a_sName)) {
            continue;
        }
        const char* pFile = it->second.m_sFile.c_str();
        try {
            a_oDatabase.runForeign(it->second.m_sText);
            ZEL_Sysloglevel_info(m_iModule, zel::here(), "%s: migrated by %s", a_sName.c_str(), pFile);
        } catch (const systema::SqliteError& oError) {
            if (oError.isOfMachine()) {
                throw;
            }
            ZEL_Sysloglevel_error(m_iModule, zel::here(), "%s: migration %s failed, nothing is migrated: %s",
                                  a_sName.c_str(), pFile, oError.what());
            return false;
        }
    }
    oTransaction.commit();
    return true;
}

} // namespace zel::cfg
