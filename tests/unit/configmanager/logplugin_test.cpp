#include "configmanager/logplugin.h"

#include "tests/row.h"
#include "zel/log.h"

#include <gtest/gtest.h>

using systema::EResultCode;
using systema::NameList;
using systema::ValueList;
using tests::row;

namespace {

const std::string c_sTable = "ConfigmanagerLogging";

class LogPlugin : public testing::Test
{
protected:
    LogPlugin()
    {
        m_oPlugin.registerModule("Wlan", 113);
        m_oPlugin.registerModule("Dhcp", 1023);
    }

    ValueList select(const NameList& a_lWanted, unsigned a_iIndex = 0)
    {
        ValueList lRow;
        EXPECT_EQ(m_oPlugin.selectRow(lRow, this, c_sTable, a_iIndex, a_lWanted), EResultCode::Success);
        return lRow;
    }

    EResultCode findKey(const std::string& a_sColumn, const std::string& a_sValue)
    {
        ValueList lRow;
        return m_oPlugin.selectKey(lRow, this, c_sTable, a_sColumn, a_sValue, {"Id"});
    }

    EResultCode update(const ValueList& a_lValues, unsigned a_iIndex = 0)
    {
        return m_oPlugin.updateRow(this, c_sTable, a_iIndex, a_lValues);
    }

    configmanager::logplugin::LogPlugin m_oPlugin;
};

} // namespace

TEST_F(LogPlugin, FirstRegistrationKeepsItsLevel)
{
    EXPECT_TRUE(m_oPlugin.registerModule("Wlan", 7));
    EXPECT_EQ(select({"Wlan"}), row({{"Wlan", 113}}));

    EXPECT_EQ(update(row({{"Wlan", 16}})), EResultCode::Success);
    EXPECT_TRUE(m_oPlugin.registerModule("Wlan", 113));
    EXPECT_EQ(select({"Wlan"}), row({{"Wlan", 16}}));
}

TEST_F(LogPlugin, SelectListOnlyFiltersAndAnyPositionIsTheRow)
{
    EXPECT_EQ(select({"Wlan", "NoModule", "Dhcp", "Id", "Wlan"}),
              row({{"Id", 1}, {"Dhcp", 1023}, {"Wlan", 113}}));
    EXPECT_EQ(select({"NoModule"}), ValueList());
    EXPECT_EQ(select({"Wlan"}, 4711), row({{"Wlan", 113}}));
}

TEST_F(LogPlugin, KeysThatAreNotShownNameNoRow)
{
    EXPECT_EQ(findKey("Id", "1"), EResultCode::Success);
    EXPECT_EQ(findKey("Id", "2"), EResultCode::NoRow);
    EXPECT_EQ(findKey("Wlan", "113"), EResultCode::Success);
    EXPECT_EQ(findKey("Wlan", "1023"), EResultCode::NoRow);
    EXPECT_EQ(findKey("NoModule", "1"), EResultCode::NoRow); // not 9
}

TEST_F(LogPlugin, UpdateSetsTheLevelInTheLoggerOnlyWhenItDiffers)
{
    EXPECT_EQ(update(row({{"Wlan", 16}}), 4711), EResultCode::Success);
    EXPECT_EQ(ZEL_Sysloglevel_getTracelevel("Wlan"), 16);

    ZEL_Sysloglevel_changeTracelevel("Wlan", 5);
    EXPECT_EQ(update(row({{"Wlan", 16}})), EResultCode::Success);
    EXPECT_EQ(ZEL_Sysloglevel_getTracelevel("Wlan"), 5);
}

TEST_F(LogPlugin, UpdateEndsAtTheFirstNameThatIsNoModule)
{
    for (const char* pName : {"Id", "NoModule"}) {
        EXPECT_EQ(update(row({{"Wlan", 16}, {pName, 1}, {"Dhcp", 16}})), EResultCode::NoKey);
        EXPECT_EQ(select({}), row({{"Id", 1}, {"Dhcp", 1023}, {"Wlan", 16}}));
    }
}

TEST_F(LogPlugin, AValueThatIsNoSumOfLevelsSetsNoLevel)
{
    using systema::EDataType;
    using systema::Value;
    for (const Value& oValue :
         {Value(EDataType::Null), Value(EDataType::Text, ""), Value(EDataType::Text, "16"),
          Value(EDataType::Text, std::string(1 << 20, '9')), Value(EDataType::Unsigned, -1),
          Value(EDataType::Integer, -1), Value(EDataType::Integer, 1024)}) {
        EXPECT_EQ(update(row({{"Wlan", oValue}, {"Dhcp", 16}})), EResultCode::Constraint);
        EXPECT_EQ(update(row({{"Id", oValue}})), EResultCode::NoKey);
        EXPECT_EQ(select({}), row({{"Id", 1}, {"Dhcp", 1023}, {"Wlan", 113}}));
    }
    EXPECT_EQ(update(row({{"Wlan", Value(EDataType::Unsigned, 16)}, {"Dhcp", 0}})), EResultCode::Success);
    EXPECT_EQ(select({}), row({{"Id", 1}, {"Dhcp", 0}, {"Wlan", 16}}));
}
