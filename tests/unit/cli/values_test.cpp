#include "cli/assignment.h"
#include "cli/utf8.h"
#include "cli/words.h"

#include <gmock/gmock.h>

#include <clocale>

namespace systema::cli {

using ::testing::ElementsAre;
using ::testing::IsEmpty;

// ---------------------------------------------------------------------------------------------------------
// Assignments

TEST(Assignment, TakesTheTypeOfItsColumn)
{
    ColumnList lSchema;
    lSchema.add("I", EDataType::Integer);
    lSchema.add("U", EDataType::Unsigned);
    lSchema.add("T", EDataType::Text);
    lSchema.add("N", EDataType::Null);
    const auto oValues = typedValues(
        {{"I", "-2147483648"}, {"U", "4294967295"}, {"T", "12"}, {"N", "12"}, {"Other", "12"}, {"I", {}}},
        lSchema);
    ASSERT_TRUE(oValues.ok());
    ValueList lExpected;
    lExpected.add("I", Value(EDataType::Integer, -2147483647 - 1));
    lExpected.add("U", Value(EDataType::Unsigned, -1));
    for (const char* pText : {"T", "N", "Other"}) {
        lExpected.add(pText, Value(EDataType::Text, "12"));
    }
    lExpected.add("I", Value(EDataType::Null));
    EXPECT_EQ(*oValues, lExpected);
}

TEST(Assignment, IsAMismatchWhenItDoesNotFitItsColumn)
{
    ColumnList lSchema;
    lSchema.add("I", EDataType::Integer);
    for (const char* pText : {"", "x", "1x", " 1", "1 ", "1.5", "0x10", "-2147483649", "--1"}) {
        EXPECT_EQ(typedValues({{"I", pText}}, lSchema).code(), EResultCode::Mismatch) << pText;
    }
}

// ---------------------------------------------------------------------------------------------------------
// Words of a batch line

TEST(SplitWords, QuotesAsAShell)
{
    EXPECT_THAT(*splitWords("set  T\t--key Id=1 Name=x\r"),
                ElementsAre("set", "T", "--key", "Id=1", "Name=x"));
    EXPECT_THAT(*splitWords(R"(add T Name='a "b" \c' Note="d 'e' \"f\" \\ \n" X=g\ h)"),
                ElementsAre("add", "T", R"(Name=a "b" \c)", R"(Note=d 'e' "f" \ \n)", "X=g h"));
    EXPECT_THAT(*splitWords("a '' \"\""), ElementsAre("a", "", ""));
    EXPECT_THAT(*splitWords("a'b'\"c\""), ElementsAre("abc"));
    EXPECT_THAT(*splitWords(R"(Name=$'a\tb\n\'\001\x41B'c $'' $x)"),
                ElementsAre("Name=a\tb\n'\001ABc", "", "$x"));
    for (const char* pWrong : {"$'a", R"($'\q')", R"($'\0')", R"($'\x')", R"($'\)"}) {
        EXPECT_FALSE(splitWords(pWrong)) << pWrong;
    }
    EXPECT_THAT(*splitWords("# nothing 'here"), IsEmpty());
    EXPECT_THAT(*splitWords("del T#1 '#2' \\#3 # rest"), ElementsAre("del", "T#1", "#2", "#3"));
    for (const char* pOpen : {"a 'b", "a \"b\\\"", "a\\"}) {
        EXPECT_FALSE(splitWords(pOpen)) << pOpen;
    }
}

// ---------------------------------------------------------------------------------------------------------
// UTF-8

TEST(Utf8, TellsValidFromInvalid)
{
    for (const char* pValid : {"", "a", "\xc3\xa4", "\xe2\x82\xac", "\xf0\x9f\x98\x80", "\xf4\x8f\xbf\xbf"}) {
        EXPECT_TRUE(isUtf8(pValid)) << pValid;
    }
    for (const char* pInvalid :
         {"\x80", "\xc3", "\xc3\x28", "\xc0\xaf", "\xc1\xbf", "\xe0\x80\xaf", "\xed\xa0\x80", "\xe2\x82",
          "\xf0\x80\x80\x80", "\xf4\x90\x80\x80", "\xf8\x88\x80\x80\x80", "\xff", "a\xfe"}) {
        EXPECT_FALSE(isUtf8(pInvalid));
    }
}

TEST(Utf8, NothingReachesTheTerminalUnseen)
{
    EXPECT_EQ(printable("a\tb\n\x1b[31m\x7f"), "a\\x09b\\x0a\\x1b[31m\\x7f");
    EXPECT_EQ(printable("\xc3\xa4\xc2\x9b\xff"), "\xc3\xa4\\xc2\\x9b\\xff");
    EXPECT_EQ(printable("\xe2\x80\xae"
                        "x"),
              "\\xe2\\x80\\xaex")
        << "override of the direction of writing";
}

TEST(Utf8, WidthIsCountedInColumns)
{
    std::setlocale(LC_CTYPE, "C.UTF-8");
    EXPECT_EQ(displayWidth(""), 0u);
    EXPECT_EQ(displayWidth("Gr\xc3\xbc\xc3\x9f"
                           "e"),
              5u);
    EXPECT_EQ(displayWidth("\xe6\xbc\xa2\xe5\xad\x97"), 4u) << "wide characters";
    EXPECT_EQ(displayWidth("e\xcc\x81"), 1u) << "a combining one";
}

} // namespace systema::cli
