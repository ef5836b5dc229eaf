#include "systema/lists.h"

#include "tests/row.h"
#include "zel/assert.h"

#include <gtest/gtest.h>

#include <sstream>

using systema::ColumnList;
using systema::EDataType;
using systema::NameList;
using systema::Value;
using systema::ValueList;
using tests::row;

TEST(ValueList, FindsTheFirstOfANameAndMindsLetterCase)
{
    ValueList lRow = row({{"Id", 1}, {"Name", "lan1"}, {"Id", 2}});
    EXPECT_EQ(lRow.size(), 3U);
    EXPECT_EQ(lRow.getValue("Id").getInteger(), 1);
    EXPECT_TRUE(lRow.hasValue("Name"));
    EXPECT_FALSE(lRow.hasValue("name"));
    EXPECT_EQ(lRow.find("name"), nullptr);

    lRow.getValue("Id").setInteger(3);
    EXPECT_EQ(lRow, row({{"Id", 3}, {"Name", "lan1"}, {"Id", 2}}));
    lRow.clear();
    EXPECT_TRUE(lRow.empty());
}

TEST(ValueList, AskingForANameThatIsNotThereIsAnAssertion)
{
    ValueList lRow;
    EXPECT_THROW(lRow.getValue("Id"), zel::error::AssertionError);
}

TEST(ValueList, KeepsACopyOfTheValueAndTheOrderOfInsertion)
{
    Value oValue(EDataType::Text, "wan");
    ValueList lRow;
    lRow.add("B", oValue);
    lRow.add("A", oValue);
    oValue.setNull();
    const ValueList lCopy = lRow;
    lRow.clear();
    std::string sText;
    for (const auto& [sName, oCell] : lCopy) {
        sText += sName + "=" + oCell.getText() + " ";
    }
    EXPECT_EQ(sText, "B=wan A=wan ");
}

TEST(NameList, SpliceMovesEveryNameToTheEnd)
{
    NameList lFirst = {"a"};
    NameList lSecond = {"b", "a"};
    lFirst.splice(lSecond);
    EXPECT_EQ(lFirst, NameList({"a", "b", "a"}));
    EXPECT_TRUE(lSecond.empty());
    EXPECT_TRUE(lFirst.hasName("b"));
    EXPECT_FALSE(lFirst.hasName("B"));
    std::ostringstream oStream;
    lFirst.put(oStream);
    lSecond.put(oStream);
    EXPECT_EQ(oStream.str(), "a, b, a");
}

TEST(ColumnList, FindsAColumnByItsExactName)
{
    ColumnList lColumns;
    lColumns.add("Id", EDataType::Integer);
    lColumns.add("Name", EDataType::Text);
    const ColumnList::Entry* pColumn = lColumns.getColumn("Name");
    ASSERT_NE(pColumn, nullptr);
    EXPECT_EQ(pColumn->second, EDataType::Text);
    EXPECT_EQ(lColumns.getColumn("NAME"), nullptr);
    lColumns.clear();
    EXPECT_EQ(lColumns.getColumn("Id"), nullptr);
}
