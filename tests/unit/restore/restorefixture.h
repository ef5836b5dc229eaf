// What the tests of the restore share: a factory, a store and a database directory of their own.
#pragma once

#include "restore/restore.h"
#include "storage/databasefiles.h"
#include "tests/unit/storage/database.h"
#include "tests/unit/zel/tempdir.h"

#include <gmock/gmock.h>

#include <filesystem>
#include <map>
#include <sstream>
#include <string>

namespace tests {

class RestoreTest : public testing::Test
{
protected:
    static constexpr const char* c_pName = "persistent-web.db";

    RestoreTest()
    {
        std::filesystem::create_directories(m_oDir.file("factory/migrations"));
        for (const auto& oFile : systema::c_aDatabaseFiles) {
            setFactory(
                "CREATE TABLE T (Id INTEGER PRIMARY KEY, Text TEXT);\nINSERT INTO T VALUES(1,'factory');\n",
                oFile.m_pName);
        }
    }

    static std::string dump(const std::string& a_sStatements)
    {
        return "PRAGMA foreign_keys=OFF;\nBEGIN TRANSACTION;\n" + a_sStatements + "COMMIT;\n";
    }
    static std::string dumpOf(const std::string& a_sText)
    {
        return dump("CREATE TABLE T (Id INTEGER PRIMARY KEY, Text TEXT);\nINSERT INTO T VALUES(1,'" +
                    a_sText + "');\n");
    }

    void setFactory(const std::string& a_sStatements, const std::string& a_sName = c_pName)
    {
        const auto oFile = std::filesystem::path(a_sName).replace_extension(".sql");
        writeFile(m_oDir.file("factory/" + oFile.string()), dump(a_sStatements));
    }
    void addMigration(const std::string& a_sFile, const std::string& a_sStatements,
                      const std::string& a_sDatabase = c_pName)
    {
        writeFile(m_oDir.file("factory/migrations/" + a_sFile),
                  "-- database: " + a_sDatabase + "\n" + a_sStatements);
    }
    void save(int a_iGeneration, const std::string& a_sDump, const std::string& a_sName = c_pName)
    {
        const std::string sDirectory = m_oDir.file("store/generation." + std::to_string(a_iGeneration));
        std::filesystem::create_directories(sDirectory);
        writeFile(sDirectory + "/" + a_sName + ".sql", a_sDump);
    }

    /// Fills getSource() and getLog().
    zel::cfg::ERestored restore(bool a_bKeep = false)
    {
        std::ostringstream oReport;
        testing::internal::CaptureStderr();
        const auto eRestored = zel::cfg::restoreDatabases(
            {m_oDir.file("db"), m_oDir.file("store"), m_oDir.file("factory"), a_bKeep, m_oLimits}, oReport);
        m_sLog = testing::internal::GetCapturedStderr();
        m_mSources.clear();
        std::istringstream oLines(oReport.str());
        for (std::string sLine; std::getline(oLines, sLine);) {
            m_mSources[sLine.substr(0, sLine.find(": "))] = sLine.substr(sLine.find(": ") + 2);
        }
        return eRestored;
    }
    std::string getSource(const std::string& a_sName = c_pName) { return m_mSources[a_sName]; }
    const std::string& getLog() const { return m_sLog; }

    std::string database(const std::string& a_sName = c_pName) const { return m_oDir.file("db/" + a_sName); }
    std::string sql(const std::string& a_sSql, const std::string& a_sName = c_pName) const
    {
        return runSql(database(a_sName), a_sSql);
    }
    std::string text() const { return sql("SELECT Text FROM T"); }

    const TempDir m_oDir;
    zel::cfg::Limits m_oLimits = zel::cfg::Limits::ofMachine();

private:
    std::map<std::string, std::string> m_mSources;
    std::string m_sLog;
};

} // namespace tests
