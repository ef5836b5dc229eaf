#include "systema/lists.h"

#include "tests/row.h"

#include <gtest/gtest.h>

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
