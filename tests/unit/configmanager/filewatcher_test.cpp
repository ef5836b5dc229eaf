#include "configmanager/filewatcher.h"

#include "tests/logof.h"
#include "tests/unit/zel/tempdir.h"

#include <gtest/gtest.h>

#include <sys/inotify.h>
#include <sys/resource.h>

using configmanager::serverlib::FileWatcher;
namespace fs = std::filesystem;

namespace {

class FileWatcherTest : public testing::Test
{
protected:
    FileWatcherTest() { fs::create_directory(m_oDir.file("dir")); }

    void watchWritten(const std::string& a_sPath)
    {
        writeFile(a_sPath, "old");
        m_oWatcher.watch(a_sPath);
    }
    std::uint32_t check(const std::string& a_sPath)
    {
        m_oWatcher.doCheck();
        return m_oWatcher.takeEvents(a_sPath);
    }
    /// Writes to the file itself, and looks whether that is told.
    bool isFollowed(const std::string& a_sPath)
    {
        check(a_sPath);
        std::ofstream(a_sPath, std::ios::app) << "more";
        return check(a_sPath) == IN_CLOSE_WRITE;
    }

    const TempDir m_oDir;
    const std::string m_sPath = m_oDir.file("dir/watched");
    const std::string m_sOther = m_oDir.file("other");
    FileWatcher m_oWatcher;
};

} // namespace

TEST_F(FileWatcherTest, TellsOfAWriteOnceItIsClosed)
{
    watchWritten(m_sPath);
    EXPECT_EQ(check(m_sPath), 0U);
    {
        std::ofstream oWriter(m_sPath);
        oWriter << "new" << std::flush;
        EXPECT_EQ(check(m_sPath), 0U);
    }
    m_oWatcher.doCheck();
    m_oWatcher.doCheck();
    EXPECT_EQ(m_oWatcher.takeEvents(m_sPath), IN_CLOSE_WRITE) << "kept until it is taken";
    EXPECT_EQ(m_oWatcher.takeEvents(m_sPath), 0U);
    EXPECT_EQ(check(m_sOther), 0U);
}

TEST_F(FileWatcherTest, FollowsAFileThatComesAndGoes)
{
    m_oWatcher.watch(m_sPath);
    EXPECT_EQ(check(m_sPath), 0U);
    writeFile(m_sPath, "created");
    EXPECT_EQ(check(m_sPath), IN_CREATE);
    EXPECT_TRUE(isFollowed(m_sPath));

    fs::remove(m_sPath);
    writeFile(m_sPath, "again");
    fs::remove(m_sPath);
    EXPECT_EQ(check(m_sPath), IN_DELETE_SELF);

    fs::remove(m_oDir.file("dir"));
    EXPECT_EQ(check(m_sPath), 0U);
    fs::create_directory(m_oDir.file("dir"));
    writeFile(m_sPath, "in a new directory");
    EXPECT_EQ(check(m_sPath), IN_CREATE);
    EXPECT_TRUE(isFollowed(m_sPath));
}

TEST_F(FileWatcherTest, FollowsAFileThatIsMoved)
{
    watchWritten(m_sPath);
    fs::rename(m_sPath, m_sOther);
    std::ofstream(m_sOther) << "changed elsewhere";
    fs::rename(m_sOther, m_sPath);
    EXPECT_EQ(check(m_sPath), IN_MOVE_SELF | IN_CLOSE_WRITE);
    EXPECT_TRUE(isFollowed(m_sPath));

    // With its directory, which tells the file itself nothing.
    fs::rename(m_oDir.file("dir"), m_oDir.file("moved"));
    EXPECT_EQ(check(m_sPath), IN_DELETE_SELF);
    fs::rename(m_oDir.file("moved"), m_oDir.file("dir"));
    EXPECT_EQ(check(m_sPath), IN_CREATE);
    EXPECT_TRUE(isFollowed(m_sPath));
}

TEST_F(FileWatcherTest, LeavesAFileThatWasReplaced)
{
    const std::string sLink = m_oDir.file("link");
    watchWritten(m_sPath);
    const auto replace = [&] {
        writeFile(m_sOther, "new");
        fs::rename(m_sOther, m_sPath);
    };
    // The old file lives on: under another name, and for whom has it open.
    fs::create_hard_link(m_sPath, sLink);
    std::ofstream oHolder(m_sPath);
    replace();
    EXPECT_EQ(check(m_sPath), IN_CREATE);
    EXPECT_TRUE(isFollowed(m_sPath));
    oHolder.close();
    writeFile(sLink, "not the watched one");
    EXPECT_EQ(check(m_sPath), 0U);

    oHolder.open(m_sPath);
    fs::remove(m_sPath);
    EXPECT_EQ(check(m_sPath), IN_DELETE_SELF);
    oHolder.close();
    EXPECT_EQ(check(m_sPath), 0U);
}

TEST_F(FileWatcherTest, FollowsSymbolicLinks)
{
    const auto pointTo = [&](const std::string& a_sTarget) {
        fs::remove(m_sPath);
        fs::create_symlink(a_sTarget, m_sPath);
    };
    pointTo(m_sOther);
    watchWritten(m_sPath);
    writeFile(m_oDir.file("second"), "");
    pointTo(m_oDir.file("second"));
    EXPECT_EQ(check(m_sPath), IN_CREATE);
    EXPECT_TRUE(isFollowed(m_sPath));
    writeFile(m_sOther, "not watched any more");
    EXPECT_EQ(check(m_sPath), 0U);
    pointTo("nowhere");
    EXPECT_EQ(check(m_sPath), IN_DELETE_SELF);
}

TEST_F(FileWatcherTest, TwoPathsToOneFileAreToldBoth)
{
    watchWritten(m_sOther);
    fs::create_hard_link(m_sOther, m_sPath);
    m_oWatcher.watch(m_sPath);
    EXPECT_TRUE(isFollowed(m_sPath));
    EXPECT_TRUE(m_oWatcher.takeEvents(m_sOther) & IN_CLOSE_WRITE);
    fs::remove(m_sPath);
    EXPECT_EQ(check(m_sPath), IN_DELETE_SELF);
    EXPECT_EQ(m_oWatcher.takeEvents(m_sOther), 0U);
}

TEST_F(FileWatcherTest, LostEventsConcernEveryPath)
{
    watchWritten(m_sPath);
    watchWritten(m_sOther);
    watchWritten(m_oDir.file("quiet"));
    const int iMost = std::stoi(readFile("/proc/sys/fs/inotify/max_queued_events"));
    // By turns, since the kernel keeps equal events that follow each other as one.
    for (int iEvent = 0; iEvent <= iMost; ++iEvent) {
        std::ofstream(iEvent % 2 == 0 ? m_sPath : m_sOther, std::ios::app);
    }
    EXPECT_EQ(check(m_oDir.file("quiet")), IN_CREATE);
    EXPECT_TRUE(m_oWatcher.takeEvents(m_sPath) & IN_CREATE);
    EXPECT_EQ(check(m_sPath), 0U);
}

TEST_F(FileWatcherTest, LogsOnceWhatItCannotWatch)
{
    const std::string sLong(5000, 'x');
    EXPECT_EQ(logOf([&] {
                  m_oWatcher.watch("/" + sLong.substr(0, 300));
                  m_oWatcher.watch(sLong);
                  check(sLong);
              }),
              "error FileWatch Cannot watch /" + sLong.substr(0, 300) + ": File name too long\n");
    watchWritten(m_sPath);
    EXPECT_TRUE(isFollowed(m_sPath));
}

TEST_F(FileWatcherTest, WithoutInotifyNothingIsTold)
{
    EXPECT_EQ(logOf([&] {
                  rlimit oBefore;
                  ::getrlimit(RLIMIT_NOFILE, &oBefore);
                  const rlimit oNone{3, oBefore.rlim_max};
                  ::setrlimit(RLIMIT_NOFILE, &oNone);
                  FileWatcher oWatcher;
                  ::setrlimit(RLIMIT_NOFILE, &oBefore);
                  oWatcher.watch(m_sPath);
                  writeFile(m_sPath, "new");
                  oWatcher.doCheck();
                  EXPECT_EQ(oWatcher.takeEvents(m_sPath), 0U);
              }),
              "error FileWatch No file can be watched: Too many open files\n");
}
