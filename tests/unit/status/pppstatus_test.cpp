#include "status/pppstatus.h"

#include "systema/configdispatcher.h"
#include "tests/logof.h"
#include "tests/unit/status/fakeppphelper.h"
#include "tests/unit/status/tablereader.h"
#include "tests/unit/zel/tempdir.h"
#include "zel/log.h"

using systema::EResultCode;
using systema::NameList;

namespace {

class PppStatus : public testing::Test, public systema::IConfigSubscriber
{
protected:
    void notify(const NameList&) override {}

    void writePeer(const std::string& a_sFile, const std::string& a_sText)
    {
        writeFile(m_oPeers.file(a_sFile), a_sText);
    }
    /// The interface that is found by the key.
    std::string find(const std::string& a_sColumn, const std::string& a_sValue)
    {
        return m_oRead.find(a_sColumn, a_sValue, {"Interface"});
    }
    /// True when an update two seconds later announces the table.
    bool announces()
    {
        m_iNow += 2;
        return m_oRead.update() == NameList{"PppStatus"};
    }

    const TempDir m_oPeers;
    FakePppHelper m_oHelper;
    std::time_t m_iNow = 1000;
    systema::ConfigDispatcher m_oDispatcher;
    zel::PppStatus m_oTable{m_oHelper, m_oPeers.path() + "/", m_oDispatcher, [this] { return m_iNow; }};
    TableReader m_oRead{m_oTable, "PppStatus"};
};

} // namespace

TEST_F(PppStatus, RowsFollowTheirLinks)
{
    m_oHelper.m_mLinks = {{"ppp0", {2, "SRU=1#SRD=2#"}}, {"ppp1", {0, ""}}};
    m_oTable.init();
    writePeer("pppoe0", "user me\npassword first\n");
    EXPECT_EQ(m_oRead.at(1, {}), "2,ppp1,0,state 0,,,,0,0");
    EXPECT_EQ(m_oRead.at(0), "1,ppp0,2,state 2,me,first,SRU=1#SRD=2#,1,2");

    // Without a change of state the row keeps its number, and the rest is new all the same.
    writePeer("pppoe0", "password second");
    m_oHelper.m_mLinks["ppp2"] = {1, ""}; // is not picked up
    EXPECT_EQ(find("Password", "second"), "ppp0");
    EXPECT_EQ(find("User", "me"), "code 10");
    EXPECT_EQ(find("Id", "1"), "ppp0");
    m_oHelper.m_mLinks["ppp0"].m_iStatus = 0;
    EXPECT_EQ(find("Id", "1"), "ppp0") << "a row that has changed";
    std::filesystem::remove(m_oPeers.file("pppoe0"));
    EXPECT_EQ(m_oRead.at(0, {"Id", "Status", "User", "Password"}), "1,0,,");
}

TEST_F(PppStatus, LogsLinksButNoPassword)
{
    m_oHelper.m_mLinks = {{"ppp0", {1, "secret"}}};
    ZEL_Sysloglevel_changeTracelevel("PppStatus", zel::c_iTraceLevelVerbose);
    writePeer("pppoe0", "user secret\npassword \"secret\"\n");
    EXPECT_EQ(logOf([this] {
                  m_oTable.init();
                  m_oRead.at(0, {});
                  m_oHelper.m_mLinks["ppp0"].m_iStatus = 2;
                  m_oRead.at(0, {});
                  m_oRead.at(0, {"Password", "no column"});
              }),
              "info PppStatus Found new iface: ppp0\n"
              "info PppStatus iface: ppp0, status: 1, desc: state 1\n"
              "info PppStatus iface changed: ppp0\n"
              "info PppStatus iface: ppp0, status: 2, desc: state 2\n");
}

TEST_F(PppStatus, ChangesAreAnnouncedToSubscribersOnly)
{
    m_oHelper.m_mLinks = {{"ppp0", {0, ""}}};
    m_oTable.init();
    EXPECT_FALSE(announces());
    EXPECT_EQ(m_oHelper.m_iQuestions, 0U);
    m_oDispatcher.subscribe(*this, {"PppStatus"});
    EXPECT_TRUE(announces());
    EXPECT_FALSE(announces());
    m_oHelper.m_mLinks["ppp0"] = {0, "SRU=1#SRD=2#"};
    EXPECT_FALSE(announces()) << "a message is no change";
    m_oHelper.m_mLinks["ppp0"].m_iStatus = 1;
    m_iNow -= 1;
    EXPECT_FALSE(announces()) << "one second after the last check";
    EXPECT_TRUE(announces());
    m_oHelper.m_mLinks["ppp0"].m_iStatus = 2;
    m_oRead.at(0, {});
    EXPECT_TRUE(announces()) << "though a read has seen the change first";
    EXPECT_FALSE(announces());
    m_oDispatcher.unsubscribeAll(*this);
}

TEST_F(PppStatus, ATransactionReadsOnceAndARollbackEndsThatAndWakesNobody)
{
    m_oHelper.m_mLinks = {{"ppp0", {0, ""}}};
    m_oTable.init();
    m_oDispatcher.subscribe(*this, {"PppStatus"});
    const auto status = [this](int a_iNow) {
        m_oHelper.m_mLinks["ppp0"].m_iStatus = a_iNow;
        return m_oRead.at(0, {"Status"});
    };
    EXPECT_EQ(status(1), "1");
    EXPECT_EQ(m_oTable.startTransaction(), EResultCode::Success);
    EXPECT_EQ(status(2), "2");
    EXPECT_EQ(status(3), "2");
    EXPECT_TRUE(announces()) << "what was read in the transaction";
    EXPECT_FALSE(announces()) << "while nothing is read";
    EXPECT_EQ(m_oTable.rollbackTransaction(), EResultCode::Success);
    EXPECT_TRUE(announces());
    EXPECT_FALSE(announces());
    EXPECT_EQ(status(4), "4");
    m_oDispatcher.unsubscribeAll(*this);
}

TEST_F(PppStatus, CredentialsAreTheSecondWordsOfTheirLines)
{
    m_oHelper.m_mLinks = {{"ppp3", {0, ""}}};
    m_oTable.init();
    const std::pair<const char*, const char*> aFiles[] = {
        {"# user x\nplugin rp-pppoe.so\n  user   a b\nuser c\npassword d", "a,d"},
        {"user \"a\"\npassword \"b\"c\n", "a,b"},
        {"user \"a b\"\npassword \"\n", "a,"},
        {"user\npassword \n", ","},
        {"user\ta\nusers b\npasswordc\n", ","},
        {"password \"\"\nuser \"a", "a,"},
    };
    for (const auto& [pFile, pCells] : aFiles) {
        writePeer("pppoe3", pFile);
        EXPECT_EQ(m_oRead.at(0, {"User", "Password"}), pCells) << pFile;
    }
}

TEST_F(PppStatus, OneCharacterOfTheNameChoosesThePeerFile)
{
    for (const char* pName : {"", "p", "ppp", "ppp/../x", "ppp12"}) {
        m_oHelper.m_mLinks[pName] = {0, ""};
    }
    m_oTable.init();
    writePeer("pppoe1", "user one\n");
    writePeer("pppoe", "user none\n");
    EXPECT_EQ(m_oRead.all({"Interface", "User"}), ",none p,none ppp,none ppp/../x, ppp12,one ");
}
