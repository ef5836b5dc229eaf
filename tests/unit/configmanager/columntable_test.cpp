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

TEST(ColumnTable, AKeyIsTheValueAsItIsShown)
{
    for (const Value& oCell : {integer(30), Value(EDataType::Text, "30")}) {
        EXPECT_TRUE(matchesKey(oCell, "30"));
        for (const char* pKey : {"030", " 30", "30s", "+30", "30.0", "0x1e", "4294967326", ""}) {
            EXPECT_FALSE(matchesKey(oCell, pKey)) << pKey;
        }
    }
    EXPECT_FALSE(matchesKey(integer(0), "none"));
    EXPECT_TRUE(matchesKey(integer(4294967295), "-1")); // has 32 bits, and is shown so
    EXPECT_FALSE(matchesKey(integer(4294967295), "4294967295"));
    EXPECT_TRUE(matchesKey(Value(EDataType::Unsigned, -1), "4294967295"));
    EXPECT_FALSE(matchesKey(Value(EDataType::Null), ""));
}
