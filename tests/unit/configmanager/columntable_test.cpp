#include "configmanager/columntable.h"

#include "tests/row.h"

#include <gtest/gtest.h>

#include <string>

using namespace configmanager::serverlib;
using systema::EDataType;
using systema::EResultCode;
using systema::NameList;
using systema::Value;
using systema::ValueList;
using tests::row;

TEST(ColumnTable, IntegersMatchAsNumbersAndTextsExactly)
{
    const Value oNumber = integer(30);
    EXPECT_TRUE(matchesKey(oNumber, " 030s"));
    EXPECT_FALSE(matchesKey(oNumber, "s30"));
    EXPECT_TRUE(matchesKey(oNumber, "4294967326")); // 30 in 32 bits
    EXPECT_TRUE(matchesKey(integer(0), "none"));
    // A count of 32 bits without a sign is shown with one, and found by either text.
    const Value oCount = integer(4294967295);
    EXPECT_EQ(oCount.toText(), "-1");
    EXPECT_TRUE(matchesKey(oCount, "4294967295"));
    EXPECT_TRUE(matchesKey(Value(EDataType::Unsigned, -1), "-1"));

    const Value oText(EDataType::Text, "30");
    EXPECT_TRUE(matchesKey(oText, "30"));
    EXPECT_FALSE(matchesKey(oText, "030"));
}
