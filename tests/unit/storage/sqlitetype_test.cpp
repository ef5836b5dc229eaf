#include "storage/sqlitetype.h"

#include <gtest/gtest.h>

using namespace systema;

TEST(SqliteType, declaredTypesBecomeTypesOfTheProtocol)
{
    const std::pair<const char*, unsigned> aCases[] = {
        {nullptr, 1},         {"", 1},     {"BLOB", 1},    {"REAL", 1},        {"INTEGER UNSIGNED", 3},
        {"unsigned text", 3}, {"INT", 2},  {"integer", 2}, {"VARCHAR(32)", 4}, {"POINT", 2},
        {"Text", 4},          {"CLOB", 1}, {"tinyint", 2}, {"CHARINT", 2},
    };
    for (const auto& [pDeclared, iType] : aCases) {
        EXPECT_EQ(SqliteType::getDataType(pDeclared), iType) << (pDeclared ? pDeclared : "null");
    }
}

TEST(SqliteType, numbersAreTheLowBitsOfTheNumberAtTheStartOfTheText)
{
    const std::pair<const char*, int> aCases[] = {
        {"", 0},
        {"12abc", 12},
        {" -7", -7},
        {"x", 0},
        {"2147483648", -2147483647 - 1},
        {"4294967297", 1},
        {"-4294967297", -1},
        {"99999999999999999999", -1},
        {"-99999999999999999999", 0},
    };
    for (const auto& [pText, iNumber] : aCases) {
        EXPECT_EQ(SqliteType::setValueType(pText, EDataType::Integer), Value(2, iNumber)) << pText;
        EXPECT_EQ(SqliteType::setValueType(pText, EDataType::Unsigned), Value(3, iNumber)) << pText;
    }
}
