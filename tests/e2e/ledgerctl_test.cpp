// ledgerctl as people and scripts run it: its output byte for byte, its errors and its exit status.
#include "tests/e2e/daemontest.h"

#include <algorithm>
#include <csignal>
#include <cstdlib>
#include <fcntl.h>
#include <filesystem>
#include <iterator>
#include <sys/stat.h>
#include <sys/wait.h>

namespace fs = std::filesystem;

namespace e2e {
namespace {

class Ledgerctl : public RunningDaemonTest
{
protected:
    void expectOutput(std::vector<std::string> a_lArguments, const std::string& a_sOutput,
                      const std::string& a_sInput = {})
    {
        const auto oRun = ledgerctl(std::move(a_lArguments), a_sInput);
        EXPECT_EQ(a_sOutput, oRun.m_sOutput);
        EXPECT_EQ("", oRun.m_sErrors);
        EXPECT_EQ(0, oRun.m_iStatus);
    }

    void expectError(int a_iStatus, const std::string& a_sText, std::vector<std::string> a_lArguments,
                     const std::string& a_sInput = {})
    {
        const auto oRun = ledgerctl(std::move(a_lArguments), a_sInput);
        EXPECT_EQ("", oRun.m_sOutput);
        EXPECT_THAT(oRun.m_sErrors, StartsWith("ledgerctl: " + a_sText));
        EXPECT_THAT(oRun.m_sErrors, EndsWith(" [" + std::to_string(a_iStatus) + "]\n"));
        EXPECT_EQ(a_iStatus, oRun.m_iStatus);
    }
};

TEST_F(Ledgerctl, ShowsRowsAndWhatIsServedInEveryForm)
{
    expectOutput({"get", "Item"}, "Id  Name    Number        Size  Note   Raw\n"
                                  " 1  apple       -5  4000000000  red   NULL\n"
                                  " 2  pear         7           0  NULL  NULL\n"
                                  " 3  O'Neil    NULL        NULL        NULL\n");
    expectOutput({"get", "Item", "Note", "Id", "--row", "1"}, "Note  Id\nNULL   2\n");
    expectOutput(
        {"get", "Item", "--key", "Id=1", "--json"},
        "[\n "
        "{\"Id\":1,\"Name\":\"apple\",\"Number\":-5,\"Size\":4000000000,\"Note\":\"red\",\"Raw\":null}\n]\n");
    expectOutput({"--json", "get", "Scratch"}, "[]\n");
    expectOutput({"--csv", "get", "Scratch"}, "Id,Text\n");
    expectOutput({"--json", "count", "Item"}, "3\n");
    expectOutput({"--csv", "count", "Item"}, "count\n3\n");
    expectOutput({"count", "RegisteredViews"}, "3\n"); // whose size the daemon gives as 0
    expectOutput({"schema", "Twins"},
                 "name  type\nId    integer\nText  text\n\nstored in transient.db, writable\n");
    const auto oTables = client().call(request::GetTables{});
    std::string sNames;
    std::string sJson;
    for (const auto& sTable : *oTables) {
        sNames += sTable + "\n";
        sJson += (sJson.empty() ? "[\"" : ",\"") + sTable + "\"";
    }
    expectOutput({"tables"}, sNames);
    expectOutput({"--json", "tables"}, sJson + "]\n");

    EXPECT_THAT(ledgerctl({"info"}).m_sOutput,
                StartsWith("Version              2.13.0\nProtocol             1\n"));
    EXPECT_THAT(
        ledgerctl({"--json", "info"}).m_sOutput,
        StartsWith("{\"Version\":\"2.13.0\",\"Protocol\":1,\"Pid\":" + std::to_string(daemon().pid())));
}

TEST_F(Ledgerctl, SchemaShowsWhatATableDemandsAndWhatItIs)
{
    expectOutput({"schema", "DhcpOption"},
                 "name          type     constraints\n"
                 "Id            integer  primary key\n"
                 "DhcpServerId  integer  not null, unique (DhcpServerId, Code), references "
                 "DhcpServerConfig(Id) on delete cascade\n"
                 "Code          integer  not null, unique (DhcpServerId, Code), check (Code BETWEEN 1 AND "
                 "254)\n"
                 "Content       text\n"
                 "\nstored in persistent-network.db, writable\n");
    EXPECT_THAT(ledgerctl({"--csv", "schema", "LanBridge"}).m_sOutput,
                StartsWith("name,type,default,constraints,table,access,database,changes\n"
                           "Id,integer,,\"primary key, referred to by LanPort.BridgeId\",stored,writable,"
                           "persistent-network.db,\n"
                           "Name,text,,\"not null, unique\",stored,writable,persistent-network.db,\n"
                           "Address,text,'0.0.0.0',not null,stored,writable,persistent-network.db,\n"));
    expectOutput({"--json", "schema", "ItemPart"},
                 "[\n {\"name\":\"Id\",\"type\":\"integer\",\"primaryKey\":[\"Id\"],\"table\":\"stored\","
                 "\"writable\":true,\"database\":\"persistent-common.db\"},\n {\"name\":\"ItemId\",\"type\":"
                 "\"integer\",\"notNull\":true,\"references\":[\"Item(Id)\"],\"table\":\"stored\","
                 "\"writable\":true,\"database\":\"persistent-common.db\"}\n]\n");
    EXPECT_THAT(ledgerctl({"--json", "schema", "Service"}).m_sOutput,
                HasSubstr("\"referredToBy\":[\"ServiceDependency.ServiceId on delete cascade\","
                          "\"ServiceDependency.NeedsId on delete cascade\"]"));
    EXPECT_THAT(ledgerctl({"--json", "schema", "Passwd"}).m_sOutput, HasSubstr("\"neverAnnounced\":true"));
    const std::string sSilent = "live, read-only, changes are never announced";
    for (const char* pTable : {"ConfigServerLimits", "RegisteredViews", "etl", "DhcpServerClients",
                               "DnsCache", "FirewallStatistic", "IpConntrack", "Passwd", "WlanScan"}) {
        EXPECT_THAT(ledgerctl({"schema", pTable}).m_sOutput, EndsWith("\n\n" + sSilent + "\n")) << pTable;
    }
    for (const auto& [pTable, pIs] : {std::pair("ConfigServerConfig", "live, writable"),
                                      {"DhcpLeases", "live, read-only"},
                                      {"ConfigmanagerLogging", "live, writable"},
                                      {"SystemTime", "live, writable"},
                                      {"Tz", "live, writable"},
                                      {"RouteIPv4", "live, read-only"},
                                      {"ItemView", "view in persistent-common.db, read-only"},
                                      {"StatusNetifWatchLogical", "view, read-only"}}) {
        EXPECT_THAT(ledgerctl({"schema", pTable}).m_sOutput, EndsWith(std::string("\n\n") + pIs + "\n"))
            << pTable;
    }
    const auto oTables = client().call(request::GetTables{});
    for (const std::string& sTable : *oTables) {
        EXPECT_EQ(0, ledgerctl({"schema", sTable}).m_iStatus) << sTable;
    }
}

TEST_F(Ledgerctl, ErrorsHaveTheTextAndTheCodeOfTheResult)
{
    expectError(8, "no table \"Nonsense\"", {"get", "Nonsense"});
    expectError(8, "no table \"Nonsense\"", {"add", "Nonsense", "Name=x"});
    expectError(10, "no such row", {"get", "Item", "--row", "3"});
    expectError(9, "", {"get", "ConfigServerLimits", "Nonsense"});
    expectError(6, "constraint violated", {"add", "Item", "Name=pear"});
    expectError(4, "read-only", {"del", "Item", "--key", "Id=0"});
    expectError(7, "Number=2147483648 is not an integer of -2147483648 to 2147483647",
                {"set", "Item", "--row", "0", "Number=2147483648"});
    expectError(7, "Size=4294967296 is not an integer of 0 to 4294967295",
                {"add", "Item", "Name=x", "Size=4294967296"});
    expectError(1, "", {"add", "Scratch", "Text=" + std::string(5000, 'x')});
    EXPECT_EQ(0U, client().code(request::Begin{}));
    expectError(2, "busy", {"set", "Item", "--row", "0", "Note=x"});
    expectError(64, "", {"get", "Item", "--row", "-1"});
    expectError(64, "cannot open /no/such/file", {"batch", "/no/such/file"});
    expectError(64, "cannot read /", {"batch", "/"});
    expectError(64, "cannot read /", {"import", "/"});
    EXPECT_EQ(3U, client().count("Item"));
    expectOutput({"--version"}, "ledgerctl 2.13.0\n");
    EXPECT_THAT(ledgerctl({"--help"}).m_sOutput, HasSubstr("export"));

    expectError(69, m_oSandbox.pidFile() + " is not a socket", {"-s", m_oSandbox.pidFile(), "tables"});
    EXPECT_THAT(
        ledgerctl({"--csv", "tables", "--long"}).m_sOutput,
        AllOf(HasSubstr("\nItem,stored,writable\n"), HasSubstr("\nStatusNetifWatch,live,read-only\n")));
    daemon().signal(SIGSTOP);
    expectError(69, "no answer within 1 s", {"-t", "1", "tables"});
}

TEST_F(Ledgerctl, BatchIsOneTransaction)
{
    EXPECT_TRUE(client().subscribe({"Item"}).ok());
    expectOutput({"batch"}, "4\n5\n",
                 "add Item Name=plum\n"
                 "# a comment\n"
                 "\n"
                 "  set Item --key Name=plum Note=\"two words\" 'Number=7'\n"
                 "add Item Name='it'\\''s' Note:null\n"
                 "del Item --row 0");
    EXPECT_EQ("two words", client().cell("Item", 4, "Note"));
    EXPECT_EQ("it's", client().cell("Item", 5, "Name"));
    EXPECT_EQ("Item", **client().waitForChange(c_oDeadline));

    const std::string sBefore = exported();
    expectError(6, "line 3: constraint violated", {"batch"},
                "add Item Name=one\ndel Twins --all\nadd Item Name=plum\nadd Item Name=two\n");
    expectError(10, "line 2: no such row", {"batch"}, "del Twins --all\nset Item --row 99 Note=x\n");
    const std::pair<const char*, std::string> aFaults[] = {
        {"line 2: \"get\" is no command of a batch, which has set, add, del", "get Item\n"},
        {"line 2: \"ledgerctl\" is no command of a batch", "ledgerctl del Item --all"},
        {"line 3: a quote is not closed", "\nadd Item 'Name=open\nadd Item Name=x\n"},
        {"line 2: \"Name=x;\": a line has one command", "add Item Name=x; del Item --all\n"},
        {"line 2: \"&&\": a line has one command", "add Item Name=x && del Item --all\n"},
        {"line 2: it holds a NUL byte", std::string("add Item Name=x\0y\n", 18)},
    };
    for (const auto& [pText, sLines] : aFaults) {
        expectError(64, pText, {"batch"}, "del Twins --all\n" + sLines);
    }
    expectError(7, "line 2: Number=x is not an integer", {"batch"}, "del Twins --all\nadd Item Number=x");
    EXPECT_EQ(sBefore, exported());
    EXPECT_THAT(client().changes(), IsEmpty());

    expectOutput({"batch"}, "6\n",
                 "\xef\xbb\xbf"
                 "add Item 'Name=two\r\nlines' \\\r\n  Note=a\\;\r\n");
    EXPECT_EQ("two\nlines", client().cell("Item", 6, "Name"));
    EXPECT_EQ("a;", client().cell("Item", 6, "Note"));
}

TEST_F(Ledgerctl, ALineOfABatchRefersToARowThatAnEarlierOneAdded)
{
    expectOutput({"batch"}, "4\n2\n5\n",
                 "add Item Name=plum Number=9 --as plum\n"
                 "add ItemPart ItemId=$plum --as part\n"
                 "set Item --key Id=$plum Note='$plum' Number=$part\n"
                 "add Item Name=\"\\$x\" Note=\\$plum\n"
                 "set Item --key=Id=$plum Size=$plum\n");
    EXPECT_EQ("4", client().cell("ItemPart", 2, "ItemId"));
    EXPECT_EQ("$plum", client().cell("Item", 4, "Note"));
    EXPECT_EQ("2", client().cell("Item", 4, "Number"));
    EXPECT_EQ("4", client().cell("Item", 4, "Size"));
    EXPECT_EQ("$plum", client().cell("Item", 5, "Note"));
    expectOutput({"batch"}, "", "set Item --key Id=5 Note=$5\nset Item --key Id=4 Note=a$b\n");
    EXPECT_EQ("$5", client().cell("Item", 5, "Note"));
    const std::string sBefore = exported();
    for (const auto& [pText, pLines] :
         {std::pair("line 2: no line before has --as kiwi; quote '$kiwi' if it is a text",
                    "add Item Name=a\nset Item --key Id=1 Note=$kiwi\n"),
          {"line 2: a line before has --as a, too", "add Item Name=a --as a\nadd Item Name=b --as a\n"},
          {"line 1: --as: \"1\" is not a name", "add Item Name=a --as 1\n"},
          {"line 1: no option \"--as\" in ", "del Item --all --as a\n"}}) {
        expectError(64, pText, {"batch"}, pLines);
    }
    EXPECT_EQ(sBefore, exported());
}

TEST_F(Ledgerctl, ResultsOfABatchAreOneJsonArrayAlsoAfterAFailure)
{
    expectOutput({"--json", "batch"}, "[]\n");
    expectOutput({"--json", "batch"},
                 "[\n {\"line\":2,\"state\":\"done\",\"id\":4},\n"
                 " {\"line\":3,\"state\":\"done\"}\n]\n",
                 "\nadd Item Name=plum\nset Item --key Id=4 Note=x\n");
    const auto oFailed = ledgerctl({"--json", "batch"}, "add Item Name=fig\nadd Job Name=kept\n"
                                                        "add Item Name=plum\nadd Item Name=kiwi\n");
    EXPECT_EQ(6, oFailed.m_iStatus);
    EXPECT_EQ("[\n {\"line\":1,\"state\":\"undone\"},\n {\"line\":2,\"state\":\"done\",\"id\":2},\n"
              " {\"line\":3,\"state\":\"failed\",\"error\":\"constraint violated: UNIQUE constraint failed: "
              "Item.Name\",\"code\":6},\n {\"line\":4,\"state\":\"undone\"}\n]\n",
              oFailed.m_sOutput);
    EXPECT_THAT(ledgerctl({"--json", "batch"}, "add Item Name=plum\nset Item --key Id=77 Note=x\n").m_sOutput,
                EndsWith(",\n {\"line\":2,\"state\":\"not run\"}\n]\n"))
        << "its key was looked for, in vain, and it was not sent";
    EXPECT_EQ(
        "[\n {\"line\":1,\"state\":\"not run\"},\n {\"line\":2,\"state\":\"failed\",\"error\":\"Number=x is "
        "not an integer of -2147483648 to 2147483647\",\"code\":7}\n]\n",
        ledgerctl({"--json", "batch"}, "del Item --all\nadd Item Number=x\n").m_sOutput);
}

TEST_F(Ledgerctl, ExportsOneTableAsCsv)
{
    const std::string sCsv = "Id,Name\n0,default\n1,first\n";
    expectOutput({"--csv", "export", "Job"}, sCsv);
    const std::string sFile = m_oSandbox.path("job.csv");
    expectOutput({"--csv", "export", "Job", "-o", sFile}, "");
    EXPECT_EQ(sCsv, readFile(sFile));
    expectError(64, "export --csv writes one table", {"--csv", "export"});
    expectError(64, "export --csv writes one table", {"--csv", "export", "Job", "Item"});
    expectError(8, "no table \"Jbo\"; did you mean \"Job\"?", {"--csv", "export", "Jbo"});
    expectError(64, "import reads JSON", {"--csv", "import"}, sCsv);
    expectError(9, "no column \"rowid\" in Job; --key Id=N finds the row with an Id, --row N",
                {"get", "Job", "rowid"});
}

TEST_F(Ledgerctl, BatchWaitsForTheTransactionOfAnother)
{
    const std::string sFile = m_oSandbox.path("batch");
    writeFile(sFile, "set Item --key Id=1 Note=batched\n");
    EXPECT_EQ(0U, client().code(request::Begin{}));
    expectError(2, "busy: another client's transaction has not ended; --wait waits longer", {"batch", sFile});
    expectError(2, "busy: another client's transaction has not ended within 20 ms; --wait waits longer",
                {"batch", sFile, "--wait", "20"});
    Process oBatch(LEDGERCTL_BINARY, {{"batch", "--wait", "3600000", sFile}, m_oSandbox.environment()});
    ASSERT_TRUE(eventually([this] { return client().info("TransactionsWaiting") == 1; }));
    EXPECT_THAT(client().codes(setNote("before it"), request::Commit{}), Each(0U));
    EXPECT_EQ(0, oBatch.wait()) << oBatch.errors();
    EXPECT_EQ("batched", note());
}

TEST_F(Ledgerctl, SetAddAndDelWaitForTheTransactionOfAnother)
{
    EXPECT_THAT(client().codes(request::Begin{}, setNote("before it")), Each(0U));
    expectError(2, "busy: another client's transaction has not ended within 1 s; -t waits longer",
                {"-t", "1", "set", "Item", "--key", "Id=1", "Note=in vain"});
    expectOutput({"set", "ConfigServerConfig", "--row", "0", "TransactionTimeout=600"}, "");
    EXPECT_EQ("600", client().cell("ConfigServerConfig", 1, "TransactionTimeout"));

    std::vector<std::unique_ptr<Process>> lWrites;
    const std::vector<std::string> aWrites[] = {{"set", "Item", "--key", "Id=1", "Note=waited"},
                                                {"add", "Job", "Name=new"}, // without transactions
                                                {"add", "Item", "Name=apple"},
                                                {"--json", "add", "Scratch", "Text=new"},
                                                {"del", "Twins", "--all"}};
    for (const auto& lArguments : aWrites) {
        auto lWords = lArguments;
        lWords.insert(lWords.begin(), {"-t", "3600"});
        lWrites.push_back(
            std::make_unique<Process>(LEDGERCTL_BINARY, Process::Start{lWords, m_oSandbox.environment()}));
        ASSERT_TRUE(eventually([&] { return client().info("TransactionsWaiting") == lWrites.size(); }));
    }
    EXPECT_EQ("before it", note());
    EXPECT_EQ(0U, client().code(request::Commit{}));
    std::vector<std::string> lOutcomes;
    for (const auto& pWrite : lWrites) {
        pWrite->wait();
        lOutcomes.push_back(pWrite->output() + pWrite->errors());
    }
    EXPECT_THAT(lOutcomes,
                ElementsAre("", "2\n",
                            "ledgerctl: constraint violated: UNIQUE constraint failed: Item.Name [6]\n",
                            "{\"id\":1}\n", ""));
    EXPECT_EQ("waited", note());
    EXPECT_EQ(3U, client().count("Item"));
    EXPECT_EQ(2U, client().count("Job"));
    EXPECT_EQ(1U, client().count("Scratch"));
    EXPECT_EQ(0U, client().count("Twins"));
    EXPECT_EQ(0U, client().info("TransactionOpen"));
}

TEST_F(Ledgerctl, ADeletionTellsWhichRowsOfOtherTablesWentWithIt)
{
    const auto gone = [&](const std::vector<std::string>& a_lArguments) {
        const Finished oRun = ledgerctl(a_lArguments);
        EXPECT_EQ("", oRun.m_sOutput);
        EXPECT_EQ(0, oRun.m_iStatus) << oRun.m_sErrors;
        return oRun.m_sErrors;
    };
    EXPECT_EQ("", gone({"del", "FirewallZones", "--key", "ZoneName=lan"})) << "which has no rules";
    EXPECT_EQ("ledgerctl: deleted with it: 2 rows of FirewallRule\n",
              gone({"del", "FirewallZones", "--key", "Id=2"}));
    EXPECT_EQ("ledgerctl: deleted with it: 2 rows of ServiceDependency\n",
              gone({"del", "Service", "--key", "Id=4"}))
        << "which no rollback undoes";
    EXPECT_EQ("ledgerctl: deleted with it: 1 row of WebPage\n", gone({"del", "WebPage", "--key", "Id=4"}));
    EXPECT_EQ("", gone({"del", "WebPage", "--all"})) << "of the table itself, as asked for";

    // A row that another client adds and one that it deletes meanwhile are counted as they are in the end.
    EXPECT_THAT(client().codes(request::Begin{}, request::DeleteKey{"FirewallRule", "Id", "3"},
                               request::InsertRow{"FirewallRule", row({{"ZoneId", 3}})},
                               request::InsertRow{"FirewallRule", row({{"ZoneId", 3}})}),
                Each(0U));
    Process oDelete(LEDGERCTL_BINARY,
                    {{"-t", "3600", "del", "FirewallZones", "--key", "Id=3"}, m_oSandbox.environment()});
    ASSERT_TRUE(eventually([&] { return client().info("TransactionsWaiting") == 1; }));
    EXPECT_EQ(0U, client().code(request::Commit{}));
    oDelete.wait();
    EXPECT_EQ("ledgerctl: deleted with it: 3 rows of FirewallRule\n", oDelete.errors());
}

TEST_F(Ledgerctl, WatchTellsEachChangeUntilItIsInterrupted)
{
    // Starts a watch and returns when the daemon has served its two requests.
    const auto watch = [this](const std::vector<std::string>& a_lArguments) {
        const unsigned iBefore = client().info("Requests");
        auto pWatch = std::make_unique<Process>(LEDGERCTL_BINARY,
                                                Process::Start{a_lArguments, m_oSandbox.environment()});
        unsigned iOwn = 0;
        EXPECT_TRUE(eventually([&] { return client().info("Requests") - iBefore - ++iOwn >= 2; }))
            << pWatch->errors();
        return pWatch;
    };
    const auto expectLine = [](const Process& a_oWatch, const std::string& a_sOutput) {
        eventually([&] { return a_oWatch.output().size() >= a_sOutput.size(); });
        EXPECT_EQ(a_sOutput, a_oWatch.output());
    };
    const auto pPlain = watch({"watch", "Item", "Passwd", "Twins"});
    const auto pJson = watch({"watch", "--json", "Item"});
    const auto pCsv = watch({"--csv", "watch", "Item"});
    expectOutput({"set", "Item", "--row", "0", "Note=x"}, "");
    expectLine(*pPlain, "Item\n");
    expectLine(*pJson, "{\"table\":\"Item\"}\n");
    expectLine(*pCsv, "table\nItem\n");
    expectOutput({"del", "Twins", "--all"}, "");
    expectLine(*pPlain, "Item\nTwins\n");
    pPlain->signal(SIGINT);
    EXPECT_EQ(0, pPlain->wait());
    EXPECT_EQ("ledgerctl: changes of Passwd are never announced; read it again instead\n", pPlain->errors());
    pJson->signal(SIGTERM);
    EXPECT_EQ(0, pJson->wait());
    expectError(8, "no table \"Nonsense\"", {"watch", "Item", "Nonsense"});

    stop();
    const auto oStatus = pCsv->wait();
    EXPECT_TRUE(oStatus && WIFEXITED(*oStatus) && WEXITSTATUS(*oStatus) == 69);
    EXPECT_EQ("ledgerctl: the daemon closed the connection [69]\n", pCsv->errors());
}

TEST_F(Ledgerctl, AWatchTellsWhenItListensAndOutlivesTheDaemon)
{
    Process oWatch(LEDGERCTL_BINARY,
                   {{"watch", "Twins", "LedConfig", "--rows", "--column", "Text", "--initial", "--reconnect"},
                    m_oSandbox.environment()});
    const auto expectShown = [&](const std::string& a_sOutput) {
        eventually([&] { return oWatch.output().size() >= a_sOutput.size(); });
        EXPECT_EQ(a_sOutput, oWatch.output()) << oWatch.errors();
    };
    const std::string sTwins = "Twins\n  + Id=1 Text=\"a\"\n  + Id=2 Text=\"b\"\n  + Id=2 Text=\"b\"\n";
    eventually([&] { return oWatch.output().find("\"phone\"") != std::string::npos; });
    EXPECT_THAT(oWatch.output(), StartsWith(sTwins + "LedConfig\n  + Id=1 "));
    std::string sOutput = oWatch.output();
    expectOutput({"set", "LedConfig", "--key", "Id=1", "NightOff=1"}, ""); // no column that is wanted
    expectOutput({"set", "Twins", "--key", "Id=1", "Text=a"}, "");         // no row differs: nothing is shown
    expectOutput({"set", "Twins", "--key", "Id=1", "Text=c"}, "");
    expectShown(sOutput += "Twins\n  ~ Id=1 Text=\"a\"->\"c\"\n");
    stop();
    EXPECT_TRUE(eventually([&] { return !oWatch.errors().empty(); }));
    EXPECT_EQ("ledgerctl: the daemon closed the connection; waiting for the daemon\n", oWatch.errors());
    m_oSandbox.sql("transient.db", "DELETE FROM Twins WHERE Id = 1"); // told all the same
    start();
    expectShown(sOutput += "Twins\n  - Id=1 Text=\"c\"\n");
    oWatch.signal(SIGTERM);
    EXPECT_EQ(0, oWatch.wait()) << oWatch.errors();
}

TEST_F(Ledgerctl, ImportBringsBackWhatWasExported)
{
    const char* const pOdd = "\x80\xff \xc3\xa4 \"\\\n\t\x01 O'Neil";
    EXPECT_EQ(0U, client().code(request::InsertRow{"Scratch", row({{"Text", pOdd}})}));
    EXPECT_EQ(0U, client().code(request::DeleteKey{"Twins", "Id", "2"})); // rows are told apart by their Id
    std::vector<std::string> lExport{"export"};
    const auto oTables = client().call(request::GetTables{systema::wire::ETableFilter::Stored});
    std::ranges::copy_if(*oTables, std::back_inserter(lExport),
                         [](const std::string& a_sName) { return a_sName != "ItemView"; });
    const auto oExport = ledgerctl(lExport);
    EXPECT_EQ(0, oExport.m_iStatus);

    // Rows changed, deleted and added, with those that refer to each other among them.
    expectOutput({"batch"}, "3\n2\n2\n",
                 "set Item --key Id=1 Name=pear2 Size:null\n"
                 "set Item --key Id=2 Name=apple\n"
                 "del Item --key Id=3\n"
                 "add Item Name=plum\n"
                 "add ItemPart ItemId=3\n"
                 "del ItemPart --key ItemId=2\n"
                 "set Scratch --row 0 Text=even\n"
                 "del DhcpServerConfig --key Interface=br0\n" // with its options
                 "del UserAccount --all\n"
                 "add Job Name=more\n");
    const std::string sFile = m_oSandbox.path("export.json");
    writeFile(sFile, oExport.m_sOutput);
    expectOutput({"import", sFile}, "");
    EXPECT_TRUE(oExport.m_sOutput == ledgerctl(lExport).m_sOutput); // too long to be shown
    EXPECT_EQ(pOdd, client().cell("Scratch", 1, "Text"));

    EXPECT_TRUE(client().subscribe({"Item"}).ok());
    expectOutput({"import"}, "", oExport.m_sOutput); // nothing to do
    EXPECT_THAT(client().changes(), IsEmpty());
}

TEST_F(Ledgerctl, ImportOfWhatIsNoExportChangesNothing)
{
    const std::string sBefore = exported();
    const std::tuple<int, std::string, std::string> aCases[] = {
        {64, "the input is not an export: it is empty", ""},
        {64, "the input is not an export: it is not an object", "[]"},
        {64, "the input is not an export: line 1, column 47: the second member of that name",
         R"({"Item":{"rows":[{"Id":1,"a":["\\\"","Id"]}]},"Item":{}})"},
        {64, "the input is not an export: line 2, column 9: unexpected character",
         "{\"Item\":\n{\"rows\":x}}"},
        {64, "the input is not an export: line ", sBefore.substr(0, sBefore.size() / 2)},
        {64, R"(table "Item": rows[1], Id 1: a row before it)", R"({"Item":{"rows":[{"Id":1},{"Id":1}]}})"},
        {64, R"(table "Item": rows[0]: not an object)", R"({"Item":{"rows":[1]}})"},
        {64, R"(table "Item": it has no "rows")", R"({"Item":{}})"},
        {64, R"(table "Item": rows[0], Id 1: column "name": it is given twice)",
         R"({"Item":{"rows":[{"Id":1,"Name":"x","name":"y"}]}})"},
        {8, R"(no table "Nonsense")", R"({"Nonsense":{"rows":[{"Id":1}]}})"},
        {8, R"(table "Item": rows[0], Id 0: no column "Nmae"; did you mean "Name"?)",
         R"({"Item":{"rows":[{"Id":0,"Nmae":"default"}]}})"},
        {4, R"(table "OnlyZero": rows[0], Id 0: it differs from the row with Id 0 that is there)",
         R"({"Scratch":{"rows":[{"Id":1}]},"OnlyZero":{"rows":[{"Id":0,"Text":null}]}})"},
        {7, R"(table "Item": rows[0], Id 1: column "Number": it cannot take the value "text")",
         R"({"Item":{"rows":[{"Id":1,"Name":"x","Number":"text"}]}})"},
        {7, R"(table "Item": rows[0], Id 99999999999: column "Id": it cannot take)",
         R"({"Item":{"rows":[{"Id":99999999999}]}})"},
        {7, R"(table "Item": rows[0], Id 1: column "Name": it cannot take)",
         R"({"Item":{"rows":[{"Id":1,"Name":{"hex":"f"}}]}})"},
        {7, R"(table "Item": rows[0], Id 1: column "Note": a text cannot hold a NUL byte)",
         R"({"Job":{"rows":[]},"Item":{"rows":[{"Id":1,"Note":"a\u0000b"}]}})"},
        {6, R"(table "ItemPart": rows[0], Id 1: constraint violated)",
         R"({"Job":{"rows":[]},"Scratch":{"rows":[{"Id":1}]},"ItemPart":{"rows":[{"Id":1,"ItemId":99}]}})"},
    };
    for (const auto& [iStatus, sText, sInput] : aCases) {
        expectError(iStatus, sText, {"import"}, sInput);
    }
    EXPECT_EQ(sBefore, exported());
}

TEST_F(Ledgerctl, AFailureSaysWhatNoRollbackUndoes)
{
    expectError(10,
                "line 3: no such row: Item has none at position 99; written for good, in tables that no "
                "rollback undoes: line 1; nothing",
                {"batch"},
                "add Job Name=kept\nadd Item Name=undone\nset Item --row 99 Note=x\nadd Job Name=no\n");
    EXPECT_EQ(3U, client().count("Item"));
    EXPECT_EQ(2U, client().count("Job"));
    expectError(
        6,
        R"(table "Job": rows[1], Id 2: constraint violated: CHECK constraint failed: Name <> 'refused'; written for good, in tables that no rollback)"
        R"( undoes: table "Job": rows[0], Id 1; nothing else)",
        {"import"},
        R"({"Job":{"rows":[{"Id":1,"Name":"a"},{"Id":2,"Name":"refused"}]},"Scratch":{"rows":[{"Id":9}]}})");
    EXPECT_EQ("a", client().cell("Job", 1, "Name"));
    EXPECT_EQ(0U, client().count("Scratch"));
}

TEST_F(Ledgerctl, AnImportExchangesValuesThatMustBeUnique)
{
    expectOutput(
        {"import"}, "",
        R"({"Item":{"rows":[{"Id":1,"Name":"pear"},{"Id":2,"Name":"O'Neil"},{"Id":3,"Name":"apple"}]}})");
    EXPECT_EQ("pear", client().cell("Item", 1, "Name"));
    EXPECT_EQ("O'Neil", client().cell("Item", 2, "Name"));
    EXPECT_EQ("apple", client().cell("Item", 3, "Name"));
    EXPECT_EQ(1U, client().count("ItemPart"));

    const std::string sBefore = exported(); // no exchange, but a value twice
    expectError(6, R"(table "Item": rows[1], Id 2: constraint violated)", {"import"},
                R"({"Item":{"rows":[{"Id":1,"Name":"x"},{"Id":2,"Name":"x"},{"Id":3}]}})");
    EXPECT_EQ(sBefore, exported());
}

TEST_F(Ledgerctl, ARowWithoutIdIsAddedWithTheNextOne)
{
    expectOutput({"import"}, "", R"({"Scratch":{"rows":[{"Text":"new"},{"Id":7,"text":"seven"}]}})");
    EXPECT_EQ("new", client().cell("Scratch", 8, "Text"));
    EXPECT_EQ("seven", client().cell("Scratch", 7, "Text"));
}

TEST_F(Ledgerctl, BackupTellsOfTheTransactionThatTheDumpsWaitFor)
{
    const std::string sFile = m_oSandbox.path("backup.tar");
    const std::string sFifo =
        m_oSandbox.path("slow.fifo"); // it has the command wait, whatever the daemon would do
    ASSERT_EQ(0, ::mkfifo(sFifo.c_str(), 0600));
    const zel::UniqueFd oFifo(::open(sFifo.c_str(), O_RDWR | O_CLOEXEC));
    EXPECT_EQ(0U, client().code(request::Begin{}));
    EXPECT_EQ(0U, client().code(setNote("in the backup")));
    Process oBackup(LEDGERCTL_BINARY, {{"backup", sFile, "-f", sFifo}, m_oSandbox.environment()});
    ASSERT_TRUE(eventually([&] {
        return oBackup.errors() ==
               "ledgerctl: the dumps wait for the end of another client's transaction, 30 s at most\n";
    })) << oBackup.errors();
    EXPECT_EQ(0U, client().code(request::Commit{}));
    command("dump -p");
    EXPECT_EQ(0, oBackup.wait()) << oBackup.errors();
    EXPECT_THAT(readFile(sFile), HasSubstr("in the backup"));
}

TEST_F(Ledgerctl, BackupThatFailsLeavesTheFileAlone)
{
    const std::string sFile = m_oSandbox.path("backups/old.tar");
    fs::create_directory(m_oSandbox.path("backups"));
    writeFile(sFile, "older");
    daemon().signal(SIGSTOP);
    expectError(69, "no answer within 1 s", {"-t", "1", "backup", sFile});
    stop();
    expectError(69, "no daemon listens on " + m_oSandbox.path("tmp/ledgerd.fifo"), {"backup", sFile});
    expectError(64, "/dev/null is not a regular file", {"backup", "/dev/null"});

    start({}, [] { ::setenv("PATH", "/without/sqlite3", 1); });
    expectError(1, m_oSandbox.path("flash/sql/persistent-common.db.sql: empty"), {"backup", sFile});
    EXPECT_EQ("older", readFile(sFile));
    EXPECT_EQ(1, std::distance(fs::directory_iterator(m_oSandbox.path("backups")), {}));
    EXPECT_EQ(3, std::distance(fs::directory_iterator(m_oSandbox.path("tmp")), {}))
        << "databases, socket, FIFO";
}

} // namespace
} // namespace e2e
