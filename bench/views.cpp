#include "bench/check.h"
#include "bench/ledger.h"
#include "bench/measurement.h"
#include "bench/requests.h"
#include "bench/sqlite.h"

namespace bench {

namespace {

constexpr int c_iRowsOfRound = 50000; // read in a round

constexpr const char* c_pView = "BenchView";

/// So many lines, each with an account of its own, but in another order. The column of the accounts is "Id",
/// or "Code", which has no index.
void createView(const std::filesystem::path& a_oDirectory, int a_iRows, const std::string& a_sColumn)
{
    const std::string sRows = std::to_string(a_iRows);
    const std::string sNumbers =
        "WITH RECURSIVE n(i) AS (SELECT 0 UNION ALL SELECT i + 1 FROM n LIMIT " + sRows + ") ";
    const Sqlite oDatabase(a_oDirectory / c_pDatabase);
    for (const auto& sStatement : {
             std::string("CREATE TABLE BenchAccount (Id INTEGER PRIMARY KEY, Code INTEGER, Number TEXT,"
                         " DisplayName TEXT)"),
             std::string("CREATE TABLE BenchLine (Id INTEGER PRIMARY KEY, Name TEXT, AccountId INTEGER)"),
             std::string("CREATE TABLE ViewNames (Id INTEGER PRIMARY KEY, Name TEXT, Table1 TEXT, Col1 TEXT,"
                         " Table2 TEXT, Col2 TEXT)"),
             std::string(
                 "CREATE TABLE ViewColumns (Id INTEGER PRIMARY KEY, ColName TEXT, ViewNamesId INTEGER,"
                 " SrcTableIndex INTEGER, SrcCol TEXT)"),
             sNumbers + "INSERT INTO BenchAccount SELECT i + 1, i + 1, '+4930' || (1000000 + i), 'Account ' "
                        "|| i FROM n",
             sNumbers + "INSERT INTO BenchLine SELECT i + 1, 'Line ' || i, 1 + i * 7 % " + sRows + " FROM n",
             "INSERT INTO ViewNames VALUES (1, '" + std::string(c_pView) + "', 'BenchAccount', '" +
                 a_sColumn + "', 'BenchLine', 'AccountId')",
             std::string("INSERT INTO ViewColumns VALUES (1, 'Id', 1, 2, 'Id'), (2, 'Line', 1, 2, 'Name'),"
                         " (3, 'Number', 1, 1, 'Number'), (4, 'DisplayName', 1, 1, 'DisplayName')"),
         }) {
        oDatabase.run(sStatement);
    }
}

struct JoinedEntry
{
    int m_iId;
    std::string m_sLine;
    std::string m_sNumber;
    std::string m_sDisplayName;

    bool operator==(const JoinedEntry&) const = default;
};

} // namespace

Outcome readView(int a_iRows, const char* a_pColumn, const Effort& a_oEffort)
{
    const auto fill = [&](const std::filesystem::path& a_oDirectory) {
        createView(a_oDirectory, a_iRows, a_pColumn);
    };
    const Workspace oFiles;
    fill(oFiles.path());
    const Sqlite oDatabase(oFiles.path() / c_pDatabase);
    const auto pJoin = oDatabase.prepare(
        "SELECT BenchLine.Id, BenchLine.Name, Number, DisplayName FROM BenchLine CROSS JOIN BenchAccount"
        " ON BenchAccount." +
        std::string(a_pColumn) + " = AccountId");
    std::vector<JoinedEntry> lLimit;
    const auto readJoin = [&] {
        lLimit.clear();
        while (pJoin->step()) {
            lLimit.push_back({pJoin->number(0), pJoin->text(1), pJoin->text(2), pJoin->text(3)});
        }
    };

    const Ledger oLedger(fill);
    const auto pConnection = oLedger.connect();
    std::vector<JoinedEntry> lOurs;
    const auto addRow = [&](const auto& a_oRow) {
        const auto text = [&](std::size_t a_i) { return std::string(a_oRow.m_lCells[a_i].m_sText); };
        lOurs.push_back({static_cast<int>(a_oRow.m_lCells[0].m_iNumber), text(1), text(2), text(3)});
    };
    const auto readView = [&] {
        lOurs.clear();
        check(pConnection->readRows({.m_sTable = c_pView}, addRow));
    };

    readJoin();
    readView();
    check(lOurs.size() == static_cast<std::size_t>(a_iRows) && lOurs == lLimit,
          "a view gives other rows than SQLite");
    const int iTimes = a_oEffort.times(c_iRowsOfRound / a_iRows);
    return compare(
        a_oEffort, [&] { return medianTime(iTimes, readJoin); },
        [&] { return medianTime(iTimes, readView); });
}

} // namespace bench
