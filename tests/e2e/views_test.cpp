// Joined views as clients see them.
#include "tests/e2e/daemontest.h"

#include <condition_variable>
#include <mutex>
#include <stop_token>
#include <thread>

namespace e2e {
namespace {

using Views = DaemonTest;

TEST_F(Views, ColumnOfNeitherTableFailsTheRequestsThatShowItAndNoOther)
{
    m_oSandbox.sql(
        "persistent-common.db",
        "PRAGMA ignore_check_constraints = 1; UPDATE ViewColumns SET SrcTableIndex = 3 WHERE Id = 3");
    start();
    const std::string sView = "PhoneLineView";
    EXPECT_EQ(1U, client().code(request::GetSchema{sView}));
    EXPECT_EQ(1U, client().code(request::GetSize{sView}));
    EXPECT_EQ(1U, client().code(request::SelectRow{sView, 0}));
    EXPECT_EQ(1U, client().code(request::SelectRows{sView}));
    EXPECT_EQ(1U, client().code(request::SelectKey{sView, "Number", "1"}));
    EXPECT_EQ("FXS1", client().cell(sView, 1, "Line"));
}

TEST_F(Views, ViewOfAViewIsServedAndToldWithTheTablesBelow)
{
    m_oSandbox.sql(
        "persistent-common.db",
        "INSERT INTO ViewNames VALUES (70, 'Twice', 'PhoneLineView', 'Id', 'PhoneLine', 'Id'),"
        " (71, 'Round', 'Round', 'Id', 'PhoneLine', 'Id');"
        "INSERT INTO ViewColumns VALUES (700, 'Line', 70, 2, 'Name'), (701, 'Number', 70, 1, 'Number')");
    start();
    const auto lLines = client().rows("PhoneLineView", {"Line", "Number"});
    EXPECT_THAT(lLines, Not(IsEmpty()));
    EXPECT_EQ(lLines, client().rows("Twice"));
    EXPECT_EQ(8U, client().code(request::GetSize{"Round"}));
    EXPECT_TRUE(client().subscribe({"PhoneLineView", "Twice"}).ok());
    EXPECT_EQ(0U, client().code(request::UpdateKey{"PhoneAccount", "Id", "1", row({{"Number", "+493"}})}));
    EXPECT_THAT(client().awaitChanges(2), UnorderedElementsAre("PhoneLineView", "Twice"));
    EXPECT_THAT(client().rows("Twice"), Contains(EndsWith("+493")));
}

TEST_F(Views, TenThousandRowsWithoutAnIndexAreReadBesideASlowWriter)
{
    const std::string sNumbers =
        "WITH RECURSIVE n(i) AS (SELECT 1 UNION ALL SELECT i + 1 FROM n LIMIT 10000) INSERT INTO ";
    m_oSandbox.sql(
        "persistent-common.db",
        "CREATE TABLE Known (Id INTEGER PRIMARY KEY, Code TEXT);" + sNumbers +
            "Known SELECT i, 'c' || (i * 7 % 10000) FROM n; CREATE TABLE Seen (Id INTEGER PRIMARY KEY,"
            " Code TEXT);" +
            sNumbers +
            "Seen SELECT i, 'c' || i FROM n;"
            "INSERT INTO ViewNames VALUES (70, 'Both', 'Known', 'Code', 'Seen', 'Code');"
            "INSERT INTO ViewColumns VALUES (700, 'Id', 70, 2, 'Id'), (701, 'Known', 70, 1, 'Id')");
    start();
    constexpr std::uint32_t c_iRows = 9999; // no code is c10000
    EXPECT_EQ(c_iRows, client().count("Both"));
    EXPECT_EQ(0U, client().code(request::SelectRow{"Both", c_iRows - 1}));
    EXPECT_EQ(10U, client().code(request::SelectRow{"Both", c_iRows}));

    // Every second, and right before each read: none of them takes so long.
    Client oWriter(socket());
    std::mutex oMutex;
    std::condition_variable_any oWoken;
    int iWrites = 0;
    const auto write = [&] {
        const std::lock_guard oLock(oMutex);
        EXPECT_EQ(0U, oWriter.code(request::UpdateKey{
                          "Known", "Id", "1", row({{"Code", ("w" + std::to_string(++iWrites)).c_str()}})}));
    };
    for (int i = 0; i < 6; ++i) {
        write();
        const std::jthread oSlow([&](const std::stop_token& a_oStop) {
            std::unique_lock oLock(oMutex);
            while (!oWoken.wait_for(oLock, a_oStop, 1s, [&] { return a_oStop.stop_requested(); })) {
                oLock.unlock();
                write();
                oLock.lock();
            }
        });
        const auto oRows = client().call(request::SelectRows{"Both"});
        EXPECT_TRUE(oRows.ok()) << oRows.text();
        EXPECT_EQ(c_iRows - 1, oRows->size());
    }
}

} // namespace
} // namespace e2e
