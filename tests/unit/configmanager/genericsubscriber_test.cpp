#include "configmanager/genericsubscriber.h"

#include "configmanager/logplugin.h"
#include "systema/configdispatcher.h"

#include <gtest/gtest.h>

#include <optional>

using configmanager::serverlib::GenericSubscriber;
using systema::NameList;

TEST(GenericSubscriber, HearsOfItsTablesUntilItGoes)
{
    systema::ConfigDispatcher oDispatcher;
    configmanager::logplugin::LogPlugin oPlugin;
    oDispatcher.attachTables(oPlugin);
    const NameList lTable{"ConfigmanagerLogging"};

    NameList lToldFirst;
    NameList lToldSecond;
    std::optional<GenericSubscriber> oFirst(std::in_place, oDispatcher, "first",
                                            [&](const NameList& a_lTables) { lToldFirst = a_lTables; });
    GenericSubscriber oSecond(oDispatcher, "second",
                              [&](const NameList& a_lTables) { lToldSecond = a_lTables; });
    oDispatcher.subscribe(*oFirst, lTable);
    oDispatcher.subscribe(oSecond, lTable);
    const auto change = [&] {
        NameList lChanged = lTable;
        oDispatcher.tick(lChanged);
        oDispatcher.sendNotifications();
    };

    change();
    EXPECT_EQ(lToldFirst, lTable);
    EXPECT_EQ(lToldSecond, lTable);

    lToldFirst.clear();
    lToldSecond.clear();
    oFirst.reset();
    change();
    EXPECT_TRUE(lToldFirst.empty());
    EXPECT_EQ(lToldSecond, lTable);
    EXPECT_EQ(oSecond.getName(), "second");
}
