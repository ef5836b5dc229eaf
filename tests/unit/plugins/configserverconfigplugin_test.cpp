#include "plugins/configserverconfigplugin.h"

#include "tests/row.h"

#include <gtest/gtest.h>

using systema::ConfigDispatcher;
using systema::EResultCode;
using systema::NameList;
using systema::ValueList;
using tests::row;

namespace {

const std::string c_sConfig = "ConfigServerConfig";
const std::string c_sLimits = "ConfigServerLimits";

class ConfigServerConfigPlugin : public testing::Test
{
protected:
    ValueList select(const std::string& a_sTable, const NameList& a_lWanted,
                     unsigned a_iCode = EResultCode::Success)
    {
        ValueList lRow;
        EXPECT_EQ(m_oPlugin.selectRow(lRow, this, a_sTable, 0, a_lWanted), a_iCode);
        return lRow;
    }

    EResultCode findKey(const std::string& a_sTable, const std::string& a_sColumn,
                        const std::string& a_sValue)
    {
        ValueList lRow;
        return m_oPlugin.selectKey(lRow, this, a_sTable, a_sColumn, a_sValue, {"Id"});
    }

    EResultCode update(std::initializer_list<tests::Cell> a_lCells)
    {
        return m_oPlugin.updateRow(this, c_sConfig, 0, row(a_lCells));
    }

    /// Sets the time-out by key.
    EResultCode updateBy(const std::string& a_sColumn, const std::string& a_sValue, int a_iTimeout,
                         const std::string& a_sTable = c_sConfig)
    {
        return m_oPlugin.updateKey(this, a_sTable, a_sColumn, a_sValue,
                                   row({{"TransactionTimeout", a_iTimeout}}));
    }

    ConfigDispatcher m_oDispatcher;
    zel::cfg::ConfigServerConfigPlugin m_oPlugin{m_oDispatcher};
};

} // namespace

TEST_F(ConfigServerConfigPlugin, ColumnOfTheOtherTableIsUnknownAndThoseBeforeItStay)
{
    EXPECT_EQ(select(c_sConfig, {"Id", "MinAllowedTransactionTimeout", "Id"}, EResultCode::NoKey),
              row({{"Id", 1}}));
    EXPECT_EQ(findKey(c_sConfig, "MinAllowedTransactionTimeout", "1"), EResultCode::NoKey);
    EXPECT_EQ(findKey(c_sLimits, "TransactionTimeout", "30"), EResultCode::NoKey);
}

TEST_F(ConfigServerConfigPlugin, KeyWithoutARowIsAFailureNotAMissingRow)
{
    for (const auto& sTable : {c_sConfig, c_sLimits}) {
        EXPECT_EQ(findKey(sTable, "Id", "1"), EResultCode::Success);
        EXPECT_EQ(findKey(sTable, "Id", "01"), EResultCode::Failure);
        EXPECT_EQ(findKey(sTable, "Id", "2"), EResultCode::Failure);
    }
    EXPECT_EQ(findKey(c_sConfig, "TransactionTimeout", "30"), EResultCode::Success);
    EXPECT_EQ(findKey(c_sConfig, "TransactionTimeout", "030s"), EResultCode::Failure);
    EXPECT_EQ(findKey(c_sConfig, "DefaultTransactionTimeout", "31"), EResultCode::Failure);
    EXPECT_EQ(findKey(c_sLimits, "MinAllowedTransactionTimeout", "1"), EResultCode::Success);
    EXPECT_EQ(findKey(c_sLimits, "MaxAllowedTransactionTimeout", "1"), EResultCode::Failure);
}

TEST_F(ConfigServerConfigPlugin, ValuesBeforeARefusedOneStayButAnUnknownNameChangesNothing)
{
    EXPECT_EQ(update({{"TransactionTimeout", 50}, {"DefaultTransactionTimeout", 3601}}),
              EResultCode::Failure);
    EXPECT_EQ(m_oDispatcher.getTransactionTimeout(), 50);
    EXPECT_EQ(m_oDispatcher.getDefaultTransactionTimeout(), 30);

    EXPECT_EQ(update({{"TransactionTimeout", 70}, {"MaxAllowedTransactionTimeout", 80}}), EResultCode::NoKey);
    EXPECT_EQ(m_oDispatcher.getTransactionTimeout(), 50);

    EXPECT_EQ(update({{"Id", 1}}), EResultCode::ReadOnly);
    EXPECT_EQ(update({}), EResultCode::ReadOnly);
}

TEST_F(ConfigServerConfigPlugin, AValueThatIsNoNumberOrAboveTheRangeSetsNoTimeout)
{
    using systema::EDataType;
    using systema::Value;
    const auto expectRefused = [&](unsigned a_iCode, const Value& a_oValue) {
        for (const char* pColumn : {"TransactionTimeout", "DefaultTransactionTimeout"}) {
            EXPECT_EQ(update({{pColumn, a_oValue}, {"Id", 1}}), a_iCode);
        }
        EXPECT_EQ(select(c_sConfig, {}),
                  row({{"Id", 1}, {"TransactionTimeout", 30}, {"DefaultTransactionTimeout", 30}}));
    };
    for (const Value& oValue :
         {Value(EDataType::Null), Value(EDataType::Text, ""), Value(EDataType::Text, "50"),
          Value(EDataType::Text, std::string(1 << 20, '9'))}) {
        expectRefused(EResultCode::Constraint, oValue);
        EXPECT_EQ(update({{"DefaultTransactionTimeout", 50}, {"TransactionTimeout", oValue}}),
                  EResultCode::Constraint);
        EXPECT_EQ(update({{"TransactionTimeout", oValue}, {"NoColumn", 1}}), EResultCode::NoKey);
        EXPECT_EQ(update({{"Id", oValue}}), EResultCode::ReadOnly) << "which is ignored";
    }
    for (const int iBits : {3601, -1, -2147483647 - 1}) { // 3601, 4294967295, 2147483648
        expectRefused(EResultCode::Failure, Value(EDataType::Unsigned, iBits));
    }
    EXPECT_EQ(
        update({{"TransactionTimeout", Value(EDataType::Unsigned, 3600)}, {"DefaultTransactionTimeout", -5}}),
        EResultCode::Success);
    EXPECT_EQ(select(c_sConfig, {"TransactionTimeout", "DefaultTransactionTimeout"}),
              row({{"TransactionTimeout", 3600}, {"DefaultTransactionTimeout", 1}}));
}

TEST_F(ConfigServerConfigPlugin, ChecksTableThenPositionThenNames)
{
    const ValueList lUnknown = row({{"NoColumn", 1}});
    EXPECT_EQ(m_oPlugin.updateRow(this, "Other", 1, lUnknown), EResultCode::NoTable);
    EXPECT_EQ(m_oPlugin.updateRow(this, c_sLimits, 1, lUnknown), EResultCode::ReadOnly);
    EXPECT_EQ(m_oPlugin.updateRow(this, c_sConfig, 1, lUnknown), EResultCode::NoRow);

    ValueList lRow;
    systema::ColumnList lColumns;
    unsigned iSize = 0;
    EXPECT_EQ(m_oPlugin.selectRow(lRow, this, "Other", 1, {}), EResultCode::NoTable);
    EXPECT_EQ(findKey("Other", "NoColumn", "1"), EResultCode::NoTable);
    EXPECT_EQ(m_oPlugin.getSchema(lColumns, this, "Other"), EResultCode::NoTable);
    EXPECT_EQ(m_oPlugin.getSize(iSize, this, "Other"), EResultCode::NoTable);
}

TEST_F(ConfigServerConfigPlugin, UpdateKeyTestsTheKeyBeforeTheTable)
{
    EXPECT_EQ(updateBy("Id", "1", 10), EResultCode::Success);
    EXPECT_EQ(updateBy("TransactionTimeout", "10", 11), EResultCode::Success);
    EXPECT_EQ(updateBy("DefaultTransactionTimeout", "30", 12), EResultCode::Success);
    EXPECT_EQ(updateBy("MaxAllowedTransactionTimeout", "3600", 13), EResultCode::Success);
    EXPECT_EQ(m_oDispatcher.getTransactionTimeout(), 13);

    EXPECT_EQ(updateBy("MinAllowedTransactionTimeout", "1", 14), EResultCode::NoRow);
    EXPECT_EQ(updateBy("Id", "01", 14), EResultCode::NoRow);
    EXPECT_EQ(updateBy("TransactionTimeout", "12", 14), EResultCode::NoRow);
    EXPECT_EQ(updateBy("NoColumn", "1", 14), EResultCode::NoRow);
    EXPECT_EQ(m_oDispatcher.getTransactionTimeout(), 13);

    EXPECT_EQ(updateBy("TransactionTimeout", "13", 14, c_sLimits), EResultCode::ReadOnly);
    EXPECT_EQ(updateBy("Id", "2", 14, c_sLimits), EResultCode::NoRow);
    EXPECT_EQ(updateBy("Id", "1", 14, "Other"), EResultCode::NoTable);
}
