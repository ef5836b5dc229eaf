// What becomes of saved data under the factory schema of another firmware.

#include "tests/unit/restore/restorefixture.h"

namespace zel::cfg {

namespace {

using testing::HasSubstr;
using testing::IsEmpty;
using testing::Not;

using UpgradeTest = tests::RestoreTest;

TEST_F(UpgradeTest, bringsRowsInByTheNamesOfTablesAndColumns)
{
    save(1, dump("CREATE TABLE \"Odd\"\"Name\" (Id INTEGER PRIMARY KEY, Gone TEXT, Stays VARCHAR(9));\n"
                 "INSERT INTO \"Odd\"\"Name\" VALUES(0,'a','default');\n"
                 "INSERT INTO \"Odd\"\"Name\" VALUES(7,'b','O''Neil');\n"
                 "CREATE TABLE Empty (Id INTEGER PRIMARY KEY AUTOINCREMENT);\n"
                 "CREATE TABLE Dropped (Id INTEGER PRIMARY KEY);\nINSERT INTO Dropped VALUES(1),(2);\n"
                 "CREATE TABLE Bag (Text TEXT, Wide TEXT);\nINSERT INTO Bag VALUES('z',''),('a','');\nCREATE "
                 "INDEX I ON Bag(Text);\n"
                 "DELETE FROM sqlite_sequence;\nINSERT INTO sqlite_sequence VALUES('Empty',41);\n"));
    setFactory("CREATE TABLE \"Odd\"\"Name\" (STAYS TEXT, Id INTEGER PRIMARY KEY, Level INTEGER DEFAULT 5,"
               " Note TEXT NOT NULL, Size INTEGER NOT NULL, Twice TEXT AS (Stays || Stays));\n"
               "INSERT INTO \"Odd\"\"Name\"(Id, Note, Size) VALUES(3,'factory',1);\n"
               "CREATE TABLE Empty (Id INTEGER PRIMARY KEY AUTOINCREMENT);\nINSERT INTO Empty VALUES(3);\n"
               "CREATE TABLE Fresh (Id INTEGER PRIMARY KEY);\nINSERT INTO Fresh VALUES(8);\n"
               "CREATE TABLE BAG (Text TEXT);\nCREATE INDEX BagText ON Bag(Text);\n"
               "CREATE TRIGGER Loud AFTER INSERT ON Bag BEGIN DELETE FROM Fresh; END;\n");
    EXPECT_EQ(restore(), ERestored::Current);
    EXPECT_EQ(getSource(), "generation 1");
    EXPECT_EQ(sql("SELECT Id, Stays, Level, Note, Size, Twice FROM \"Odd\"\"Name\""),
              "0|default|5||0|defaultdefault|7|O'Neil|5||0|O'NeilO'Neil|");
    EXPECT_EQ(sql("SELECT Id FROM Fresh; SELECT Text FROM Bag NOT INDEXED"), "8|z|a|");
    EXPECT_EQ(sql("INSERT INTO Empty DEFAULT VALUES; SELECT Id FROM Empty"), "42|");
    EXPECT_EQ(sql("SELECT name FROM sqlite_master WHERE type = 'trigger' OR name = 'Dropped'"), "Loud|");
    EXPECT_THAT(getLog(), HasSubstr("Odd\"Name.Gone is no longer known and dropped (2 rows)"));
    EXPECT_THAT(getLog(), HasSubstr("Dropped is no longer known and dropped (2 rows)"));
    EXPECT_THAT(getLog(),
                HasSubstr("2 rows of Odd\"Name get a value in what is new, NOT NULL and has no default: "
                          "Note '', Size 0"));

    save(2, readFile(m_oDir.file("factory/persistent-web.sql")));
    EXPECT_EQ(restore(), ERestored::Current);
    EXPECT_THAT(getLog(), IsEmpty()) << "the schema is the same";
}

TEST_F(UpgradeTest, leavesOutOnlyTheRowsThatTheNewSchemaForbids)
{
    save(1, dump("CREATE TABLE P (Id INTEGER PRIMARY KEY, Port);\n"
                 "INSERT INTO P VALUES(1,80),(2,70000),(3,NULL),(4,443),(5,80);\n"
                 "CREATE TABLE C (Id INTEGER PRIMARY KEY, PId INTEGER);\n"
                 "INSERT INTO C VALUES(1,1),(2,2),(3,NULL);\n"
                 "CREATE TABLE G (Id INTEGER PRIMARY KEY, CId INTEGER);\nINSERT INTO G VALUES(1,1),(2,2);\n"
                 "CREATE TABLE N (Id, Text);\nINSERT INTO N VALUES('no number','a'),(2,'b');\n"));
    setFactory(
        "CREATE TABLE P (Id INTEGER PRIMARY KEY,"
        " Port INTEGER NOT NULL ON CONFLICT ROLLBACK UNIQUE ON CONFLICT REPLACE CHECK (Port < 65536));\n"
        "CREATE TABLE C (Id INTEGER PRIMARY KEY, PId INTEGER REFERENCES P(Id) ON DELETE CASCADE);\n"
        "CREATE TABLE G (Id INTEGER PRIMARY KEY, CId INTEGER NOT NULL REFERENCES C(Id));\n"
        "CREATE TABLE N (Id INTEGER PRIMARY KEY, Text TEXT);\n");
    EXPECT_EQ(restore(), ERestored::Current);
    EXPECT_EQ(sql("SELECT Id FROM P"), "1|4|");
    EXPECT_EQ(sql("SELECT Id FROM C; SELECT Id FROM G; SELECT Id FROM N"), "1|3|1|2|");
    EXPECT_THAT(getLog(), HasSubstr("3 rows of P are left out: CHECK constraint failed"));
    EXPECT_THAT(getLog(), HasSubstr("1 rows of C are left out: they refer to nothing"));
    EXPECT_THAT(getLog(), HasSubstr("1 rows of G are left out: they refer to nothing"));
    EXPECT_THAT(getLog(), HasSubstr("1 rows of N are left out: datatype mismatch"));
}

TEST_F(UpgradeTest, migrationsRunOnceInTheOrderOfTheirNumbers)
{
    save(1, dump("CREATE TABLE Old (Id INTEGER PRIMARY KEY, Text TEXT);\nINSERT INTO Old VALUES(1,'a');\n"));
    addMigration("002-name.sql",
                 "ALTER TABLE Old RENAME TO T;\n"
                 "ALTER TABLE T ADD COLUMN Size INTEGER NOT NULL DEFAULT 1 CHECK (Size > 0);\n");
    addMigration("010-twice.sql", "UPDATE T SET Text = Text || Text;");
    addMigration("009-first.sql", "UPDATE T SET Text = Text || 'b';");
    addMigration("011-other.sql", "UPDATE T SET Text = 'no';", "services.db");
    EXPECT_EQ(restore(), ERestored::Current);
    EXPECT_EQ(text(), "abab|");
    EXPECT_EQ(sql("SELECT * FROM SchemaVersionPersistentWeb"), "1|11|");
    EXPECT_EQ(sql("SELECT * FROM SchemaVersionServices", "services.db"), "1|11|");

    save(2,
         dump("CREATE TABLE T (Id INTEGER PRIMARY KEY, Text TEXT);\nINSERT INTO T VALUES(1,'a');\n"
              "CREATE TABLE SchemaVersionPersistentWeb (Id INTEGER PRIMARY KEY, Version INTEGER NOT NULL);\n"
              "INSERT INTO SchemaVersionPersistentWeb VALUES(1,9);\n"));
    EXPECT_EQ(restore(), ERestored::Current);
    EXPECT_EQ(text(), "aa|");
    EXPECT_EQ(restore(true), ERestored::Current);
    EXPECT_EQ(getSource(), "kept");

    addMigration("012-next.sql", "");
    EXPECT_EQ(restore(true), ERestored::Current);
    EXPECT_EQ(getSource(), "generation 2");
}

TEST_F(UpgradeTest, aFailingMigrationChangesNothing)
{
    setFactory("CREATE TABLE T (Id INTEGER PRIMARY KEY, Text TEXT, Level INTEGER DEFAULT 5);\n");
    addMigration("001-good.sql", "UPDATE T SET Text = 'migrated';");
    const std::pair<const char*, const char*> aCases[] = {
        {"UPDATE Missing SET Text = 1;", "no such table: Missing"},
        {"COMMIT;", "may not begin or end a transaction"},
        {"ATTACH 'other' AS o;", "may not attach"},
        {"PRAGMA foreign_keys = ON;", "may not use a PRAGMA"},
    };
    for (const auto& [pStatement, pFault] : aCases) {
        save(1, dumpOf("saved"));
        addMigration("002-bad.sql",
                     std::string("/* two\nlines */ UPDATE T SET Text = 'half';\n-- why\n\n") + pStatement);
        EXPECT_EQ(restore(), ERestored::FellBack) << pStatement;
        EXPECT_EQ(getSource(), "generation 1");
        EXPECT_EQ(sql("SELECT Text, Level FROM T; SELECT Version FROM SchemaVersionPersistentWeb"),
                  "saved|5|2|");
        EXPECT_THAT(getLog(), HasSubstr("migration 002-bad.sql failed, nothing is migrated: "));
        EXPECT_THAT(getLog(), HasSubstr(std::string(": line 6: ") + pFault));
    }
}

TEST_F(UpgradeTest, anOlderFirmwareTakesTheNewerDataAsItIs)
{
    addMigration("001-a.sql", "DELETE FROM T;");
    save(1,
         dump("CREATE TABLE T (Id INTEGER PRIMARY KEY, Text TEXT, More TEXT);\nINSERT INTO T "
              "VALUES(1,'newer','m');\n"
              "CREATE TABLE SchemaVersionPersistentWeb (Id INTEGER PRIMARY KEY, Version INTEGER NOT NULL);\n"
              "INSERT INTO SchemaVersionPersistentWeb VALUES(1,2);\n"));
    EXPECT_EQ(restore(), ERestored::Current);
    EXPECT_EQ(text(), "newer|");
    EXPECT_EQ(sql("SELECT Version FROM SchemaVersionPersistentWeb"), "1|");
    EXPECT_THAT(getLog(), HasSubstr("saved by a newer firmware: schema version 2, here 1"));
    EXPECT_THAT(getLog(), Not(HasSubstr("SchemaVersionPersistentWeb is no longer known")));
}

TEST_F(UpgradeTest, passesOverWhatIsNoMigration)
{
    save(1, dumpOf("saved"));
    addMigration("003-a.sql", "");
    addMigration("003-b.sql", "DELETE FROM T;");
    addMigration("000-a.sql", "DELETE FROM T;");
    addMigration("4-a.sql", "DELETE FROM T;");
    addMigration("004-a.sql.orig", "DELETE FROM T;");
    addMigration("005-a.sql", "DELETE FROM T;", "transient.db");
    writeFile(m_oDir.file("factory/migrations/006-a.sql"),
              "-- Database: persistent-web.db\r\nDELETE FROM T;");
    EXPECT_EQ(restore(), ERestored::FellBack) << "the maker of the image looks at the status";
    EXPECT_EQ(text(), "saved|");
    EXPECT_EQ(sql("SELECT Version FROM SchemaVersionPersistentWeb"), "3|");
    EXPECT_THAT(getLog(), HasSubstr("003-b.sql is passed over: has the number of 003-a.sql"));
    EXPECT_THAT(getLog(), HasSubstr("but \"-- Database: persistent-web.db\\x0d\""));
    for (const char* pFile : {"000-a.sql", "4-a.sql", "004-a.sql.orig", "005-a.sql", "006-a.sql"}) {
        EXPECT_THAT(getLog(), HasSubstr(std::string(pFile) + " is passed over: "));
    }
}

} // namespace

} // namespace zel::cfg
