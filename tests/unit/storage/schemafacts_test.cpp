#include "storage/schemafacts.h"

#include "tests/unit/storage/database.h"

#include <sstream>

using namespace systema;
using testing::ElementsAre;
using testing::IsEmpty;

namespace {

class SchemaFactsTest : public tests::DatabaseTest
{
protected:
    /// "kind columns: text", a line each.
    static std::vector<std::string> lines(const TableDescription& a_oDescription)
    {
        static constexpr const char* c_aKinds[] = {"",       "primary key", "not null", "default",
                                                   "unique", "check",       "reference"};
        std::vector<std::string> lLines;
        for (const ColumnFact& oFact : a_oDescription.m_lFacts) {
            std::ostringstream oLine;
            oLine << c_aKinds[static_cast<unsigned>(oFact.m_eKind)] << ' ';
            oFact.m_lColumns.put(oLine);
            oLine << (oFact.m_sText.empty() ? "" : ": ") << oFact.m_sText;
            lLines.push_back(oLine.str());
        }
        return lLines;
    }

    TableDescription describe(const std::string& a_sTable)
    {
        SqliteWrapper oDatabase = open();
        TableDescription oDescription{ETableKind::Stored, true, {}};
        EXPECT_EQ(describeTable(oDescription, oDatabase, a_sTable), 0U);
        return oDescription;
    }
};

} // namespace

TEST_F(SchemaFactsTest, everythingThatAColumnDemandsIsTold)
{
    sql("CREATE TABLE Zone (Id INTEGER PRIMARY KEY, Name TEXT);"
        "CREATE TABLE Rule (Id INTEGER PRIMARY KEY, Name TEXT NOT NULL DEFAULT 'a,b' UNIQUE, "
        "Port INTEGER DEFAULT (1 + 1) CHECK (Port BETWEEN 1\n  AND 65535), "
        "Zone INTEGER REFERENCES Zone(Id) ON DELETE CASCADE, A INT, B INT, "
        "UNIQUE (B, A), FOREIGN KEY (A) REFERENCES Zone ON UPDATE SET NULL, "
        "CONSTRAINT ordered CHECK (A < B));"
        "CREATE UNIQUE INDEX Partial ON Rule (Zone) WHERE A = 1;"
        "ALTER TABLE Rule ADD COLUMN Late TEXT CHECK (length(Late) < 9)");
    const TableDescription oRule = describe("Rule");
    EXPECT_EQ(oRule.m_eKind, ETableKind::Stored);
    EXPECT_TRUE(oRule.m_bWritable);
    EXPECT_THAT(lines(oRule),
                ElementsAre("primary key Id", "not null Name", "default Name: 'a,b'", "default Port: 1 + 1",
                            "unique Name", "unique B, A", "unique Zone: among some rows",
                            "reference Zone: Zone(Id) on delete cascade",
                            "reference A: Zone on update set null", "check Port: Port BETWEEN 1 AND 65535",
                            "check Late: length(Late) < 9", "check A, B: ordered: A < B"));
}

TEST_F(SchemaFactsTest, aCheckIsFoundWhateverStandsAroundIt)
{
    sql("CREATE TABLE \"O'dd \"\"(check (1)\" (\"check\" TEXT DEFAULT 'CHECK (x)' /* CHECK (a) */, "
        "[a ) b] INT CHECK ([a ) b] <> 1 -- CHECK (b\n AND [A ) B] IN (2, (3))), "
        "`c`` d` TEXT CHECK (1) CHECK (x'00' <> '), ''(' || \"c` d\"), "
        "K INT, L INT, PRIMARY KEY (L, K), check(K<>L)) WITHOUT ROWID;"
        "CREATE VIEW Seen AS SELECT 1 AS A, 'CHECK (A)' AS B;"
        "CREATE VIEW Written AS SELECT * FROM Seen; "
        "CREATE TRIGGER T INSTEAD OF INSERT ON Written BEGIN SELECT 1; END");
    EXPECT_THAT(lines(describe("O'dd \"(check (1)")),
                ElementsAre("primary key L, K", "default check: 'CHECK (x)'", "not null K", "not null L",
                            "check a ) b: [a ) b] <> 1 AND [A ) B] IN (2, (3))", "check c` d: 1",
                            "check c` d: x'00' <> '), ''(' || \"c` d\"", "check K, L: K<>L"));

    for (const auto& [pView, bWritable] : {std::pair("Seen", false), {"Written", true}}) {
        const TableDescription oView = describe(pView);
        EXPECT_EQ(oView.m_eKind, ETableKind::View);
        EXPECT_EQ(oView.m_bWritable, bWritable) << pView;
        EXPECT_THAT(oView.m_lFacts, IsEmpty());
    }
}

TEST_F(SchemaFactsTest, whatCannotBeReadIsAResult)
{
    sql("CREATE TABLE T (Id INTEGER)");
    SqliteWrapper oDatabase = open();
    TableDescription oDescription;
    tests::logged([&] { EXPECT_EQ(describeTable(oDescription, oDatabase, "x' OR 'a'='a"), 8U); });
    oDatabase.close();
    tests::logged([&] { EXPECT_EQ(describeTable(oDescription, oDatabase, "T"), 1U); });
}
