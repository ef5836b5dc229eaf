#include "systema/unixsocketserver.h"

#include "tests/unit/zel/tempdir.h"

#include <gtest/gtest.h>

#include <sys/socket.h>
#include <sys/stat.h>
#include <sys/un.h>
#include <system_error>
#include <unistd.h>
#include <vector>

namespace fs = std::filesystem;
using systema::net::UnixSocketServer;

namespace {

bool connectTo(const zel::UniqueFd& a_oSocket, const std::string& a_sPath)
{
    sockaddr_un oAddress{};
    oAddress.sun_family = AF_UNIX;
    a_sPath.copy(oAddress.sun_path, sizeof oAddress.sun_path - 1);
    return ::connect(a_oSocket.get(), reinterpret_cast<const sockaddr*>(&oAddress), sizeof oAddress) == 0;
}

/// The error that binding to the path fails with, 0 when it does not fail.
int bindError(const std::string& a_sPath)
{
    try {
        UnixSocketServer().bind(a_sPath, 0666);
        return 0;
    } catch (const std::system_error& oError) {
        return oError.code().value();
    }
}

} // namespace

TEST(UnixSocketServer, ASocketThatAnswersIsLeftAlone)
{
    const TempDir oDir;
    const std::string sPath = oDir.file("test.socket");
    UnixSocketServer oLive;
    oLive.bind(sPath, 0666);
    oLive.listen(1);
    EXPECT_EQ(bindError(sPath), EADDRINUSE);
    // Nor when its queue is full, as it is of a process that is busy.
    std::vector<zel::UniqueFd> lClients;
    do {
        lClients.emplace_back(::socket(AF_UNIX, SOCK_STREAM | SOCK_CLOEXEC | SOCK_NONBLOCK, 0));
    } while (connectTo(lClients.back(), sPath));
    EXPECT_EQ(bindError(sPath), EADDRINUSE);
    EXPECT_TRUE(std::filesystem::exists(sPath));
}

TEST(UnixSocketServer, ASocketThatExistsListens)
{
    const TempDir oDir;
    const std::size_t iLongest = sizeof sockaddr_un::sun_path - 1;
    const std::string sPath = oDir.file(std::string(iLongest - oDir.file("").size(), 's'));
    ASSERT_EQ(sPath.size(), iLongest);
    // A daemon that was killed leaves either name behind.
    for (const bool bBound : {false, true}) {
        const zel::UniqueFd oDead(::socket(AF_UNIX, SOCK_STREAM | SOCK_CLOEXEC, 0));
        sockaddr_un oAddress{};
        oAddress.sun_family = AF_UNIX;
        (sPath + (bBound ? "~" : "")).copy(oAddress.sun_path, sizeof oAddress.sun_path);
        ASSERT_EQ(::bind(oDead.get(), reinterpret_cast<const sockaddr*>(&oAddress), sizeof oAddress), 0);
    }
    {
        UnixSocketServer oServer;
        oServer.bind(sPath, 0600);
        EXPECT_FALSE(fs::exists(sPath));
        oServer.listen(1);
        EXPECT_EQ(fs::status(sPath).permissions(), fs::perms(0600));
        EXPECT_TRUE(connectTo(zel::UniqueFd(::socket(AF_UNIX, SOCK_STREAM | SOCK_CLOEXEC, 0)), sPath));
        EXPECT_EQ(std::distance(fs::directory_iterator(oDir.path()), {}), 1);
    }
    UnixSocketServer().bind(sPath, 0600);
    EXPECT_TRUE(fs::is_empty(oDir.path()));
}

TEST(UnixSocketServer, WhatAnotherUserHasPutThereDoesNotKeepItFromBinding)
{
    if (::geteuid() != 0) {
        GTEST_SKIP() << "only root makes files of other users";
    }
    const TempDir oDir;
    const std::string sPath = oDir.file("test.socket");
    fs::permissions(oDir.path(), fs::perms(0777) | fs::perms::sticky_bit);
    UnixSocketServer oSquatter;
    oSquatter.bind(sPath, 0666);
    oSquatter.listen(1);
    ASSERT_EQ(0, ::chown(sPath.c_str(), 65534, 65534));

    const mode_t iMask = ::umask(0077);
    {
        UnixSocketServer oServer;
        oServer.bind(sPath, 0666);
        oServer.listen(1);
        EXPECT_EQ(::umask(0077), 0077U);
        EXPECT_EQ(fs::status(sPath).permissions(), fs::perms(0666));
        EXPECT_TRUE(connectTo(zel::UniqueFd(::socket(AF_UNIX, SOCK_STREAM | SOCK_CLOEXEC, 0)), sPath));
    }
    ::umask(iMask);
    writeFile(sPath, "theirs");
    ASSERT_EQ(0, ::chown(sPath.c_str(), 65534, 65534));
    EXPECT_EQ(bindError(sPath), 0);
    std::vector<std::string> lTheirs;
    for (const auto& oEntry : fs::recursive_directory_iterator(oDir.path())) {
        if (oEntry.is_regular_file()) {
            lTheirs.push_back(readFile(oEntry.path()));
        }
    }
    EXPECT_EQ(lTheirs, std::vector<std::string>{"theirs"}) << "lost, though an option may be mistaken";
    writeFile(oDir.file("precious"), "root's");
    fs::permissions(oDir.file("precious"), fs::perms(0600));
    for (const std::string& sTarget : {oDir.file("precious"), oDir.file("missing")}) {
        fs::create_symlink(sTarget, sPath);
        ASSERT_EQ(0, ::lchown(sPath.c_str(), 65534, 65534));
        EXPECT_EQ(bindError(sPath), 0);
    }
    EXPECT_EQ(fs::status(oDir.file("precious")).permissions(), fs::perms(0600));
    EXPECT_FALSE(fs::exists(oDir.file("missing")));
}
