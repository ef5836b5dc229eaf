// What people get wrong on ledgerctl's command line: names that nothing has, and keys that several rows have.
#include "tests/e2e/daemontest.h"

#include <unistd.h>

#include <algorithm>

namespace e2e {
namespace {

class Mistakes : public DaemonTest
{
protected:
    void expectError(int a_iStatus, const std::string& a_sText, const std::vector<std::string>& a_lArguments,
                     const std::string& a_sInput = {})
    {
        const auto oRun = ledgerctl(a_lArguments, a_sInput);
        EXPECT_EQ("ledgerctl: " + a_sText + " [" + std::to_string(a_iStatus) + "]\n", oRun.m_sErrors);
        const bool bResults = a_lArguments == std::vector<std::string>{"--json", "batch"};
        EXPECT_EQ(!bResults, oRun.m_sOutput.empty()) << oRun.m_sOutput; // only these name each command
        EXPECT_EQ(a_iStatus, oRun.m_iStatus);
    }
    void expectDone(const std::vector<std::string>& a_lArguments, const std::string& a_sInput = {})
    {
        const auto oRun = ledgerctl(a_lArguments, a_sInput);
        EXPECT_EQ("", oRun.m_sErrors);
        EXPECT_EQ(0, oRun.m_iStatus);
    }
};

// ---------------------------------------------------------------------------------------------------------
// Names

TEST_F(Mistakes, AWrongNameIsNamedWithTheNearestInEveryOutputMode)
{
    m_oSandbox.sql("persistent-common.db",
                   "INSERT INTO ViewNames VALUES (90, 'Broken', 'UserGroup', 'Id', 'UserAccount', 'GroupId'),"
                   " (91, 'Empty', 'UserGroup', 'Id', 'UserAccount', 'GroupId');"
                   "INSERT INTO ViewColumns VALUES (90, 'Id', 90, 2, 'Id'), (91, 'Lost', 90, 2, 'Nowhere')");
    writeFile(m_oSandbox.path("etc/TZ"), "UTC0\n");
    start();
    struct Case
    {
        int m_iStatus;
        const char* m_pText;
        std::vector<std::string> m_lArguments;
        const char* m_pInput = "";
    };
    const Case aCases[] = {
        // A short form, and a longer one than there is, are no typing mistakes
        {9,
         R"(no column "Broad" in StatusNetifWatch; did you mean "BroadAddr"?)",
         {"get", "StatusNetifWatch", "Broad"}},
        {8, R"(no column "DisplayName" in Item; did you mean "Name"?)", {"get", "Item", "DisplayName"}},
        {8, R"(no column "rowid"; the number of a row is its Id)", {"set", "Item", "--row", "0", "rowid=7"}},
        {64, "cannot read /: Is a directory", {"import", "/"}},
        // Reads of every kind of table, with every code
        {9,
         R"(no column "name" in StatusNetifWatch; did you mean "Name"?)",
         {"get", "StatusNetifWatch", "name"}},
        {9,
         R"(no column "name" in StatusNetifWatch; did you mean "Name"?)",
         {"get", "StatusNetifWatch", "Name", "name", "--row", "0"}},
        {9,
         R"(no column "name" in StatusNetifWatch; did you mean "Name"?)",
         {"get", "StatusNetifWatch", "--key", "name=br0"}},
        {9, "no row of StatusNetifWatch has that Addr", {"get", "StatusNetifWatch", "--key", "Addr=x"}},
        {9,
         "IsUp is no key of StatusNetifWatch; --all-matching finds rows by any column",
         {"get", "StatusNetifWatch", "--key", "IsUp=0"}},
        {10,
         "Id is no key of NetifCounter; --all-matching finds rows by any column",
         {"get", "NetifCounter", "--key", "Id=1"}},
        {1, "no row of ConfigServerLimits has that Id", {"get", "ConfigServerLimits", "--key", "Id=01"}},
        {8, R"(no column "nam" in Item; did you mean "Name"?)", {"get", "Item", "--key", "nam=O'Neil"}},
        {9,
         R"(no column "Upp" in NetifCounter; did you mean "Up"?)",
         {"get", "NetifCounter", "--key", "Upp=1", "--all-matching"}},
        {8, R"(no column "Nmae" in Item; did you mean "Name"?)", {"get", "Item", "note", "Nmae"}},
        {8, R"(no column "Weight" in Item)", {"get", "Item", "--row", "0", "Weight"}},
        {10,
         R"(no column "gateway" in RouteIPv4; did you mean "Gateway"?)",
         {"get", "RouteIPv4", "--key", "gateway=x"}},
        {9, R"(view Broken has a column that its table lacks)", {"get", "Broken"}},
        {9, R"(no column "Is" in Broken; did you mean "Id"?)", {"get", "Broken", "Is"}},
        {8, R"(no table "item"; did you mean "Item"?)", {"get", "item", "Nmae"}},
        {8, R"(no table "Itme"; did you mean "Item"?)", {"schema", "Itme"}},
        {8, R"(no table "Elsewhere")", {"count", "Elsewhere"}},
        {8, R"(no table "twins"; did you mean "Twins"?)", {"watch", "Item", "twins"}},
        {8, R"(no table "Scrtach"; did you mean "Scratch"?)", {"export", "Item", "Scrtach"}},
        // Writes
        {8, R"(no table "Jbo"; did you mean "Job"?)", {"del", "Jbo", "--all"}},
        {8,
         R"(no column "Nubmer" in Item; did you mean "Number"?)",
         {"set", "Item", "--row", "0", "Nubmer=1"}},
        {8, R"(no column "nam" in Item; did you mean "Name"?)", {"del", "Item", "--key", "nam=pear"}},
        {4,
         "read-only or not supported: the row with Id 0 holds defaults and cannot be changed",
         {"del", "Item", "--key", "Id=0"}},
        {9, "no row of Tz has that Name", {"del", "Tz", "--key", "Name=UTC1"}},
        {9, "no row of Tz has that Name", {"set", "Tz", "--key", "Name=XYZ0", "Start=M3.5.0"}},
        {9, "a column given cannot be set in Tz", {"set", "Tz", "--key", "Name=UTC0", "Id=1"}},
        {4, "StatusNetifWatch is read-only", {"set", "StatusNetifWatch", "--row", "0", "Name=x"}},
        {4, "read-only or not supported: ConfigServerConfig", {"del", "ConfigServerConfig", "--all"}},
        {10, "no row shows Id=01, but one shows Id=1", {"set", "Item", "--key", "Id=01", "Note=x"}},
        {10, "no row shows Id= 1, but one shows Id=1", {"del", "Item", "--key", "Id= 1"}},
        {1,
         R"(no column "time" in SystemTime; did you mean "Time"?)",
         {"set", "SystemTime", "--row", "0", "time=1"}},
        {8,
         R"(line 2: no column "Txt" in Scratch; did you mean "Text"?)",
         {"batch"},
         "del Twins --all\nadd Scratch Txt=x"},
        {8,
         R"(table "Scratch": rows[0], Id 1: no column "Txt"; did you mean "Text"?)",
         {"import"},
         R"({"Scratch":{"rows":[{"Id":1,"Txt":"x"}]}})"},
        {8, R"(no table "scratch"; did you mean "Scratch"?)", {"import"}, R"({"scratch":{"rows":[]}})"},
        // The words of ledgerctl
        {64, R"(no command "gte"; did you mean "get"?)", {"gte", "Item"}},
        {64, R"(no command "frobnicate"; see ledgerctl --help)", {"frobnicate"}},
        {64, R"(no command "list"; did you mean "tables"?)", {"list"}},
        {64, R"(no command "lock"; did you mean "ctl lock"?)", {"lock"}},
        {64, R"(no command "delete"; did you mean "del"?)", {"delete", "Item", "--key", "Id=1"}},
        {64, R"(line 1: no command "remove" in a batch; did you mean "del"?)", {"batch"}, "remove Item"},
        {64,
         R"(no command "restore"; did you mean "import" or "ledger-restore --from"?)",
         {"restore", "backup.tgz"}},
        {64, R"(no command "tirgger" in ctl; did you mean "trigger"?)", {"ctl", "tirgger"}},
        {64, R"(no option "--rwo" in get; did you mean "--row"?)", {"get", "Item", "--rwo=1"}},
        {64, R"(no option "--rw" in set; did you mean "--row"?)", {"set", "Item", "--rw", "0", "Name=a"}},
        {64,
         R"(no option "--tiemout" in count; did you mean "--timeout"?)",
         {"--tiemout", "5", "count", "Item"}},
        {64, R"(no option "--wiat" in batch; did you mean "--wait"?)", {"batch", "--wiat", "5", "f"}},
        {64,
         R"(no option "--scoket" in waittime; did you mean "--socket"?)",
         {"ctl", "--scoket", "/s", "waittime", "x"}},
        {64,
         R"(line 1: no option "--rw" in set; did you mean "--row"?)",
         {"batch"},
         "set Item --rw 0 Name=a"},
        {64, R"(COLUMN=VALUE: the column "name" is given twice)", {"add", "Item", "Name=a", "name=b"}},
        {8, R"(no column "Id,Name" in Item; columns are separated by blanks)", {"get", "Item", "Id,Name"}},
        {8,
         R"(no column "Id=1" in Item; rows with a value are found by --key Id=1)",
         {"get", "Item", "Id=1"}},
        {64, R"(option "-v" must stand behind get; see ledgerctl get --help)", {"-v", "get", "Item"}},
        {64, R"(no command "gte"; did you mean "get"?)", {"gte", "--help"}},
        {64,
         "--row is given more than once; see ledgerctl get --help",
         {"get", "Item", "--row", "1", "--row", "2"}},
        {64, "--timeout: \"0\" is not a number of 1 to 86400", {"-t", "0", "info"}},
        {64, R"(no option "-q" in get; see ledgerctl get --help)", {"get", "Item", "-q"}},
        {64, R"(line 1: no command "dle" in a batch; did you mean "del"?)", {"batch"}, "dle Twins --all"},
        {64, R"(MODE: "fast" is none of default, redundant and nosqldump)", {"ctl", "persistmode", "fast"}},
        {64, "a command is missing; see ledgerctl --help", {}},
        {64, "TABLE is required; see ledgerctl get --help", {"get"}},
        {64, "more words than wanted: Job; see ledgerctl schema --help", {"schema", "Item", "Job"}},
        {64, "exactly one of --row,--key is required; see ledgerctl set --help", {"set", "Item", "Note=x"}},
        {64,
         R"(exactly one of --row,--key,--all is required; did you mean "--key Id=1"?)",
         {"del", "Item", "Id=1"}},
        {64, "--key wants COLUMN=VALUE; see ledgerctl get --help", {"get", "Item", "--key"}},
        {64, R"(line 1: "get" is no command of a batch, which has set, add, del)", {"batch"}, "get Item"},
        {64,
         R"(COLUMN=VALUE: "Note:NULL" is not of the form COLUMN=VALUE, without blanks, nor COLUMN:null)",
         {"set", "Item", "--row", "0", "Note:NULL"}},
        // Failures that no name is to blame for keep their text
        {10, "no row of Item has Note=none", {"get", "Item", "NAME", "--key", "Note=none"}},
        {10, "no row of Item has Name=O'Nobody", {"del", "Item", "--key", "Name=O'Nobody"}},
        {10, "line 1: no such row: Item has none at position 77", {"batch"}, "set Item --row 77 Note=x"},
        {6, "constraint violated: UNIQUE constraint failed: Item.Name", {"add", "Item", "name=pear"}},
        {6,
         "constraint violated: UNIQUE constraint failed: Item.Name;"
         " the row with Id 0, which holds defaults, has Name=default",
         {"add", "Item", "Name=default"}},
        {6,
         "constraint violated: FOREIGN KEY constraint failed; referred to by PhoneLine.AccountId",
         {"del", "PhoneAccount", "--row", "0"}},
    };
    const std::string sBefore = exported();
    for (const char* pMode : {"--json", "--csv", ""}) {
        for (const auto& [iStatus, pText, lArguments, pInput] : aCases) {
            auto lWords = lArguments;
            const std::string sCommand = lWords.empty() ? "" : lWords.front();
            if (pMode == std::string("--csv") && (sCommand == "export" || sCommand == "import")) {
                continue; // these know one table or none as CSV
            }
            if (*pMode != '\0') {
                lWords.insert(lWords.begin(), pMode);
            }
            SCOPED_TRACE(testing::PrintToString(lWords));
            expectError(iStatus, pText, lWords, pInput);
        }
    }
    EXPECT_EQ(sBefore, exported());
    EXPECT_EQ("[\n {},\n {},\n {}\n]\n", ledgerctl({"--json", "get", "Empty"}).m_sOutput);
    EXPECT_EQ("[\n {}\n]\n", ledgerctl({"--json", "get", "Empty", "--row", "1"}).m_sOutput);
}

TEST_F(Mistakes, ARefusalForALockSaysWhatEndsIt)
{
    start();
    command("lock");
    expectError(3, "locked; ledgerctl ctl unlock ends that", {"del", "Scratch", "--all"});
    expectError(3, "locked; ledgerctl ctl unlock ends that", {"batch"}, "del Scratch --all");
    command("unlock");
    expectDone({"del", "Scratch", "--all"});
}

// ---------------------------------------------------------------------------------------------------------
// Keys

TEST_F(Mistakes, ATableThatCannotBeReadIsNamedAndTheOthersAreExported)
{
    m_oSandbox.sql("persistent-common.db",
                   "INSERT INTO ViewNames VALUES (90, 'Broken', 'UserGroup', 'Id', 'UserAccount', 'GroupId');"
                   "INSERT INTO ViewColumns VALUES (90, 'Id', 90, 2, 'Id'), (91, 'Lost', 90, 2, 'Nowhere')");
    start();
    const auto oRun = ledgerctl({"export", "Twins", "Broken", "Scratch"});
    EXPECT_EQ(9, oRun.m_iStatus);
    EXPECT_THAT(oRun.m_sErrors, StartsWith("ledgerctl: table \"Broken\": "));
    EXPECT_EQ(ledgerctl({"export", "Twins", "Scratch"}).m_sOutput, oRun.m_sOutput);

    const std::string sFile = m_oSandbox.path("export.json");
    EXPECT_EQ(9, ledgerctl({"export", "Twins", "Broken", "-o", sFile}).m_iStatus);
    EXPECT_NE(0, ::access(sFile.c_str(), F_OK));
}

TEST_F(Mistakes, AKeyThatSeveralRowsHaveIsRefusedUnlessAllAreMeant)
{
    m_oSandbox.sql("transient.db",
                   "CREATE TABLE Odd (Id INTEGER PRIMARY KEY, Exact TEXT, Loose TEXT COLLATE NOCASE, Any);"
                   "INSERT INTO Odd VALUES (1, 'a', 'a', 'x'), (2, 'A', 'A', 'y'), (3, 'b', 'b', 'z')");
    m_oSandbox.sql("services.db", "INSERT INTO Job VALUES (2, 'twin'), (3, 'twin')"); // without transactions
    start();
    const std::string sBefore = exported();
    EXPECT_TRUE(client().subscribe({"Twins", "Odd", "Job"}).ok());
    expectError(1, "2 rows have Id=2; use --all-matching", {"del", "Twins", "--key", "Id=2"});
    expectError(1, "2 rows have Id=02; use --all-matching", {"set", "Twins", "--key", "Id=02", "Text=x"});
    expectError(1, "2 rows have Name=twin; use --all-matching", {"del", "Job", "--key", "Name=twin"});
    expectError(1, "2 rows have Loose=a; use --all-matching", {"del", "Odd", "--key", "Loose=a"});
    expectError(1, "how many rows have Any=x cannot be told; use --all-matching",
                {"set", "Odd", "--key", "Any=x", "Exact=c"});
    expectError(1, "line 2: 2 rows have Id=2; use --all-matching", {"batch"},
                "set Odd --key Id=1 Exact=c\nset Twins --key Id=2 Text=x\n");
    expectError(1, "line 3: 2 rows have Text=a; use --all-matching", {"batch"}, // not before
                "set Twins --key Text=a Id=5\nadd Twins Id=6 Text=a\nset Twins --key Text=a Id=6\n");
    EXPECT_EQ(sBefore, exported());
    EXPECT_THAT(client().changes(), IsEmpty());

    expectDone({"set", "Odd", "--key", "Exact=a", "Any=one"});
    expectDone({"set", "Odd", "--key", "Any=y", "Exact=d", "--all-matching"});
    expectDone({"del", "Job", "--key", "Name=twin", "--all-matching"});
    expectDone({"batch"}, "set Twins --key Id=2 --all-matching Text=c\n"
                          "set Twins --key Id=1 Text=d\n"
                          "del Odd --key Id=1\n"
                          "del Odd --key Loose=A\n"); // one is left
    EXPECT_THAT(client().rows("Twins"), ElementsAre("1 d", "2 c", "2 c"));
    EXPECT_THAT(client().rows("Odd", {"Exact"}), ElementsAre("b"));
    EXPECT_EQ(1U, client().count("Job"));

    EXPECT_EQ(0U, client().code(request::Begin{})); // a virtual table is written all the same
    expectDone({"set", "ConfigServerConfig", "--key", "Id=1", "DefaultTransactionTimeout=40"});
}

TEST_F(Mistakes, ARowCannotBeFoundNorWrittenByAKeyWithAQuote)
{
    m_oSandbox.sql("services.db", "INSERT INTO Job VALUES (2, 'it''s'), (3, 'twin''s'), (4, 'twin''s')");
    start();
    expectDone({"add", "Scratch", "Text=O'Neil's laptop"}); // as O'Neil would
    EXPECT_EQ("O'Neil's laptop\n",
              ledgerctl({"get", "-v", "Scratch", "Text", "--key", "text=O'Neil's laptop"}).m_sOutput);
    EXPECT_EQ("Id,Name\n2,it's\n", ledgerctl({"--csv", "get", "Job", "--key", "Name=it's"}).m_sOutput);
    expectDone({"set", "Scratch", "--key", "Text=O'Neil's laptop", "Text=desk's"});
    expectDone({"batch"}, "set Scratch --key \"Text=desk's\" Text=both\ndel Job --key \"Name=it's\"\n");
    EXPECT_THAT(client().rows("Scratch", {"Text"}), ElementsAre("both"));
    expectError(1, "2 rows have Name=twin's; use --all-matching", {"del", "Job", "--key", "Name=twin's"});
    EXPECT_EQ(3U, client().count("Job"));
    expectDone({"del", "Job", "--key", "Name=twin's", "--all-matching"});
    EXPECT_EQ(1U, client().count("Job"));
    expectError(10, "no row of Job has Name=twin''s", {"get", "Job", "--key", "Name=twin''s"});
}

TEST_F(Mistakes, ARowCannotBeFoundNorWrittenByAColumnThatIsNull)
{
    m_oSandbox.sql("transient.db", "CREATE TABLE Tree (Id INTEGER PRIMARY KEY, Name TEXT, "
                                   "Parent INTEGER REFERENCES Tree(Id) ON DELETE CASCADE);");
    start();
    const auto csv = [this](const std::string& a_sKey) {
        return ledgerctl({"--csv", "get", "Scratch", "--key", a_sKey, "--all-matching"}).m_sOutput;
    };
    expectDone({"batch"}, "add Scratch Text=:null\nadd Scratch Text:null\nadd Scratch Text=\n");
    EXPECT_EQ("Id,Text\n1,:null\n", csv("Text=:null"));
    EXPECT_EQ("Id,Text\n2,\n", csv("Text:null"));
    EXPECT_EQ("Id,Text\n3,\"\"\n", csv("Text="));
    expectDone({"set", "Scratch", "--key", "Text:null", "Text=found"});
    expectError(10, "no row of Scratch has Text:null", {"get", "Scratch", "--key", "Text:null"});
    expectError(8, R"(no column "Txt" in Scratch; did you mean "Text"?)",
                {"del", "Scratch", "--key", "Txt:null"});
    expectError(1, "which rows have Raw:null cannot be told: the column has no type",
                {"del", "Item", "--key", "Raw:null", "--all-matching"});

    expectDone({"batch"}, "set Scratch --key Id=1 Text:null\nset Scratch --key Id=3 Text:null\n");
    EXPECT_EQ("ledgerctl: the first of 2 rows with Text:null; --all-matching shows them all\n",
              ledgerctl({"get", "Scratch", "--key", "Text:null"}).m_sErrors);
    expectError(1, "2 rows have Text:null; use --all-matching", {"del", "Scratch", "--key", "Text:null"});
    expectError(1, "line 1: 2 rows have Text:null; use --all-matching", {"batch"},
                "set Scratch --key Text:null Text=x\n");
    expectDone({"batch"},
               "set Scratch --key Text:null --all-matching Text=a\nset Scratch --key Id=1 Text:null\n"
               "del Scratch --key Text:null\n");
    EXPECT_THAT(client().rows("Scratch"), ElementsAre("2 found", "3 a"));

    // One of the rows goes with the other.
    const std::string sTree = "add Tree Parent:null --as root\nadd Tree Parent=$root\nadd Tree Name=kept\n";
    const std::vector<std::string> lDelete{"del", "Tree", "--key", "Name:null", "--all-matching"};
    EXPECT_EQ(0, ledgerctl({"batch"}, sTree).m_iStatus);
    expectDone(lDelete);
    EXPECT_EQ(0, ledgerctl({"batch"}, sTree + "del Tree --key Name:null --all-matching\n").m_iStatus);
    EXPECT_EQ(2U, client().count("Tree"));
}

TEST_F(Mistakes, AReadByKeyLeavesRowsOutWithoutAWord)
{
    start();
    const auto oFirst = ledgerctl({"--csv", "get", "Twins", "Text", "--key", "Text=b"});
    EXPECT_EQ("Text\nb\n", oFirst.m_sOutput);
    EXPECT_EQ("ledgerctl: the first of 2 rows with Text=b; --all-matching shows them all\n",
              oFirst.m_sErrors);
    EXPECT_EQ(0, oFirst.m_iStatus);
    const auto oAll = ledgerctl({"--csv", "get", "Twins", "--key", "Text=b", "--all-matching"});
    EXPECT_EQ("Id,Text\n2,b\n2,b\n", oAll.m_sOutput);
    EXPECT_EQ("", oAll.m_sErrors);
    // A column that is no key of a live table finds rows this way, too.
    EXPECT_THAT(ledgerctl({"get", "ConfigServerConfig", "--key", "TransactionTimeout=30", "--all-matching"})
                    .m_sOutput,
                HasSubstr("30"));
}

TEST_F(Mistakes, ARowThatGetsTheKeyWhileAWriteWaitsIsCounted)
{
    start();
    EXPECT_EQ(0U, client().code(request::Begin{}));
    Process oDel(LEDGERCTL_BINARY, {{"del", "Twins", "--key", "Text=a"}, m_oSandbox.environment()});
    ASSERT_TRUE(eventually([&] { return client().info("TransactionsWaiting") == 1; }));
    EXPECT_EQ(0U, client().code(request::InsertRow{"Twins", row({{"Id", "6"}, {"Text", "a"}})}));
    EXPECT_EQ(0U, client().code(request::Commit{}));
    oDel.wait();
    EXPECT_EQ("ledgerctl: 2 rows have Text=a; use --all-matching [1]\n", oDel.errors());
    EXPECT_EQ(4U, client().count("Twins"));
}

} // namespace
} // namespace e2e
