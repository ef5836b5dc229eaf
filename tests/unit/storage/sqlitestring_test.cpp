#include "storage/sqlitestring.h"

#include <gtest/gtest.h>

using systema::SqliteString;

TEST(SqliteString, replacesEveryOccurrenceOnce)
{
    EXPECT_EQ(SqliteString::replace("O'Neil", "'", "''"), "O''Neil");
    EXPECT_EQ(SqliteString::replace("'''", "'", "''"), "''''''");
    EXPECT_EQ(SqliteString::replace("aaa", "aa", "a"), "aa"); // not looked at again
    EXPECT_EQ(SqliteString::replace("abc", "b", ""), "ac");
    EXPECT_EQ(SqliteString::replace("abc", "x", "y"), "abc");
}

TEST(SqliteString, leavesTheSubjectWithoutSomethingToReplace)
{
    EXPECT_EQ(SqliteString::replace("", "'", "''"), "");
    EXPECT_EQ(SqliteString::replace("abc", "", "x"), "abc");
}

TEST(SqliteString, takesTimeInProportionToTheText)
{
    const std::string sQuotes(4'000'000, '\'');
    EXPECT_EQ(SqliteString::replace(sQuotes, "'", "''").size(), 2 * sQuotes.size());
}
