// Who is told what, how often, and when not.
#include "tests/e2e/daemontest.h"

#include <csignal>

namespace e2e {
namespace {

class Notifications : public RunningDaemonTest
{
protected:
    void write(const char* a_pTable = "Item")
    {
        const ValueList lValues = row({{a_pTable == std::string("Item") ? "Note" : "Text", "changed"}});
        EXPECT_EQ(0U, client().code(request::UpdateKey{a_pTable, "Id", "1", lValues}));
    }

    /// The tables that the subscriber is told of, with the change of Twins that this makes.
    std::vector<std::string> told(Client& a_oSubscriber)
    {
        write("Twins");
        std::vector<std::string> lTables;
        while (lTables.empty() || lTables.back() != "Twins") {
            const auto oTable = a_oSubscriber.waitForChange(c_oDeadline);
            if (!oTable->has_value()) {
                ADD_FAILURE() << "no change is told";
                break;
            }
            lTables.push_back(**oTable);
        }
        const std::vector<std::string> lBehind = a_oSubscriber.changes(); // told along with that of Twins
        lTables.insert(lTables.end(), lBehind.begin(), lBehind.end());
        return lTables;
    }

    static Frame changeOf(const std::string& a_sTable)
    {
        std::string sBody;
        systema::wire::Writer(sBody).text(a_sTable);
        return {EKind::Event, EOperation::TableChanged, 0, 0, sBody};
    }
};

TEST_F(Notifications, ManyChangesAreToldOnceToEachSubscriber)
{
    RawClient oOne(socket());
    RawClient oTwo(socket());
    for (RawClient* pSubscriber : {&oOne, &oTwo}) {
        EXPECT_EQ(0U, pSubscriber->ask(request::Subscribe{{"Item", "Twins", "Item"}}));
        EXPECT_EQ(0U, pSubscriber->ask(request::Subscribe{{"Item"}}));
    }
    daemon().signal(SIGSTOP);   // so that it finds all of the changes at once
    RawClient* pWriter = &oTwo; // is told of its own changes too
    for (std::uint32_t i = 1; i <= 30; ++i) {
        pWriter->send(frameOf(setNote("x"), i));
    }
    daemon().signal(SIGCONT);
    EXPECT_THAT(pWriter->receiveCodes(30), Each(0U));
    EXPECT_EQ(changeOf("Item"), oOne.receive());
    write("Twins");
    EXPECT_EQ(changeOf("Twins"), oOne.receive());
    EXPECT_EQ(changeOf("Item"), oTwo.receive());
    EXPECT_EQ(changeOf("Twins"), oTwo.receive());
}

TEST_F(Notifications, OnlyWhatWasWrittenAndCommittedIsTold)
{
    Client oSubscriber(socket());
    EXPECT_TRUE(oSubscriber.subscribe({"Item", "Scratch", "Twins"}).ok());
    EXPECT_EQ(0U, client().code(request::Begin{}));
    write("Item");
    EXPECT_EQ(0U, client().code(request::Rollback{}));
    EXPECT_EQ(6U, client().code(request::InsertRow{"Item", row({{"Name", "pear"}})}));
    EXPECT_EQ(10U, client().code(request::DeleteKey{"Item", "Name", "none"}));
    EXPECT_EQ(0U, client().code(request::SelectRow{"Item", 0}));
    EXPECT_THAT(told(oSubscriber), ElementsAre("Twins"));

    const request::InsertRow oInsert{"Scratch", row({{"Text", "x"}})};
    EXPECT_THAT(client().codes(request::Begin{}, setNote("a"), setNote("b"), oInsert, request::Ping{}),
                Each(0U));
    EXPECT_THAT(oSubscriber.changes(), IsEmpty());
    EXPECT_EQ(0U, client().code(request::Commit{}));
    EXPECT_THAT(told(oSubscriber), UnorderedElementsAre("Item", "Scratch", "Twins"));
}

TEST_F(Notifications, EveryKindOfWriteIsTold)
{
    Client oSubscriber(socket());
    EXPECT_TRUE(oSubscriber.subscribe({"Scratch", "ConfigServerConfig", "ConfigmanagerLogging"}).ok());
    const ValueList lText = row({{"Text", "x"}});
    const auto expectTold = [&](const auto& a_oRequest) {
        EXPECT_EQ(0U, client().code(a_oRequest));
        const auto oTold = oSubscriber.waitForChange(c_oDeadline);
        EXPECT_EQ(a_oRequest.m_sTable, oTold->value_or("nothing")) << int(a_oRequest.c_eOperation);
    };
    expectTold(request::InsertRow{"Scratch", lText});
    expectTold(request::InsertKey{"Scratch", lText});
    expectTold(request::UpdateRow{"Scratch", 0, lText});
    expectTold(request::UpdateKey{"Scratch", "Id", "1", lText});
    expectTold(request::DeleteRow{"Scratch", 0});
    expectTold(request::DeleteKey{"Scratch", "Id", "2"});
    expectTold(request::DeleteAll{"Scratch"});
    expectTold(request::UpdateRow{"ConfigServerConfig", 0, row({{"TransactionTimeout", 5}})});
    expectTold(request::UpdateRow{"ConfigmanagerLogging", 0, row({{"ConfigService", 113}})});
}

TEST_F(Notifications, RowsThatAReferenceChangesAreToldToNobody)
{
    // A row to delete for each table of the sample with a reference that acts on that, and what it changes.
    const char* const aCases[][3] = {
        {"FirewallZones", "2", "FirewallRule"},  {"WanConnection", "1", "PppAccount"},
        {"DhcpServerConfig", "1", "DhcpOption"}, {"WlanNetwork", "1", "WlanMacFilter"},
        {"PhoneLine", "3", "CallLog"},           {"PhoneAccount", "2", "CallForward"},
        {"PhoneLine", "1", "CallLog"},           {"PhoneAccount", "1", "CallRule"},
        {"Area", "1", "AreaEmergencyNumber"},    {"Service", "1", "ServiceDependency"},
        {"ViewNames", "1", "ViewColumns"}};
    Client oSubscriber(socket());
    EXPECT_TRUE(oSubscriber.subscribe({"Twins"}).ok());
    for (const auto& [pTable, pId, pAlong] : aCases) {
        EXPECT_TRUE(oSubscriber.subscribe({pTable, pAlong}).ok());
        command("trigger"); // closes the databases for a moment
        EXPECT_EQ(0U, client().code(request::DeleteKey{pTable, "Id", pId})) << pTable;
        EXPECT_THAT(told(oSubscriber), UnorderedElementsAre(pTable, pAlong, "Twins"));
    }
    EXPECT_EQ(0U, client().code(request::DeleteKey{"FirewallZones", "Id", "1"})); // a zone without rules
    EXPECT_THAT(told(oSubscriber), UnorderedElementsAre("FirewallZones", "Twins"));
    const request::DeleteKey oDelete{"FirewallZones", "Id", "3"};
    EXPECT_THAT(client().codes(request::Begin{}, oDelete, request::Rollback{}), Each(0U));
    EXPECT_THAT(told(oSubscriber), ElementsAre("Twins"));
    EXPECT_THAT(client().codes(request::Begin{}, oDelete, request::Ping{}), Each(0U));
    EXPECT_THAT(oSubscriber.changes(), IsEmpty());
    EXPECT_EQ(0U, client().code(request::Commit{}));
    EXPECT_THAT(told(oSubscriber), UnorderedElementsAre("FirewallRule", "FirewallZones", "Twins"));
}

class ChangesBySchema : public Notifications
{
protected:
    void SetUp() override
    {
        m_oSandbox.sql(
            "persistent-common.db",
            "CREATE TABLE Log (Id INTEGER PRIMARY KEY, Text TEXT);"
            "CREATE TABLE Buffer (Id INTEGER PRIMARY KEY, Text TEXT); INSERT INTO Buffer VALUES (1, 'a');"
            "CREATE TABLE Keyed (Id INTEGER PRIMARY KEY, Text TEXT) WITHOUT ROWID;"
            "INSERT INTO Keyed VALUES (1, 'a');"
            "CREATE TABLE Firm (Id INTEGER PRIMARY KEY, Text TEXT UNIQUE ON CONFLICT REPLACE);"
            "INSERT INTO Firm VALUES (1, 'a');"
            "CREATE TABLE Part (Id INTEGER PRIMARY KEY, FirmId INTEGER REFERENCES Firm(Id) ON DELETE "
            "CASCADE); INSERT INTO Part VALUES (1, 1);"
            "CREATE TABLE Half (Id INTEGER PRIMARY KEY, Text TEXT UNIQUE ON CONFLICT FAIL, Kind TEXT);"
            "INSERT INTO Half VALUES (1, 'a', 'x'), (2, 'b', 'x');"
            "CREATE TABLE Whole (Id INTEGER PRIMARY KEY, Text TEXT UNIQUE, Kind TEXT);"
            "INSERT INTO Whole SELECT * FROM Half;"
            "CREATE TABLE Scratch (Id INTEGER PRIMARY KEY);" // another database's is served
            "CREATE TRIGGER Emptied AFTER INSERT ON Log WHEN new.Text = 'empty' BEGIN"
            " DELETE FROM Buffer; INSERT INTO Scratch VALUES (NULL); END;"
            "CREATE TRIGGER Changed AFTER INSERT ON Log WHEN new.Text = 'change' BEGIN"
            " UPDATE Keyed SET Text = 'b'; END;"
            "CREATE VIEW Texts AS SELECT b.Id, k.Text FROM Buffer b, Keyed k;");
        start();
    }
};

TEST_F(ChangesBySchema, RowsThatTriggersAndConflictsChangeAreToldToNobody)
{
    Client oSubscriber(socket());
    EXPECT_TRUE(oSubscriber
                    .subscribe({"Log", "Buffer", "Keyed", "Firm", "Part", "Half", "Whole", "Scratch", "Texts",
                                "Item", "ItemView", "Twins"})
                    .ok());
    const auto log = [](const char* a_pText) { return request::InsertRow{"Log", row({{"Text", a_pText}})}; };
    EXPECT_EQ(0U, client().code(log("nothing")));
    EXPECT_THAT(told(oSubscriber), UnorderedElementsAre("Log", "Twins"));
    EXPECT_EQ(0U, client().code(log("empty")));
    EXPECT_THAT(told(oSubscriber), UnorderedElementsAre("Log", "Buffer", "Texts", "Twins"));
    EXPECT_EQ(0U, client().code(log("change")));
    EXPECT_THAT(told(oSubscriber), UnorderedElementsAre("Log", "Keyed", "Texts", "Twins"));
    EXPECT_EQ(0U, client().code(request::InsertRow{"Firm", row({{"Text", "a"}})}));
    EXPECT_THAT(told(oSubscriber), UnorderedElementsAre("Firm", "Part", "Twins"));
    write("Item");
    EXPECT_THAT(told(oSubscriber), UnorderedElementsAre("Item", "ItemView", "Twins"));

    // The first row keeps what the second is refused.
    EXPECT_EQ(6U, client().code(request::UpdateKey{"Half", "Kind", "x", row({{"Text", "c"}})}));
    EXPECT_EQ("c", client().cell("Half", 1, "Text"));
    EXPECT_THAT(told(oSubscriber), UnorderedElementsAre("Half", "Twins"));
    EXPECT_EQ(6U, client().code(request::UpdateKey{"Whole", "Kind", "x", row({{"Text", "c"}})}));
    EXPECT_EQ("a", client().cell("Whole", 1, "Text"));
    EXPECT_THAT(told(oSubscriber), ElementsAre("Twins")); // of that nothing was left
    EXPECT_EQ(0U, client().code(request::DeleteAll{"Buffer"}));
    EXPECT_THAT(told(oSubscriber), UnorderedElementsAre("Buffer", "Twins")); // though it was empty
}

TEST_F(Notifications, TheAddressThatDhcpLearnsIsWrittenAndTold)
{
    Client oSubscriber(socket());
    EXPECT_TRUE(oSubscriber.subscribe({"TR069ACS"}).ok());
    const auto write = [&](const char* a_pTable, const char* a_pKey, const char* a_pValue,
                           const ValueList& a_lValues) {
        EXPECT_EQ(0U, client().code(request::UpdateKey{a_pTable, a_pKey, a_pValue, a_lValues}));
        EXPECT_EQ("TR069ACS", oSubscriber.waitForChange(c_oDeadline)->value_or("nothing")) << a_pTable;
    };
    write("TR069ACS", "Id", "1", row({{"ACSDiscovery", 0}}));
    write("DhcpClientConfig", "Interface", "wan0.8", row({{"ACSURL", "http://acs.example.net"}}));
    EXPECT_EQ("http://acs.example.net", client().cell("TR069ACS", 1, "ACSURL"));
    EXPECT_EQ("1", client().cell("TR069ACS", 1, "ACSDiscovery"));
}

TEST_F(Notifications, TellAtOnceFollowsTheReply)
{
    RawClient oSubscriber(socket());
    oSubscriber.send(frameOf(request::Subscribe{{"Item"}}, 1) +
                     frameOf(request::Subscribe{{"Item", "Twins"}, systema::wire::c_iTellAtOnce}, 2) +
                     frameOf(request::Subscribe{{"Scratch"}, 0xfe}, 3));
    EXPECT_EQ(0U, oSubscriber.receiveCode(1));
    EXPECT_EQ(0U, oSubscriber.receiveCode(2));
    std::vector<Frame> lFrames;
    for (int i = 0; i < 3; ++i) {
        lFrames.push_back(oSubscriber.receive().value_or(Frame()));
    }
    const Frame oReply{EKind::Reply, EOperation::Subscribe, 0, 3, ""};
    EXPECT_THAT(lFrames, UnorderedElementsAre(changeOf("Item"), changeOf("Twins"), oReply));
    EXPECT_EQ(0U, oSubscriber.ask(request::Ping{}));
}

TEST_F(Notifications, WhatIsNotSubscribedIsNotTold)
{
    RawClient oSubscriber(socket()); // a connection of the library would drop what it did not ask for
    EXPECT_EQ(0U, oSubscriber.ask(request::Subscribe{{"Twins"}}));
    EXPECT_EQ(8U, oSubscriber.ask(request::Subscribe{{"Item", "Nonsense"}})); // is refused as a whole
    write("Item");
    write("Twins");
    EXPECT_EQ(changeOf("Twins"), oSubscriber.receive());

    EXPECT_EQ(0U, oSubscriber.ask(request::Subscribe{{"Item", "Scratch"}}));
    EXPECT_EQ(0U, oSubscriber.ask(request::Unsubscribe{{"Item", "Nonsense"}}));
    write("Item");
    EXPECT_EQ(0U, client().code(request::DeleteAll{"Scratch"}));
    EXPECT_EQ(changeOf("Scratch"), oSubscriber.receive());
    EXPECT_EQ(0U, oSubscriber.ask(request::Unsubscribe{})); // all
    write("Twins");
    EXPECT_EQ(0U, oSubscriber.ask(request::Ping{})); // and no change before the answer
}

TEST_F(Notifications, SubscriberThatDoesNotReadIsToldTheLastChangeInTheEnd)
{
    constexpr std::uint32_t c_iRequests = 600;
    RawClient oLazy(socket());
    Client oBusy(socket());
    EXPECT_EQ(0U, oLazy.ask(request::Subscribe{{"Item", "Twins"}}));
    EXPECT_TRUE(oBusy.subscribe({"Item"}).ok());
    // Answers that nobody reads, more than 64 KiB beyond what the socket takes.
    const unsigned iBefore = client().info("Requests");
    for (std::uint32_t i = 1; i <= c_iRequests; ++i) {
        oLazy.send(frameOf(request::GetTables{}, i));
    }
    ASSERT_TRUE(eventually([&] { return client().info("Requests") >= iBefore + c_iRequests; }));
    for (int i = 0; i < 20; ++i) {
        write("Item");
        EXPECT_EQ("Item", **oBusy.waitForChange(c_oDeadline)) << i; // the others are told all the while
    }
    write("Item");
    write("Twins");
    EXPECT_EQ("Item", **oBusy.waitForChange(c_oDeadline));

    std::size_t iBytes = 0;
    for (std::uint32_t i = 1; i <= c_iRequests; ++i) {
        const auto oReply = oLazy.receive();
        ASSERT_TRUE(oReply && oReply->m_eKind == EKind::Reply && oReply->m_iId == i) << i;
        iBytes += oReply->m_sBody.size();
    }
    ASSERT_GT(iBytes, 500000U); // or the daemon had no reason to hold anything back
    EXPECT_EQ(changeOf("Item"), oLazy.receive());
    EXPECT_EQ(changeOf("Twins"), oLazy.receive());
    EXPECT_EQ(0U, oLazy.ask(request::Ping{}));
}

} // namespace
} // namespace e2e
