#include "zel/fifo.h"

#include "tests/unit/zel/tempdir.h"

#include <gtest/gtest.h>

#include <cerrno>
#include <csignal>
#include <fcntl.h>
#include <functional>
#include <iostream>
#include <poll.h>
#include <sys/stat.h>
#include <system_error>
#include <unistd.h>

namespace zel::sys {
namespace {

namespace fs = std::filesystem;

class FifoTest : public testing::Test
{
protected:
    Fifo make() const { return Fifo(m_sName, O_NONBLOCK); }
    UniqueFd openWriter() const { return UniqueFd(::open(m_sName.c_str(), O_WRONLY | O_NONBLOCK)); }

    static std::string readAll(Fifo& a_oFifo)
    {
        char aBuffer[100];
        const ssize_t iRead = a_oFifo.read(aBuffer, sizeof aBuffer);
        return iRead > 0 ? std::string(aBuffer, static_cast<std::size_t>(iRead)) : "";
    }

    static short events(const Fifo& a_oFifo)
    {
        pollfd oPoll{a_oFifo.getFd(), POLLIN, 0};
        ::poll(&oPoll, 1, 0);
        return oPoll.revents;
    }

    const TempDir m_oDir;
    const std::string m_sName = m_oDir.file("fifo");
};

TEST_F(FifoTest, MakesItForEverybodyAndUsesWhatIsThere)
{
    const mode_t iMask = ::umask(0077);
    {
        const Fifo oFifo = make();
    }
    ::umask(iMask);
    EXPECT_EQ(fs::perms(0666), fs::status(m_sName).permissions());

    fs::permissions(m_sName, fs::perms(0600));
    Fifo oFifo = make();
    EXPECT_EQ(fs::perms(0666), fs::status(m_sName).permissions());
    EXPECT_EQ(3, ::write(openWriter().get(), "abc", 3));
    EXPECT_EQ("abc", readAll(oFifo));
    EXPECT_TRUE(oFifo.unlink());
    EXPECT_FALSE(fs::exists(m_sName));
    EXPECT_FALSE(oFifo.unlink());
}

TEST_F(FifoTest, RefusesEverythingElseAndLeavesIt)
{
    const std::string sFile = m_oDir.file("file");
    const std::string sPipe = m_oDir.file("pipe");
    writeFile(sFile, "mine");
    ASSERT_EQ(0, ::mkfifo(sPipe.c_str(), 0600));
    fs::create_directory(m_oDir.file("directory"));
    fs::create_symlink(sPipe, m_oDir.file("link"));
    fs::create_symlink(m_oDir.file("nothing"), m_oDir.file("dangling"));
    for (const std::string& sName : {sFile, m_oDir.file("directory"), m_oDir.file("link"),
                                     m_oDir.file("dangling"), std::string("/dev/null")}) {
        const auto eBefore = fs::symlink_status(sName).type();
        try {
            const Fifo oFifo(sName, O_NONBLOCK);
            ADD_FAILURE() << sName;
        } catch (const std::system_error& oError) {
            EXPECT_EQ(EEXIST, oError.code().value());
            EXPECT_EQ(sName + " is no FIFO: File exists", oError.what());
        }
        EXPECT_EQ(eBefore, fs::symlink_status(sName).type());
    }
    EXPECT_EQ("mine", readFile(sFile));
    EXPECT_FALSE(fs::exists(m_oDir.file("nothing")));
    EXPECT_THROW(Fifo(m_oDir.file("no/fifo"), O_NONBLOCK), std::system_error);
}

TEST_F(FifoTest, WhatAnotherUserHasPutThereIsNeitherUsedNorInTheWay)
{
    if (::geteuid() != 0) {
        GTEST_SKIP() << "only root makes files of other users";
    }
    const std::string sPrecious = m_oDir.file("precious");
    fs::permissions(m_oDir.path(), fs::perms(0777) | fs::perms::sticky_bit);
    ASSERT_EQ(0, ::mkfifo(sPrecious.c_str(), 0600));
    const auto give = [this] { return ::lchown(m_sName.c_str(), 65534, 65534); };
    const std::function<int()> aPuts[] = {
        [&] { return ::mkfifo(m_sName.c_str(), 0666) | give(); },
        [&] { return writeFile(m_sName, ""), give(); },
        [&] { return ::symlink(sPrecious.c_str(), m_sName.c_str()) | give(); },
        [&] { return fs::create_directories(m_sName + "/full") ? give() : -1; },
        [&] { return ::link(sPrecious.c_str(), m_sName.c_str()); }, // where users may link files of others
    };
    for (const auto& oPut : aPuts) {
        ASSERT_EQ(0, oPut());
        Fifo oFifo = make();
        struct stat oStatus
        {
        };
        EXPECT_EQ(0, ::lstat(m_sName.c_str(), &oStatus));
        EXPECT_EQ(0U, oStatus.st_uid);
        EXPECT_EQ(static_cast<mode_t>(S_IFIFO | 0666), oStatus.st_mode);
        EXPECT_EQ(3, ::write(openWriter().get(), "abc", 3));
        EXPECT_EQ("abc", readAll(oFifo));
        EXPECT_EQ(fs::perms(0600), fs::status(sPrecious).permissions());
        EXPECT_TRUE(oFifo.unlink());
    }

    // A daemon that is not root cannot remove it.
    ASSERT_EQ(0, ::mkfifo(m_sName.c_str(), 0666) | ::lchown(m_sName.c_str(), 65533, 65533));
    EXPECT_EXIT(
        {
            ::setuid(65534);
            try {
                const Fifo oFifo = make();
            } catch (const std::system_error& oError) {
                std::cerr << oError.what();
                ::_exit(1);
            }
        },
        testing::ExitedWithCode(1), m_sName + " belongs to user 65533: Operation not permitted");
}

TEST_F(FifoTest, ReopeningForgetsTheEndOfFileAndNothingElse)
{
    std::signal(SIGPIPE, SIG_DFL); // would end the test
    Fifo oFifo = make();
    EXPECT_EQ(3, ::write(openWriter().get(), "one", 3)); // nobody but us keeps it from being lost
    EXPECT_TRUE(oFifo.reopen());
    UniqueFd oStaying = openWriter();
    EXPECT_EQ(3, ::write(oStaying.get(), "two", 3));
    EXPECT_EQ("onetwo", readAll(oFifo));

    openWriter();                // comes and goes
    EXPECT_EQ(0, events(oFifo)); // while another stays, there is no end
    oStaying.reset();
    EXPECT_NE(0, events(oFifo));
    EXPECT_EQ("", readAll(oFifo));
    EXPECT_NE(0, events(oFifo)); // it would be told for ever
    EXPECT_TRUE(oFifo.reopen());
    EXPECT_EQ(0, events(oFifo));
}

TEST_F(FifoTest, ReopeningMakesOneThatIsGoneAndKeepsItsOwnWhenItCannot)
{
    Fifo oFifo = make();
    fs::remove(m_sName);
    EXPECT_TRUE(oFifo.reopen());
    const UniqueFd oWriter = openWriter();
    ASSERT_TRUE(oWriter);

    fs::remove(m_sName);
    writeFile(m_sName, "mine");
    EXPECT_FALSE(oFifo.reopen());
    EXPECT_EQ(EEXIST, errno);
    EXPECT_EQ(5, ::write(oWriter.get(), "still", 5));
    EXPECT_EQ("still", readAll(oFifo));
    EXPECT_EQ("mine", readFile(m_sName));
}

} // namespace
} // namespace zel::sys
