#include "storage/sqltext.h"

#include "tests/row.h"

#include <gtest/gtest.h>

using namespace systema;
using tests::row;

namespace {

ValueList allTypes()
{
    ValueList lValues = row({{"A", -12}, {"B", "it's"}});
    lValues.add("C", Value(3, -1));
    lValues.add("D", Value(1));
    return lValues;
}

std::string longText(std::size_t a_iLength)
{
    return std::string(a_iLength, 'x');
}

} // namespace

TEST(SqlText, countsThePlainTextAndPreparesParameters)
{
    const struct
    {
        std::string m_sPlain;
        std::string m_sPrepared;
        SqlText& (*m_build)(SqlText&, const ValueList&);
    } aCases[] = {
        {"A, B, C, D", "A, B, C, D", [](SqlText& t, const ValueList& v) -> SqlText& { return t.names(v); }},
        {"-12, 'it''s', 4294967295, NULL", "?, ?, ?, ?",
         [](SqlText& t, const ValueList& v) -> SqlText& { return t.values(v); }},
        {"A = -12, B = 'it''s', C = 4294967295, D = NULL", "A = ?, B = ?, C = ?, D = ?",
         [](SqlText& t, const ValueList& v) -> SqlText& { return t.assignments(v); }},
        {"A = -12 AND B = 'it''s' AND C = 4294967295 AND D IS NULL",
         "A = ? AND B = ? AND C = ? AND D IS NULL",
         [](SqlText& t, const ValueList& v) -> SqlText& { return t.conditions(v); }},
    };
    const ValueList lValues = allTypes();
    for (const auto& oCase : aCases) {
        SqlText oText(512);
        oCase.m_build(oText, lValues);
        EXPECT_EQ(oText.getLength(), oCase.m_sPlain.size()) << oCase.m_sPlain;
        EXPECT_EQ(oText.getPrepared(), oCase.m_sPrepared);
        EXPECT_FALSE(oText.getRefused());
    }
}

TEST(SqlText, bindsValuesAsTheyAre)
{
    const ValueList lValues = allTypes();
    const std::string sKey = "key";
    SqlText oText(512);
    oText.values(lValues).key(sKey).number(4294967296);
    const std::vector<SqlText::Binding> lExpected = {std::int64_t{-12},        std::string_view("it's"),
                                                     std::int64_t{4294967295}, std::monostate(),
                                                     std::string_view("key"),  std::int64_t{4294967296}};
    EXPECT_EQ(oText.getBindings(), lExpected);
}

TEST(SqlText, aTextOfTheLimitFitsAndOneMoreDoesNot)
{
    const std::string sKey = longText(508); // and two quotes
    EXPECT_FALSE(SqlText(512).key(sKey).sql("12").isTooLong());
    EXPECT_TRUE(SqlText(512).key(sKey).sql("123").isTooLong());
    EXPECT_TRUE(SqlText(512).sql("123").key(sKey).isTooLong());
    EXPECT_FALSE(SqlText(512).name("N" + longText(511)).isTooLong());
    EXPECT_TRUE(SqlText(512).name("N" + longText(512)).isTooLong());
}

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

TEST(SqlText, textEndsAtANulByteAsInFormatting)
{
    ValueList lValues;
    lValues.add("A", Value(4, std::string("ab\0cd", 5)));
    SqlText oText(512);
    oText.values(lValues);
    EXPECT_EQ(oText.getLength(), 4U);
    EXPECT_EQ(std::get<std::string_view>(oText.getBindings()[0]), "ab");
}

TEST(SqlText, refusesWhatIsNotOneIdentifier)
{
    for (const char* pName :
         {"a b", "",    "1a",  "$a",  "a;b", "a--", "a/*", "a'b", "\"a\"", "[a]", "`a`",
          "a.b", "a,b", "(a)", "a\n", "*",   "a=1", "?",   "a?",  ":a",    "@a",  "x'00'"}) {
        SqlText oText(512);
        oText.name("Good").name(pName).name("also bad");
        ASSERT_TRUE(oText.getRefused()) << pName;
        EXPECT_EQ(*oText.getRefused(), pName);
    }
    EXPECT_TRUE(SqlText(512).name(std::string_view("a\0b", 3)).getRefused());
    for (const char* pName : {"a", "_", "A9", "a$1", "Größe", "\xff"}) {
        EXPECT_FALSE(SqlText(512).name(pName).getRefused()) << pName;
    }
}

TEST(SqlText, refusesKeysWithASingleQuoteAlone)
{
    const std::string sQuote = "O'Neil";
    const std::string sOther = "a\" OR 1=1; -- \\ ?1 \n /*";
    EXPECT_EQ(SqlText(512).key(sQuote).getRefused(), sQuote);
    EXPECT_FALSE(SqlText(512).key(sOther).getRefused());
}
