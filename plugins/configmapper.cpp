#include "plugins/configmapper.h"

#include "zel/exception.h"
#include "zel/log.h"

#include <new>
#include <utility>

namespace zel {

using systema::EDataType;
using systema::EResultCode;
using systema::Value;
using systema::ValueList;

ConfigMapper::ConfigMapper(systema::ConfigPluginBase& a_oPlugin, systema::IConfigPublisher& a_oPublisher)
    : m_oPlugin(a_oPlugin),
      m_oPublisher(a_oPublisher),
      m_iModule(ZEL_Sysloglevel_registerModul("cfgmapper")),
      m_oSubscriber(a_oPublisher, "cfgmapper",
                    [this](const systema::NameList& a_lTables) { dispatch(a_lTables); })
{
    on("DhcpClientConfig", &handleAcsUrl);
}

void ConfigMapper::on(const std::string& a_sTable, Handler a_oHandler)
{
    m_oPublisher.subscribe(m_oSubscriber, {a_sTable});
    m_mHandlers[a_sTable].push_back(std::move(a_oHandler));
}

void ConfigMapper::dispatch(const systema::NameList& a_lTables)
{
    for (const auto& sTable : a_lTables) {
        const auto it = m_mHandlers.find(sTable);
        if (it == m_mHandlers.end()) {
            continue;
        }
        for (const auto& oHandler : it->second) {
            if (!run(oHandler, sTable)) {
                ZEL_Sysloglevel_error(m_iModule, {"configmapper", 106}, "Handler for %s failed",
                                      sTable.c_str());
            }
        }
    }
}

bool ConfigMapper::run(const Handler& a_oHandler, const std::string& a_sTable) const
{
    try {
        return a_oHandler(a_sTable, m_oPlugin);
    } catch (const std::bad_alloc&) {
        throw; // it is told again
    } catch (...) {
        ZEL_Sysloglevel_error(m_iModule, here(), "%s", error::describeException());
        return false;
    }
}

bool handleAcsUrl(const std::string&, systema::ConfigPluginBase& a_oPlugin)
{
    ValueList lInterface;
    ValueList lDhcp;
    ValueList lAcs;
    if (a_oPlugin.selectKey(lInterface, &a_oPlugin, "InterfaceMapping", "LogicalName", "ProviderTR069", {}) ||
        a_oPlugin.selectKey(lDhcp, &a_oPlugin, "DhcpClientConfig", "Interface",
                            lInterface.toText("PhysicalName"), {}) ||
        a_oPlugin.selectRow(lAcs, &a_oPlugin, "TR069ACS", 0, {})) {
        return true;
    }
    const std::string sDhcpUrl = lDhcp.toText("ACSURL");
    const std::string sCurrentUrl = lAcs.toText("ACSURL");
    const Value* pDiscovery = lAcs.find("ACSDiscovery");
    const bool bByHand = !sCurrentUrl.empty() && (pDiscovery == nullptr || pDiscovery->getInteger() != 1);
    if (sDhcpUrl == sCurrentUrl || sDhcpUrl.empty() || bByHand) {
        return true;
    }
    ValueList lLearned;
    lLearned.add("ACSURL", Value(EDataType::Text, sDhcpUrl));
    lLearned.add("ACSDiscovery", Value(EDataType::Integer, 1));
    return a_oPlugin.updateRow(&a_oPlugin, "TR069ACS", 0, lLearned) == EResultCode::Success;
}

} // namespace zel
