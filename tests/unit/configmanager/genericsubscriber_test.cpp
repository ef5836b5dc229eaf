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
    NameList lTold;
    std::optional<GenericSubscriber> oSubscriber(std::in_place, oDispatcher, "first",
                                                 [&](const NameList& a_lTables) { lTold = a_lTables; });
    oDispatcher.subscribe(*oSubscriber, lTable);
    const auto change = [&] {
        NameList lChanged = lTable;
        oDispatcher.tick(lChanged);
        oDispatcher.sendNotifications();
        return std::exchange(lTold, {});
    };
    EXPECT_EQ(change(), lTable);
    EXPECT_EQ(oSubscriber->getName(), "first");
    oSubscriber.reset();
    EXPECT_EQ(change(), NameList());
}
