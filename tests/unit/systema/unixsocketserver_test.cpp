#include "systema/unixsocketserver.h"

#include "tests/unit/zel/tempdir.h"

#include <gtest/gtest.h>

#include <fcntl.h>
#include <sys/socket.h>
#include <sys/un.h>
#include <system_error>
#include <vector>

using systema::net::UnixSocketServer;

namespace {

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

class UnixSocketServerTest : public testing::Test
{
protected:
    const TempDir m_oDir;
    const std::string m_sPath = m_oDir.file("test.socket");
};

} // namespace

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
