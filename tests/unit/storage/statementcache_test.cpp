#include "storage/statementcache.h"

#include <gtest/gtest.h>

using namespace systema;

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
