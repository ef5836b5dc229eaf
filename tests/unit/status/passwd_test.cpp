#include "status/passwd.h"

#include "tests/unit/device/systemroot.h"
#include "tests/unit/status/tablereader.h"

namespace {

constexpr const char* c_pFile = "/etc/passwd";

class PasswdTest : public testing::Test
{
protected:
    const SystemRoot m_oRoot;
    std::time_t m_iNow = 1000;
    zel::Passwd m_oPasswd{[this] { return m_iNow; }};
    TableReader m_oRead{m_oPasswd, "Passwd"};
};

} // namespace

TEST_F(PasswdTest, ServesNeitherPasswordNorShell)
{
    m_oRoot.write(c_pFile, "ftp:x:21:21:FTP user:/home/ftp:/bin/false\nhalf:x:7\n\nnobody:x:99:99:: /:");
    EXPECT_EQ(m_oRead.count(), "4");
    EXPECT_EQ(m_oRead.find("Id", "2", {"Id", "Username"}), "2,half") << "rows that nobody has read";
    EXPECT_EQ(m_oRead.at(0), "1,ftp,21,21,FTP user,/home/ftp");
    EXPECT_EQ(m_oRead.at(1, {"GroupId"}), "");
    EXPECT_EQ(m_oRead.at(3, {"HomeDirectory"}), "/");
    EXPECT_EQ(m_oRead.find("UserId", "099"), "code 10") << "numbers are texts";
}

TEST_F(PasswdTest, IsReadAtMostEveryFiveSeconds)
{
    EXPECT_EQ(m_oRead.count(), "0");
    m_oRoot.write(c_pFile, "root:x:0:0:::\n");
    m_iNow += 4;
    EXPECT_EQ(m_oRead.count(), "0");
    m_iNow += 1;
    EXPECT_EQ(m_oRead.at(0, {"Username"}), "root");
    std::filesystem::remove(m_oRoot.path(c_pFile));
    m_iNow += 5;
    EXPECT_EQ(m_oRead.find("Username", "root"), "code 10");
}
