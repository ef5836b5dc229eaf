#include "status/passwd.h"

#include "tests/row.h"
#include "tests/unit/device/systemroot.h"

#include <gtest/gtest.h>

using systema::EResultCode;
using systema::ValueList;
using tests::row;

namespace {

constexpr const char* c_pFile = "/etc/passwd";

class PasswdTest : public testing::Test
{
protected:
    unsigned count()
    {
        unsigned iCount = 0;
        EXPECT_EQ(m_oPasswd.getRowCount("Passwd", iCount), EResultCode::Success);
        return iCount;
    }
    ValueList at(unsigned a_iPosition)
    {
        ValueList lRow;
        EXPECT_EQ(m_oPasswd.getRow("Passwd", lRow, a_iPosition, {}), EResultCode::Success);
        return lRow;
    }
    EResultCode find(const std::string& a_sColumn, const std::string& a_sValue)
    {
        ValueList lRow;
        return m_oPasswd.getRowByKey("Passwd", lRow, a_sColumn, a_sValue, {"Id"});
    }

    const SystemRoot m_oRoot;
    std::time_t m_iNow = 1000;
    zel::Passwd m_oPasswd{[this] { return m_iNow; }};
};

} // namespace

TEST_F(PasswdTest, ServesNeitherPasswordNorShell)
{
    m_oRoot.write(c_pFile, "ftp:x:21:21:FTP user:/home/ftp:/bin/false\nhalf:x:7\n\nnobody:x:99:99:: /:");
    ASSERT_EQ(count(), 4U);
    EXPECT_EQ(find("Id", "1"), EResultCode::NoRow) << "rows have no number until they are read by position";
    EXPECT_EQ(at(0), row({{"Id", 1},
                          {"Username", "ftp"},
                          {"UserId", "21"},
                          {"GroupId", "21"},
                          {"Gecos", "FTP user"},
                          {"HomeDirectory", "/home/ftp"}}));
    EXPECT_EQ(find("Id", "1"), EResultCode::Success);
    EXPECT_EQ(at(1).getValue("GroupId").getText(), "");
    EXPECT_EQ(at(3).getValue("HomeDirectory").getText(), "/");
    EXPECT_EQ(find("UserId", "099"), EResultCode::NoRow) << "numbers are texts";
}

TEST_F(PasswdTest, IsReadAtMostEveryFiveSeconds)
{
    EXPECT_EQ(count(), 0U);
    m_oRoot.write(c_pFile, "root:x:0:0:::\n");
    m_iNow += 4;
    EXPECT_EQ(count(), 0U);
    m_iNow += 1;
    EXPECT_EQ(at(0).getValue("Username").getText(), "root");
    std::filesystem::remove(m_oRoot.path(c_pFile));
    m_iNow += 5;
    EXPECT_EQ(find("Username", "root"), EResultCode::NoRow);
}
