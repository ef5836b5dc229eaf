#include "systema/value.h"

#include "tests/row.h"

#include <gtest/gtest.h>

#include <climits>

using systema::EDataType;
using systema::Value;

TEST(Value, ATypeThatDoesNotFitTheContentGivesNull)
{
    for (const Value& oValue :
         {Value(0), Value(5), Value(EDataType::Text, 7), Value(EDataType::Null, 7), Value(5, 7),
          Value(EDataType::Integer, "7"), Value(EDataType::Null, "7"), Value(5, "7")}) {
        EXPECT_EQ(oValue, Value(EDataType::Null));
        EXPECT_EQ(oValue.toText(), "");
    }
}

TEST(Value, IntegersConvertBitByBit)
{
    const Value oNegative(EDataType::Integer, -1);
    EXPECT_EQ(oNegative.getInteger(), -1);
    EXPECT_EQ(oNegative.getUnsigned(), UINT_MAX);
    EXPECT_EQ(oNegative.getText(), "");
    EXPECT_EQ(oNegative.toText(), "-1");

    const Value oUnsigned(EDataType::Unsigned, -1);
    EXPECT_EQ(oUnsigned.getInteger(), -1);
    EXPECT_EQ(oUnsigned.getUnsigned(), UINT_MAX);
    EXPECT_EQ(oUnsigned.toText(), "4294967295");
}

TEST(Value, ATextGivesTheNumberItStartsWith)
{
    const struct
    {
        const char* m_pText;
        int m_iInteger;
        unsigned m_iUnsigned;
    } aCases[] = {
        {"", 0, 0},
        {"abc", 0, 0},
        {"12abc", 12, 12},
        {"  +7", 7, 7},
        {"-5", -5, 0},
        {"2147483648", INT_MAX, 2147483648U},
        {"-2147483649", INT_MIN, 0},
        {"4294967296", INT_MAX, UINT_MAX},
        {"99999999999999999999", INT_MAX, UINT_MAX},
        {"-99999999999999999999", INT_MIN, 0},
    };
    for (const auto& oCase : aCases) {
        const Value oValue(EDataType::Text, oCase.m_pText);
        EXPECT_EQ(oValue.getInteger(), oCase.m_iInteger) << oCase.m_pText;
        EXPECT_EQ(oValue.getUnsigned(), oCase.m_iUnsigned) << oCase.m_pText;
        EXPECT_EQ(oValue.getText(), oCase.m_pText);
        EXPECT_EQ(oValue.toText(), oCase.m_pText);
    }
}

TEST(Value, CopiesAreDeepAndAMovedFromValueIsNull)
{
    for (const Value& oOriginal : {Value(EDataType::Null), Value(EDataType::Integer, -4),
                                   Value(EDataType::Unsigned, 4), Value(EDataType::Text, "lan1")}) {
        Value oCopy(oOriginal);
        Value oAssigned(EDataType::Text, "old");
        oAssigned = oCopy;
        oCopy.setText("changed");
        oAssigned = static_cast<const Value&>(oAssigned);
        EXPECT_EQ(oAssigned, oOriginal);

        Value oMoved(std::move(oAssigned));
        EXPECT_EQ(oAssigned, Value(EDataType::Null)); // NOLINT(bugprone-use-after-move)
        oAssigned = std::move(oMoved);
        EXPECT_EQ(oAssigned, oOriginal);
        EXPECT_EQ(oMoved, Value(EDataType::Null)); // NOLINT(bugprone-use-after-move)
    }
}

TEST(ValueList, FindsTheFirstOfANameAndMindsLetterCase)
{
    const systema::ValueList lRow = tests::row({{"Id", 1}, {"Id", 2}});
    EXPECT_EQ(lRow.find("Id")->getInteger(), 1);
    EXPECT_EQ(lRow.find("id"), nullptr);
}
