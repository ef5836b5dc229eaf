#include "systema/unixsocketserver.h"

#include "tests/unit/zel/tempdir.h"

#include <gmock/gmock.h>

#include <cstring>
#include <fcntl.h>
#include <sys/resource.h>
#include <sys/socket.h>
#include <sys/stat.h>
#include <sys/un.h>
#include <system_error>
#include <vector>

using systema::net::EventDispatcher;
using systema::net::UnixSocketAcceptor;
using systema::net::UnixSocketServer;
using testing::HasSubstr;

namespace {

constexpr int c_iLongMs = 60000; // longer than any test may take: the wait must end by itself

sockaddr_un address(const std::string& a_sPath)
{
    sockaddr_un oAddress{};
    oAddress.sun_family = AF_UNIX;
    a_sPath.copy(oAddress.sun_path, sizeof oAddress.sun_path - 1);
    return oAddress;
}

zel::UniqueFd makeSocket()
{
    return zel::UniqueFd(::socket(AF_UNIX, SOCK_STREAM | SOCK_CLOEXEC, 0));
}

bool connectTo(const zel::UniqueFd& a_oSocket, const std::string& a_sPath)
{
    const sockaddr_un oAddress = address(a_sPath);
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

mode_t modeOf(const std::string& a_sPath)
{
    struct stat oStat
    {
    };
    EXPECT_EQ(::lstat(a_sPath.c_str(), &oStat), 0);
    return oStat.st_mode & 07777U;
}

class Sink : public systema::net::IConnectionSink
{
public:
    void takeConnection(zel::UniqueFd a_oSocket) override { m_lSockets.push_back(std::move(a_oSocket)); }

    std::vector<zel::UniqueFd> m_lSockets;
};

/// Leaves the process without a free descriptor for as long as it lives.
class NoDescriptors
{
public:
    NoDescriptors()
    {
        ::getrlimit(RLIMIT_NOFILE, &m_oLimit);
        const zel::UniqueFd oLowestFree(::dup(STDIN_FILENO));
        const rlimit oNone{static_cast<rlim_t>(oLowestFree.get()), m_oLimit.rlim_max};
        ::setrlimit(RLIMIT_NOFILE, &oNone);
    }
    ~NoDescriptors() { ::setrlimit(RLIMIT_NOFILE, &m_oLimit); }
    NoDescriptors(const NoDescriptors&) = delete;
    NoDescriptors& operator=(const NoDescriptors&) = delete;

private:
    rlimit m_oLimit{};
};

class UnixSocketServerTest : public testing::Test
{
protected:
    const TempDir m_oDir;
    const std::string m_sPath = m_oDir.file("test.socket");
};

class UnixSocketAcceptorTest : public UnixSocketServerTest
{
protected:
    UnixSocketAcceptorTest()
    {
        m_oServer.bind(m_sPath, 0666);
        m_oServer.listen(10);
    }

    EventDispatcher m_oEvents;
    Sink m_oSink;
    UnixSocketServer m_oServer;
};

} // namespace

TEST_F(UnixSocketServerTest, TheNameHasTheModeWhateverTheUmask)
{
    for (const mode_t iMask : {0U, 0777U}) {
        const mode_t iOld = ::umask(iMask);
        UnixSocketServer oServer;
        oServer.bind(m_sPath, 0666);
        ::umask(iOld);
        EXPECT_EQ(modeOf(m_sPath), 0666U);
    }
}

TEST_F(UnixSocketServerTest, TheNameGoesWithTheServer)
{
    {
        UnixSocketServer oServer;
        oServer.bind(m_sPath, 0600);
        EXPECT_TRUE(std::filesystem::exists(m_sPath));
    }
    EXPECT_FALSE(std::filesystem::exists(m_sPath));
}

TEST_F(UnixSocketServerTest, ASocketThatADeadProcessLeftIsReplaced)
{
    {
        const auto oDead = makeSocket();
        const sockaddr_un oAddress = address(m_sPath);
        ASSERT_EQ(::bind(oDead.get(), reinterpret_cast<const sockaddr*>(&oAddress), sizeof oAddress), 0);
        ASSERT_EQ(::listen(oDead.get(), 1), 0);
    }
    ASSERT_TRUE(std::filesystem::exists(m_sPath));
    UnixSocketServer oServer;
    oServer.bind(m_sPath, 0666);
    oServer.listen(1);
    EXPECT_TRUE(connectTo(makeSocket(), m_sPath));
}

TEST_F(UnixSocketServerTest, ASocketThatAnswersIsLeftAlone)
{
    UnixSocketServer oLive;
    oLive.bind(m_sPath, 0666);
    oLive.listen(1);
    EXPECT_EQ(bindError(m_sPath), EADDRINUSE);
    // Nor when its queue is full, as it is of a process that is busy.
    std::vector<zel::UniqueFd> lClients;
    do {
        lClients.push_back(makeSocket());
        ::fcntl(lClients.back().get(), F_SETFL, O_NONBLOCK);
    } while (connectTo(lClients.back(), m_sPath));
    EXPECT_EQ(bindError(m_sPath), EADDRINUSE);
    EXPECT_TRUE(std::filesystem::exists(m_sPath));
}

TEST_F(UnixSocketServerTest, FilesOfOtherKindsAreLeftAlone)
{
    writeFile(m_sPath, "precious");
    EXPECT_EQ(bindError(m_sPath), EEXIST);
    EXPECT_EQ(readFile(m_sPath), "precious");
    const std::string sLink = m_oDir.file("link");
    std::filesystem::create_symlink(m_oDir.file("nowhere"), sLink);
    EXPECT_EQ(bindError(sLink), EEXIST);
    EXPECT_TRUE(std::filesystem::is_symlink(sLink));
    EXPECT_EQ(bindError(m_oDir.path()), EEXIST);
    EXPECT_EQ(bindError(m_oDir.file("missing/socket")), ENOENT);
}

TEST_F(UnixSocketServerTest, APathIsNeverCutToFit)
{
    const std::size_t iLimit = sizeof(sockaddr_un::sun_path);
    EXPECT_EQ(bindError(m_oDir.file(std::string(iLimit, 'x'))), ENAMETOOLONG);
    const std::string sJustFits = m_oDir.file(std::string(iLimit - m_oDir.path().size() - 2, 'x'));
    ASSERT_EQ(sJustFits.size(), iLimit - 1);
    EXPECT_EQ(bindError(sJustFits), 0);
}

TEST_F(UnixSocketAcceptorTest, HandsEveryConnectionOver)
{
    const UnixSocketAcceptor oAcceptor(m_oServer, m_oEvents, m_oSink);
    const zel::UniqueFd aClients[] = {makeSocket(), makeSocket(), makeSocket()};
    for (const auto& oClient : aClients) {
        ASSERT_TRUE(connectTo(oClient, m_sPath));
    }
    EXPECT_EQ(m_oEvents.handleEvents(c_iLongMs), 1);
    ASSERT_EQ(m_oSink.m_lSockets.size(), std::size(aClients));
    const int iFd = m_oSink.m_lSockets[0].get();
    EXPECT_TRUE(::fcntl(iFd, F_GETFL) & O_NONBLOCK);
    EXPECT_TRUE(::fcntl(iFd, F_GETFD) & FD_CLOEXEC);
    EXPECT_EQ(m_oEvents.handleEvents(0), 0);
}

TEST_F(UnixSocketAcceptorTest, PausesWithoutDescriptorsAndResumesByItself)
{
    const UnixSocketAcceptor oAcceptor(m_oServer, m_oEvents, m_oSink);
    const auto oClient = makeSocket();
    ASSERT_TRUE(connectTo(oClient, m_sPath));
    testing::internal::CaptureStderr();
    {
        const NoDescriptors oNone;
        EXPECT_EQ(m_oEvents.handleEvents(c_iLongMs), 1); // the connection that cannot be taken
        EXPECT_EQ(m_oEvents.handleEvents(0), 0);         // and that does not keep the loop busy
        EXPECT_EQ(m_oEvents.handleEvents(c_iLongMs), 1); // the pause is over
        EXPECT_EQ(m_oEvents.handleEvents(c_iLongMs), 1); // in vain
        EXPECT_TRUE(m_oSink.m_lSockets.empty());
    }
    while (m_oSink.m_lSockets.empty()) {
        EXPECT_EQ(m_oEvents.handleEvents(c_iLongMs), 1);
    }
    const std::string sLog = testing::internal::GetCapturedStderr();
    EXPECT_THAT(sLog, HasSubstr(std::strerror(EMFILE)));
    EXPECT_EQ(sLog.find("pauses"), sLog.rfind("pauses")); // said once
}
