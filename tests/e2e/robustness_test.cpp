// What the daemon does when its databases are damaged: result codes, and everything else goes on.
#include "tests/e2e/daemontest.h"

#include <fcntl.h>
#include <filesystem>
#include <unistd.h>

namespace e2e {
namespace {

using testing::HasSubstr;

class DamagedDatabase : public DaemonTest
{
protected:
    /// Every operation on tables of the damaged persistent-common.db, whatever comes of it; tables of other
    /// databases as ever.
    void useEverything()
    {
        const ValueList lRow = row({{"Note", "x"}});
        for (int i = 0; i < 2; ++i) {
            std::vector<unsigned> lCodes;
            const auto tryIt = [&](const auto& a_oRequest) { lCodes.push_back(client().code(a_oRequest)); };
            tryIt(request::GetTables{});
            tryIt(request::GetSchema{"Item"});
            tryIt(request::GetSize{"Item"});
            tryIt(request::SelectRow{"Item", 0});
            tryIt(request::SelectKey{"Item", "Name", "pear"});
            tryIt(request::SelectRows{"Item"});
            tryIt(request::SelectRows{"UserAccount"});
            tryIt(request::InsertRow{"Item", row({{"Name", i == 0 ? "a" : "b"}})});
            tryIt(request::UpdateRow{"Item", 0, lRow});
            tryIt(request::UpdateKey{"Item", "Id", "1", lRow});
            tryIt(request::DeleteRow{"Item", 1});
            tryIt(request::DeleteKey{"Item", "Id", "3"});
            tryIt(request::DeleteAll{"ItemPart"});
            tryIt(request::Begin{});
            tryIt(request::UpdateKey{"Item", "Id", "1", lRow});
            tryIt(i == 0 ? request::Begin{} : request::Begin{1});
            tryIt(request::Commit{});
            tryIt(request::Rollback{});
            EXPECT_THAT(lCodes, testing::Each(testing::Le(10U)));
            EXPECT_EQ(3U, *client().call(request::GetSize{"Twins"}));
            EXPECT_EQ(0U, client().code(request::UpdateKey{"Job", "Id", "1", row({{"Name", "still"}})}));
            EXPECT_EQ(0U, client().info("TransactionOpen"));
            command("dump -a"); // closes the databases and opens what is there now
        }
    }
};

TEST_F(DamagedDatabase, DeletedWhileInUse)
{
    start();
    EXPECT_EQ(0U, client().code(request::SelectRow{"Item", 0}));
    std::filesystem::remove(m_oSandbox.database("persistent-common.db"));
    useEverything();
    stop();
    start(); // an empty one is made in its place
    EXPECT_EQ(8U, client().code(request::GetSize{"Item"}));
    EXPECT_EQ("still", client().cell("Job", 1, "Name"));
}

TEST_F(DamagedDatabase, WholeDirectoryDeletedWhileInUse)
{
    start();
    std::filesystem::remove_all(m_oSandbox.path("tmp/db"));
    for (const auto* pTable : {"Item", "Twins", "Job"}) {
        EXPECT_LE(client().code(request::DeleteAll{pTable}), 10U);
        EXPECT_LE(client().code(request::SelectRows{pTable}), 10U);
    }
    command("dump -a");
    EXPECT_NE(0U, client().code(request::DeleteAll{"Item"}));
}

TEST_F(DamagedDatabase, OverwrittenWithGarbage)
{
    const std::string sPath = m_oSandbox.database("persistent-common.db");
    const std::string sGarbage = repeat("no database ", std::filesystem::file_size(sPath) / 12);
    const auto overwrite = [&](std::size_t a_iFrom) { // the file itself, as it is open in the daemon
        const zel::UniqueFd oFile(::open(sPath.c_str(), O_WRONLY));
        EXPECT_GT(
            ::pwrite(oFile.get(), sGarbage.data(), sGarbage.size() - a_iFrom, static_cast<off_t>(a_iFrom)),
            0);
    };
    start();
    overwrite(4096); // pages of tables that were not read yet
    useEverything();
    overwrite(0);
    useEverything();
    stop();

    start();
    EXPECT_THAT(daemon().errors(), HasSubstr("error   SQLiteWrap"));
    EXPECT_EQ(8U, client().code(request::GetSize{"Item"}));
    EXPECT_EQ("still", client().cell("Job", 1, "Name"));
}

TEST_F(DamagedDatabase, CutOffWhileInUse)
{
    start();
    EXPECT_EQ(0U, client().code(request::SelectRow{"Item", 0}));
    std::filesystem::resize_file(m_oSandbox.database("persistent-common.db"), 5000);
    useEverything();
    std::filesystem::resize_file(m_oSandbox.database("persistent-common.db"), 0);
    useEverything();
}

} // namespace
} // namespace e2e
