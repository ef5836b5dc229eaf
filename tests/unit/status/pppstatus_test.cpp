#include "status/pppstatus.h"

#include "systema/configdispatcher.h"
#include "tests/logof.h"
#include "tests/row.h"
#include "tests/unit/status/fakeppphelper.h"
#include "tests/unit/zel/tempdir.h"
#include "zel/log.h"

#include <gmock/gmock.h>

using systema::EResultCode;
using systema::NameList;
using systema::ValueList;
using tests::row;

namespace {

class PppStatus : public testing::Test, public systema::IConfigSubscriber
{
protected:
    void notify(const NameList&) override {}

    void writePeer(const std::string& a_sFile, const std::string& a_sText)
    {
        writeFile(m_oPeers.file(a_sFile), a_sText);
    }
    /// The cells of the columns, "-" between them; "none" past the end.
    std::string cells(unsigned a_iPosition, const NameList& a_lColumns)
    {
        ValueList lRow;
        std::string sCells;
        if (m_oTable.getRow("PppStatus", lRow, a_iPosition, a_lColumns) != EResultCode::Success) {
            return "none";
        }
        for (const auto& [sName, oValue] : lRow) {
            sCells += oValue.toText() + "-";
        }
        sCells.pop_back();
        return sCells;
    }
    /// The interface that is found by the key, else the code.
    std::string find(const std::string& a_sColumn, const std::string& a_sValue)
    {
        ValueList lRow;
        const EResultCode eCode = m_oTable.getRowByKey("PppStatus", lRow, a_sColumn, a_sValue, {"Interface"});
        return eCode == EResultCode::Success ? lRow.getValue("Interface").getText() : std::to_string(eCode);
    }
    /// True when an update two seconds later announces the table.
    bool announces()
    {
        m_iNow += 2;
        NameList lChanged;
        m_oTable.update(lChanged);
        return lChanged == NameList{"PppStatus"};
    }

    const TempDir m_oPeers;
    FakePppHelper m_oHelper;
    std::time_t m_iNow = 1000;
    systema::ConfigDispatcher m_oDispatcher;
    zel::PppStatus m_oTable{m_oHelper, m_oPeers.path() + "/", m_oDispatcher, [this] { return m_iNow; }};
};

} // namespace

TEST_F(PppStatus, RowsFollowTheirLinks)
{
    m_oHelper.m_mLinks = {{"ppp0", {2, "SRU=1#SRD=2#"}}, {"ppp1", {0, ""}}};
    m_oTable.init();
    writePeer("pppoe0", "user me\npassword first\n");
    EXPECT_EQ(cells(1, {}), "2-ppp1-0-state 0----0-0");
    ValueList lRow;
    EXPECT_EQ(m_oTable.getRow("PppStatus", lRow, 0, {}), EResultCode::Success);
    EXPECT_EQ(lRow, row({{"Id", 1},
                         {"Interface", "ppp0"},
                         {"Status", 2},
                         {"StatusDesc", "state 2"},
                         {"User", "me"},
                         {"Password", "first"},
                         {"PostAuthMessage", "SRU=1#SRD=2#"},
                         {"PostAuthUpstream", 1},
                         {"PostAuthDownstream", 2}}));

    // Without a change of state the row keeps its number, and the rest is new all the same.
    writePeer("pppoe0", "password second");
    m_oHelper.m_mLinks["ppp2"] = {1, ""}; // is not picked up
    EXPECT_EQ(find("Password", "second"), "ppp0");
    EXPECT_EQ(find("User", "me"), "10");
    EXPECT_EQ(find("Id", "1"), "ppp0");
    m_oHelper.m_mLinks["ppp0"].m_iStatus = 0;
    EXPECT_EQ(find("Id", "1"), "10");
    EXPECT_EQ(find("Id", "0"), "ppp0");
    std::filesystem::remove(m_oPeers.file("pppoe0"));
    EXPECT_EQ(cells(0, {"Id", "Status", "User", "Password"}), "1-0--");
}

TEST_F(PppStatus, LogsLinksButNoPassword)
{
    m_oHelper.m_mLinks = {{"ppp0", {1, "secret"}}};
    ZEL_Sysloglevel_changeTracelevel("PppStatus", zel::c_iTraceLevelVerbose);
    writePeer("pppoe0", "user secret\npassword \"secret\"\n");
    EXPECT_EQ(logOf([this] {
                  m_oTable.init();
                  cells(0, {});
                  m_oHelper.m_mLinks["ppp0"].m_iStatus = 2;
                  cells(0, {});
                  cells(0, {"Password", "no column"});
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
    cells(0, {});
    EXPECT_FALSE(announces()) << "a read has taken the change";
    m_oDispatcher.unsubscribeAll(*this);
}

TEST_F(PppStatus, TransactionReadsOnceAndARollbackKeepsThat)
{
    m_oHelper.m_mLinks = {{"ppp0", {0, ""}}};
    m_oTable.init();
    m_oDispatcher.subscribe(*this, {"PppStatus"});
    const auto status = [this](int a_iNow) {
        m_oHelper.m_mLinks["ppp0"].m_iStatus = a_iNow;
        return cells(0, {"Status"});
    };
    EXPECT_EQ(status(1), "1");
    EXPECT_EQ(m_oTable.startTransaction(), EResultCode::Success);
    EXPECT_EQ(status(2), "2");
    EXPECT_EQ(status(3), "2");
    EXPECT_EQ(m_oTable.rollbackTransaction(), EResultCode::Success);
    EXPECT_EQ(status(4), "2");
    EXPECT_TRUE(announces() && announces()) << "while nothing is read";
    EXPECT_EQ(m_oTable.startTransaction(), EResultCode::Success);
    EXPECT_EQ(status(5), "2");
    EXPECT_EQ(m_oTable.commitTransaction(), EResultCode::Success);
    EXPECT_EQ(status(6), "6");
    m_oDispatcher.unsubscribeAll(*this);
}

TEST_F(PppStatus, CredentialsAreTheSecondWordsOfTheirLines)
{
    m_oHelper.m_mLinks = {{"ppp3", {0, ""}}};
    m_oTable.init();
    const std::pair<const char*, const char*> aFiles[] = {
        {"# user x\nplugin rp-pppoe.so\n  user   a b\nuser c\npassword d", "a-d"},
        {"user \"a\"\npassword \"b\"c\n", "a-b"},
        {"user \"a b\"\npassword \"\n", "a-"},
        {"user\npassword \n", "-"},
        {"user\ta\nusers b\npasswordc\n", "-"},
        {"password \"\"\nuser \"a", "a-"},
    };
    for (const auto& [pFile, pCells] : aFiles) {
        writePeer("pppoe3", pFile);
        EXPECT_EQ(cells(0, {"User", "Password"}), pCells) << pFile;
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
    std::string sRows;
    for (unsigned i = 0; i < 6; ++i) {
        sRows += cells(i, {"Interface", "User"}) + "\n";
    }
    EXPECT_EQ(sRows, "-none\np-none\nppp-none\nppp/../x-\nppp12-one\nnone\n");
}
