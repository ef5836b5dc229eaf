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

namespace {

struct Port
{
    int m_iId;
    std::string m_sName;
};

constexpr Column<Port> c_aColumns[] = {
    {"Id", EDataType::Integer, [](const Port& a_oPort) { return integer(a_oPort.m_iId); }},
    {"Name", EDataType::Text, [](const Port& a_oPort) { return Value(EDataType::Text, a_oPort.m_sName); }},
};

const Port c_oPort{3, "lan3"};

ValueList select(const NameList& a_lWanted, unsigned a_iCode = EResultCode::Success)
{
    ValueList lRow;
    EXPECT_EQ(selectColumns(lRow, c_oPort, c_aColumns, a_lWanted), a_iCode);
    return lRow;
}

} // namespace

TEST(ColumnTable, SelectsInTheOrderAskedFor)
{
    EXPECT_EQ(select({}), row({{"Id", 3}, {"Name", "lan3"}}));
    EXPECT_EQ(select({"Name", "Id"}), row({{"Name", "lan3"}, {"Id", 3}}));
    EXPECT_EQ(select({"Name", "Name"}), row({{"Name", "lan3"}, {"Name", "lan3"}}));
}

TEST(ColumnTable, FirstUnknownColumnEndsTheSelectAndKeepsThoseBefore)
{
    EXPECT_EQ(select({"Name", "name", "Id"}, EResultCode::NoKey), row({{"Name", "lan3"}}));
}

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
