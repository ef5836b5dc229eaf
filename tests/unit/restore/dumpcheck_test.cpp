#include "restore/dumpcheck.h"

#include "tests/unit/zel/tempdir.h"

#include <gmock/gmock.h>

#include <cstdlib>
#include <fstream>
#include <sys/stat.h>

namespace zel::cfg {

namespace {

using testing::Eq;
using testing::HasSubstr;
using testing::Optional;
using testing::StartsWith;

const std::string c_sBegin = "PRAGMA foreign_keys=OFF;\nBEGIN TRANSACTION;\n";

std::optional<std::string> faultOf(const std::string& a_sText)
{
    const TempDir oDir;
    writeFile(oDir.file("a.sql"), a_sText);
    return findDumpFault(oDir.file("a.sql"));
}

/// The fault of a dump with these statements inside.
std::optional<std::string> faultInside(const std::string& a_sStatements)
{
    return faultOf(c_sBegin + a_sStatements + "COMMIT;\n");
}

std::string shellDump(const std::string& a_sStatements)
{
    const TempDir oDir;
    writeFile(oDir.file("in.sql"), a_sStatements);
    const std::string sCommand =
        "cd " + oDir.path() + " && sqlite3 -bail a.db < in.sql && sqlite3 a.db .dump > out.sql";
    EXPECT_EQ(std::system(sCommand.c_str()), 0); // NOLINT(concurrency-mt-unsafe)
    return readFile(oDir.file("out.sql"));
}

TEST(DumpCheckTest, takesWhateverTheShellWrites)
{
    EXPECT_EQ(faultOf(shellDump("")), std::nullopt);
    EXPECT_EQ(
        faultOf(shellDump(
            "CREATE TABLE \"odd \"\" name\" (Id INTEGER PRIMARY KEY AUTOINCREMENT, T TEXT UNIQUE, B BLOB);"
            "INSERT INTO \"odd \"\" name\" VALUES (-1, 'a' || char(10) || 'COMMIT;' || char(10), x'00ff'),"
            " (7, 'O''Neil', 1e300);"
            "CREATE VIEW V AS WITH RECURSIVE N(I) AS (SELECT 1 UNION ALL SELECT I + 1 FROM N LIMIT 3) SELECT "
            "I FROM N;"
            "CREATE TRIGGER G AFTER INSERT ON \"odd \"\" name\" BEGIN SELECT RAISE(ABORT, 'no'); END;"
            "ANALYZE;")),
        std::nullopt);
}

TEST(DumpCheckTest, findsACutAnywhere)
{
    std::string sStatements = "CREATE TABLE T (Id INTEGER PRIMARY KEY, Text TEXT NOT NULL);";
    for (int i = 1; i < 300; ++i) {
        sStatements += "INSERT INTO T VALUES (" + std::to_string(i) + ", 'COMMIT;" + std::string(i % 7, 'x') +
                       "' || char(10) || ';');";
    }
    const std::string sDump = shellDump(sStatements);
    ASSERT_EQ(faultOf(sDump), std::nullopt);
    for (std::size_t iLength = 0; iLength < sDump.size(); iLength += iLength < sDump.size() - 40 ? 331 : 1) {
        EXPECT_NE(faultOf(sDump.substr(0, iLength)), std::nullopt) << iLength;
    }
    for (std::size_t iBlock = 0; iBlock < sDump.size(); iBlock += 4096) {
        std::string sLacksBlock = sDump;
        EXPECT_NE(faultOf(sLacksBlock.erase(iBlock, 4096)), std::nullopt) << iBlock;
        std::string sZeroBlock = sDump;
        EXPECT_THAT(faultOf(sZeroBlock.replace(iBlock, 1, 1, '\0')), Optional(HasSubstr("NUL"))) << iBlock;
    }
}

TEST(DumpCheckTest, findsWhatWouldEndTheTransactionOrReachOutOfTheDatabase)
{
    EXPECT_THAT(faultOf(c_sBegin + "CREATE TABLE A(Id);\nROLLBACK; -- due to errors\n"),
                Optional(HasSubstr("does not end with COMMIT")));
    EXPECT_THAT(faultOf("BEGIN TRANSACTION;\nCOMMIT;\n"), Optional(HasSubstr("does not begin")));
    for (const char* pStatement :
         {"ROLLBACK;", "COMMIT;", "SAVEPOINT a;", "ATTACH 'other.db' AS o;", "PRAGMA writable_schema=ON;",
          "WITH RECURSIVE N(I) AS (SELECT 1 UNION ALL SELECT I FROM N) SELECT count(*) FROM N;"}) {
        EXPECT_THAT(faultInside(std::string("CREATE TABLE A(Id);\n") + pStatement + "\n"),
                    Optional(StartsWith("line 4: may not ")))
            << pStatement;
    }
}

TEST(DumpCheckTest, saysWhereAndWhatInOneShortLine)
{
    EXPECT_THAT(
        faultInside("CREATE TABLE A(Id UNIQUE);\nINSERT INTO A VALUES(1);\n\nINSERT INTO A VALUES(1);\n"),
        Optional(Eq("line 6: UNIQUE constraint failed: A.Id")));
    const auto oFault =
        faultInside("CREATE TABLE A(Id);\nINSERT INTO A VALUES('" + std::string(5000, '\n') + ";\n");
    ASSERT_TRUE(oFault);
    EXPECT_THAT(*oFault, testing::AllOf(testing::StartsWith("line 4: "), testing::Not(HasSubstr("\n")),
                                        testing::SizeIs(testing::Lt(200U))));
}

TEST(DumpCheckTest, neverWaitsForWhatIsNoFile)
{
    const TempDir oDir;
    ::mkfifo(oDir.file("fifo").c_str(), 0600);
    EXPECT_THAT(findDumpFault(oDir.file("fifo")), Optional(Eq("not a regular file")));
    EXPECT_THAT(findDumpFault(oDir.path()), Optional(Eq("not a regular file")));
    EXPECT_THAT(findDumpFault(oDir.file("none")), Optional(Eq("No such file or directory")));
    writeFile(oDir.file("large"), "");
    std::filesystem::resize_file(oDir.file("large"), 1ULL << 40);
    EXPECT_THAT(findDumpFault(oDir.file("large")), Optional(Eq("holds a NUL byte")));
}

TEST(DumpCheckTest, aDumpLoadsWhateverItsLength)
{
    const TempDir oDir;
    constexpr std::size_t c_iMostOnce = 256 * c_iMiB;
    std::ofstream oDump(oDir.file("a.sql"));
    oDump << c_sBegin
          << "CREATE TABLE T (Text TEXT);\nCREATE TRIGGER G AFTER INSERT ON T BEGIN\nDELETE FROM T;\nEND;\n";
    const std::string sStatements =
        "INSERT INTO T VALUES('" + std::string(c_iMiB, 'x') + "');\nDELETE FROM T;\n";
    for (std::size_t iWritten = 0; iWritten < c_iMostOnce; iWritten += sStatements.size()) {
        oDump << sStatements;
    }
    oDump << "-- the end\nCOMMIT;\n" << std::flush;
    EXPECT_EQ(findDumpFault(oDir.file("a.sql")), std::nullopt);
}

} // namespace

} // namespace zel::cfg
