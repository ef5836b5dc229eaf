#include "storage/sqlitestring.h"

#include <gtest/gtest.h>

using systema::SqliteString;

TEST(SqliteString, replacesEveryOccurrenceOnce)
{
    EXPECT_EQ(SqliteString::replace("'''", "'", "''"), "''''''");
    EXPECT_EQ(SqliteString::replace("aaa", "aa", "a"), "aa"); // not looked at again
    EXPECT_EQ(SqliteString::replace("abc", "b", ""), "ac");
    EXPECT_EQ(SqliteString::replace("abc", "", "x"), "abc");
}
