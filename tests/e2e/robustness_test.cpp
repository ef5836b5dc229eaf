// What the daemon does when its databases are damaged: result codes, and everything else goes on.
#include "tests/e2e/daemontest.h"

#include <fcntl.h>
#include <filesystem>
#include <unistd.h>

namespace e2e {
namespace {

class DamagedDatabase : public DaemonTest
{
protected:
    /// Every operation on tables of the damaged persistent-common.db, whatever comes of it; tables of other
    /// databases as ever.
    void useEverything()
    {
        for (const char* pName : {"a", "b"}) {
            EXPECT_THAT(client().codes(request::GetTables{}, request::GetSchema{"Item"},
                                       request::GetSize{"Item"}, request::SelectRow{"Item", 0},
                                       request::SelectKey{"Item", "Name", "pear"},
                                       request::SelectRows{"Item"}, request::SelectRows{"UserAccount"},
                                       request::InsertRow{"Item", row({{"Name", pName}})},
                                       request::UpdateRow{"Item", 0, row({{"Note", "x"}})}, setNote("x"),
                                       request::DeleteRow{"Item", 1}, request::DeleteKey{"Item", "Id", "3"},
                                       request::DeleteAll{"ItemPart"}, request::Begin{}, setNote("x"),
                                       request::Begin{1}, request::Commit{}, request::Rollback{}),
                        Each(testing::Le(10U)));
            EXPECT_EQ(3U, client().count("Twins"));
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
    EXPECT_THAT(client().codes(request::DeleteAll{"Item"}, request::SelectRows{"Item"},
                               request::DeleteAll{"Twins"}, request::SelectRows{"Twins"},
                               request::DeleteAll{"Job"}, request::SelectRows{"Job"}),
                Each(testing::Le(10U)));
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
