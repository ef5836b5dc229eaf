// Keeps tables consistent with each other: when a table has changed, it runs the handlers registered for it,
// which read and write other tables as a client would.
//
// Owned by the host of the live status; the dispatcher, which is plugin and publisher at once, must outlive
// it. Main thread only, while notifications are sent. A handler that fails is logged, and the next one runs.
#pragma once

#include "configmanager/genericsubscriber.h"
#include "systema/configpluginbase.h"

#include <functional>
#include <list>
#include <map>
#include <string>

namespace zel {

class ConfigMapper
{
public:
    /// Gets the name of the changed table, and the plugin. False on failure.
    using Handler = std::function<bool(const std::string&, systema::ConfigPluginBase&)>;

    /// Registers handleAcsUrl for "DhcpClientConfig".
    ConfigMapper(systema::ConfigPluginBase& a_oPlugin, systema::IConfigPublisher& a_oPublisher);

    /// Runs the handler on each change of the table from now on, after those it has already. The table need
    /// not be there yet.
    void on(const std::string& a_sTable, Handler a_oHandler);

private:
    void dispatch(const systema::NameList& a_lTables);
    /// False also when the handler throws.
    bool run(const Handler& a_oHandler, const std::string& a_sTable) const;

    systema::ConfigPluginBase& m_oPlugin;
    systema::IConfigPublisher& m_oPublisher;
    const int m_iModule;
    configmanager::serverlib::GenericSubscriber m_oSubscriber;
    std::map<std::string, std::list<Handler>> m_mHandlers; // a list, which a handler may add to
};

/// Copies the address of the management server that DHCP has learned on the TR-069 interface into "TR069ACS",
/// and marks it there as learned; an address that was entered by hand is kept, and no address is ever
/// cleared. False when it cannot be written; what cannot be read is nothing to do.
bool handleAcsUrl(const std::string& a_sTable, systema::ConfigPluginBase& a_oPlugin);

} // namespace zel
