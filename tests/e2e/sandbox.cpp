#include "tests/e2e/sandbox.h"

#include <sqlite3.h>

#include <cstdlib>
#include <filesystem>
#include <iostream>
#include <map>
#include <memory>

namespace fs = std::filesystem;

namespace e2e {

namespace {

/// What the tests add to the factory's databases.
const std::map<std::string, std::string>& testTables()
{
    static const std::map<std::string, std::string> s_mTables{
        {"persistent-common.db",
         "CREATE TABLE Item (Id INTEGER PRIMARY KEY, Name VARCHAR(32) NOT NULL UNIQUE, Number INTEGER,"
         " Size INTEGER UNSIGNED, Note TEXT, Raw BLOB);"
         "INSERT INTO Item VALUES (0, 'default', 0, 0, 'zero', NULL), (1, 'apple', -5, 4000000000, 'red', "
         "NULL),"
         " (2, 'pear', 7, 0, NULL, NULL), (3, 'O''Neil', NULL, NULL, '', NULL);"
         "CREATE TABLE ItemPart (Id INTEGER PRIMARY KEY, ItemId INTEGER NOT NULL REFERENCES Item(Id));"
         "INSERT INTO ItemPart VALUES (1, 2);"
         "CREATE VIEW ItemView AS SELECT Id, Name FROM Item;"},
        {"services.db", "CREATE TABLE Job (Id INTEGER PRIMARY KEY, Name TEXT CHECK (Name <> 'refused'));"
                        "INSERT INTO Job VALUES (0, 'default'), (1, 'first');"},
        {"transient.db", "CREATE TABLE Scratch (Id INTEGER PRIMARY KEY, Text TEXT);"
                         "CREATE TABLE Twins (Id INTEGER, Text TEXT);"
                         "INSERT INTO Twins VALUES (1, 'a'), (2, 'b'), (2, 'b');"
                         "CREATE TABLE OnlyZero (Id INTEGER PRIMARY KEY, Text TEXT);"
                         "INSERT INTO OnlyZero VALUES (0, 'hidden');"},
    };
    return s_mTables;
}

std::vector<std::string> execute(const std::string& a_sFile, const std::string& a_sStatements)
{
    sqlite3* pRaw = nullptr;
    const int iOpened = sqlite3_open(a_sFile.c_str(), &pRaw);
    const std::unique_ptr<sqlite3, decltype(&sqlite3_close)> pDatabase(pRaw, &sqlite3_close);
    std::vector<std::string> lCells;
    const auto takeCell = [](void* a_pCells, int, char** a_pTexts, char**) {
        static_cast<std::vector<std::string>*>(a_pCells)->push_back(a_pTexts[0] ? a_pTexts[0] : "NULL");
        return 0;
    };
    if (iOpened != SQLITE_OK || sqlite3_exec(pRaw, "PRAGMA synchronous = OFF", nullptr, nullptr, nullptr) ||
        sqlite3_exec(pRaw, a_sStatements.c_str(), takeCell, &lCells, nullptr) != SQLITE_OK) {
        std::cerr << a_sFile << ": " << sqlite3_errmsg(pRaw) << std::endl;
        std::abort();
    }
    return lCells;
}

/// The databases as every test finds them, made once.
class Template
{
public:
    Template()
    {
        for (const auto& sName : databaseNames()) {
            const fs::path oDump = fs::path(LEDGERD_FACTORY) / fs::path(sName).replace_extension(".sql");
            const auto it = testTables().find(sName);
            execute(m_oDir.file(sName), readFile(oDump) + (it != testTables().end() ? it->second : ""));
        }
    }

    void copyTo(const fs::path& a_oDirectory) const { fs::copy(m_oDir.path(), a_oDirectory); }

private:
    const TempDir m_oDir;
};

} // namespace

const std::vector<std::string>& databaseNames()
{
    static const std::vector<std::string> s_lNames{
        "transient.db",        "persistent-common.db", "persistent-network.db", "persistent-phone.db",
        "persistent-tr069.db", "persistent-web.db",    "services.db",           "persistent-area.db"};
    return s_lNames;
}

Sandbox::Sandbox()
{
    fs::permissions(m_oDir.path(), fs::perms(0755)); // other users connect to its sockets
    static const Template s_oTemplate;
    for (const char* pBelow : {"tmp/db", "var/run", "flash/sql", "etc", "bin"}) {
        fs::create_directories(path(pBelow));
    }
    fs::copy(LEDGERD_PACKAGING "/bootloader.conf", path("etc"));
    writeFile(path("etc/etl.conf"), ""); // a value in it would be written to a database at the start
    s_oTemplate.copyTo(path("tmp/db"));
}

std::vector<std::pair<std::string, std::string>> Sandbox::environment() const
{
    return {{"LEDGERD_ROOT", m_oDir.path()},
            {"DBUS_SYSTEM_BUS_ADDRESS", "unix:path=" + path("bus")},
            {"PATH", path("bin") + ":" + std::getenv("PATH")}};
}

void Sandbox::setProgram(const std::string& a_sName, const std::string& a_sShellScript) const
{
    // Put in its place whole: nobody may start the half of it.
    const std::string sProgram = path("bin/" + a_sName);
    writeFile(sProgram + ".new", "#!/bin/sh\n" + a_sShellScript + "\n");
    fs::permissions(sProgram + ".new", fs::perms(0755));
    fs::rename(sProgram + ".new", sProgram);
}

void Sandbox::addLargeTable(std::size_t a_iRows, std::size_t a_iTextSize) const
{
    sql("transient.db", "CREATE TABLE Large (Id INTEGER PRIMARY KEY, Text TEXT);"
                        "WITH RECURSIVE Counter(n) AS (SELECT 1 UNION ALL SELECT n + 1 FROM Counter LIMIT " +
                            std::to_string(a_iRows) + ") INSERT INTO Large SELECT n, printf('%0" +
                            std::to_string(a_iTextSize) + "d', n) FROM Counter");
}

std::vector<std::string> Sandbox::sql(const std::string& a_sDatabase, const std::string& a_sStatements) const
{
    return execute(database(a_sDatabase), a_sStatements);
}

} // namespace e2e
