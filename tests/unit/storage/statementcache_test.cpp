#include "storage/statementcache.h"

#include <gtest/gtest.h>

using namespace systema;

TEST(StatementCache, theOneUnusedForLongestMakesRoom)
{
    StatementCache oCache;
    const auto text = [](std::size_t a_iNumber) { return "SELECT " + std::to_string(a_iNumber); };
    for (std::size_t i = 0; i < StatementCache::c_iMaximum; ++i) {
        oCache.add(text(i), SqliteStatement(nullptr));
    }
    SqliteStatement* pFirst = oCache.find(text(0));
    oCache.add("new", SqliteStatement(nullptr));
    EXPECT_NE(pFirst, nullptr);
    EXPECT_EQ(oCache.find(text(0)), pFirst);
    EXPECT_EQ(oCache.find(text(1)), nullptr);
    EXPECT_NE(oCache.find(text(2)), nullptr);
    EXPECT_NE(oCache.find("new"), nullptr);
}

TEST(StatementCache, longTextsTakeTheRoomOfManyShortOnes)
{
    StatementCache oCache;
    oCache.add("short", SqliteStatement(nullptr));
    oCache.add(std::string(StatementCache::c_iMaximumText - 5, 'a'), SqliteStatement(nullptr));
    EXPECT_NE(oCache.find("short"), nullptr);
    const std::string sHuge(StatementCache::c_iMaximumText + 1, 'b');
    oCache.add(sHuge, SqliteStatement(nullptr));
    EXPECT_EQ(oCache.find("short"), nullptr);
    EXPECT_NE(oCache.find(sHuge), nullptr);
    oCache.add("next", SqliteStatement(nullptr));
    EXPECT_EQ(oCache.find(sHuge), nullptr);
    EXPECT_NE(oCache.find("next"), nullptr);
}
