#include "bench/testtable.h"

#include "bench/sqlite.h"

#include <algorithm>
#include <random>

namespace bench {

namespace {

std::string key(int a_iId)
{
    return "entry-" + std::to_string(100000 + a_iId);
}

void fill(const Sqlite& a_oDatabase, const TestTable& a_oTable)
{
    const std::string sTable = a_oTable.m_pName;
    a_oDatabase.run("CREATE TABLE " + sTable +
                    " (Id INTEGER PRIMARY KEY, Name TEXT NOT NULL UNIQUE, Port INTEGER NOT NULL,"
                    " Weight INTEGER NOT NULL, Flags INTEGER NOT NULL, Address VARCHAR(15) NOT NULL,"
                    " Owner VARCHAR(32) NOT NULL, Comment VARCHAR(64) NOT NULL)");
    const auto pInsert = a_oDatabase.prepare("INSERT INTO " + sTable + " VALUES (?, ?, ?, ?, ?, ?, ?, ?)");
    for (int i = 1; i <= a_oTable.m_iRows; ++i) {
        pInsert->bind(1, i);
        pInsert->bind(2, key(i));
        pInsert->bind(3, 1024 + i);
        pInsert->bind(4, i % 100);
        pInsert->bind(5, i * 16);
        pInsert->bind(6, "192.168." + std::to_string(i / 256) + "." + std::to_string(i % 256));
        pInsert->bind(7, i % 3 == 0 ? "guest" : "lan-bridge");
        pInsert->bind(8, "rule of device " + std::to_string(i) + ", added by hand");
        pInsert->run();
    }
}

} // namespace

void createTables(const std::filesystem::path& a_oFile, const std::vector<TestTable>& a_lTables)
{
    const Sqlite oDatabase(a_oFile);
    oDatabase.run("BEGIN");
    for (const auto& oTable : a_lTables) {
        fill(oDatabase, oTable);
    }
    oDatabase.run("COMMIT");
}

void createDatabase(const std::filesystem::path& a_oDirectory)
{
    createTables(a_oDirectory / c_pDatabase, {c_oSmallTable, c_oLargeTable});
}

Keys::Keys(const TestTable& a_oTable)
{
    for (int i = 1; i <= a_oTable.m_iRows; ++i) {
        m_lKeys.push_back(key(i));
    }
    std::ranges::shuffle(m_lKeys, std::mt19937()); // seeded with its default
}

} // namespace bench
