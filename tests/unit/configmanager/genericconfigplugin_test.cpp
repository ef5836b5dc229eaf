#include "configmanager/genericconfigplugin.h"

#include "tests/unit/systema/dispatcherfixture.h"
#include "zel/assert.h"

#include <gmock/gmock.h>

#include <functional>
#include <vector>

using configmanager::serverlib::GenericConfigPlugin;
using systema::EResultCode;
using testing::HasSubstr;
using testing::StartsWith;

namespace {

/// Overrides nothing but what it must.
class BarePlugin : public GenericConfigPlugin
{
public:
    void getTables(systema::NameList&, const void* a_handle) override { assertCall(a_handle); }
    EResultCode getSchema(systema::ColumnList&, const void*, const std::string&) override { return 8; }
    EResultCode getSize(unsigned int&, const void*, const std::string&) override { return 8; }
    EResultCode selectRow(systema::ValueList&, const void*, const std::string&, unsigned int,
                          const systema::NameList&) override
    {
        return 8;
    }
    EResultCode selectKey(systema::ValueList&, const void*, const std::string&, const std::string&,
                          const std::string&, const systema::NameList&) override
    {
        return 8;
    }

    bool m_bWhole = true;

protected:
    bool classInvariant() const override { return m_bWhole; }
};

using Call = std::function<EResultCode(GenericConfigPlugin&, const void*)>;

const std::vector<Call> c_lOthers = {
    [](auto& a_oPlugin, auto a_pHandle) { return a_oPlugin.startTransaction(a_pHandle); },
    [](auto& a_oPlugin, auto a_pHandle) { return a_oPlugin.commitTransaction(a_pHandle); },
    [](auto& a_oPlugin, auto a_pHandle) { return a_oPlugin.rollbackTransaction(a_pHandle); },
    [](auto& a_oPlugin, auto a_pHandle) { return a_oPlugin.open(a_pHandle), EResultCode(); },
    [](auto& a_oPlugin, auto a_pHandle) { return a_oPlugin.close(a_pHandle), EResultCode(); },
};

std::string assertionOf(const Call& a_oOperation, GenericConfigPlugin& a_oPlugin, const void* a_pHandle)
{
    try {
        a_oOperation(a_oPlugin, a_pHandle);
        return "none";
    } catch (const zel::error::AssertionError& oError) {
        return oError.what();
    }
}

} // namespace

TEST(GenericConfigPlugin, AssertsHandleThenInvariantAndNamesThePlugin)
{
    BarePlugin oPlugin;
    std::vector<Call> lAll = c_lOthers;
    for (const ::Operation oWrite : c_aWrites) {
        lAll.push_back([=](auto& a_oPlugin, auto a_pHandle) { return oWrite(a_oPlugin, a_pHandle, "T"); });
    }
    lAll.push_back([](auto& a_oPlugin, auto a_pHandle) {
        systema::NameList lTables;
        a_oPlugin.getTables(lTables, a_pHandle);
        return EResultCode();
    });
    for (const auto& oOperation : lAll) {
        oPlugin.m_bWhole = false;
        EXPECT_THAT(assertionOf(oOperation, oPlugin, this), StartsWith("classInvariant()"));
        // A null handle is told first, and the report leads to the plugin, not to its base.
        EXPECT_THAT(assertionOf(oOperation, oPlugin, nullptr),
                    AllOf(StartsWith("0 != a_handle"), HasSubstr("genericconfigplugin_test")));
        oPlugin.m_bWhole = true;
        EXPECT_EQ(assertionOf(oOperation, oPlugin, this), "none");
    }
}
