#include "storage/sqltext.h"

#include "tests/row.h"

#include <gtest/gtest.h>

using namespace systema;
using tests::row;

TEST(SqlText, doesNotGrowBeyondItsLimit)
{
    const ValueList lValues = row({{"Name", "value"}});
    SqlText oText(100);
    for (int i = 0; i < 1000; ++i) {
        oText.assignments(lValues);
    }
    EXPECT_TRUE(oText.isTooLong());
    EXPECT_LE(oText.getPrepared().size(), 100U);
    EXPECT_LE(oText.getBindings().size(), 100U);
}

TEST(SqlText, refusesWhatIsNotOneIdentifier)
{
    for (const char* pName :
         {"a b", "",    "1a",  "$a",  "a;b", "a--", "a/*", "a'b", "\"a\"", "[a]", "`a`",
          "a.b", "a,b", "(a)", "a\n", "*",   "a=1", "?",   "a?",  ":a",    "@a",  "x'00'"}) {
        SqlText oText(512);
        oText.name("Good").name(pName).name("also bad");
        ASSERT_TRUE(oText.getRefused()) << pName;
        EXPECT_EQ(*oText.getRefused(), std::string("near \"") + pName + '"');
    }
    EXPECT_TRUE(SqlText(512).name(std::string_view("a\0b", 3)).getRefused());
    for (const char* pName : {"a", "_", "A9", "a$1", "Größe", "\xff"}) {
        EXPECT_FALSE(SqlText(512).name(pName).getRefused()) << pName;
    }
}
