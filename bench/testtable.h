// The tables that are measured: their schema, their rows, and a row as a program would hold it.
#pragma once

#include <filesystem>
#include <string>
#include <vector>

namespace bench {

struct TestTable
{
    const char* m_pName;
    int m_iRows;
};

constexpr TestTable c_oSmallTable{"BenchSmall", 100};
constexpr TestTable c_oLargeTable{"BenchLarge", 10000};

constexpr const char* c_pKeyColumn = "Name"; // a unique text
constexpr const char* c_pChangedColumn = "Weight";

/// What every reader makes of a row, wherever it comes from.
struct Entry
{
    int m_iId = 0;
    std::string m_sName;
    int m_iPort = 0;
    int m_iWeight = 0;
    int m_iFlags = 0;
    std::string m_sAddress;
    std::string m_sOwner;
    std::string m_sComment;

    bool operator==(const Entry&) const = default;
};

constexpr const char* c_pDatabase = "persistent-common.db";

/// Makes these tables in a new database.
void createTables(const std::filesystem::path& a_oFile, const std::vector<TestTable>& a_lTables);
/// Makes the database, which holds both tables, in the directory.
void createDatabase(const std::filesystem::path& a_oDirectory);

/// The keys of a table in an order that is mixed and yet the same every time, over and over.
class Keys
{
public:
    explicit Keys(const TestTable& a_oTable);

    const std::string& next() { return m_lKeys[m_iNext++ % m_lKeys.size()]; }

private:
    std::vector<std::string> m_lKeys;
    std::size_t m_iNext = 0;
};

} // namespace bench
