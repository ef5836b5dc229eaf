// The host of the live-status tables: one plugin to the dispatcher, a list of sub-plugins behind it.
//
// Owns the sub-plugins, the proxies of the network services that they listen to, and the configuration
// mapper; main owns it. Main thread only. Each table operation goes to the first sub-plugin that claims the
// table; updates and transactions go to all of them in order. Signals of the bus arrive while it updates, and
// at no other time. A sub-plugin that throws while it starts or updates is logged, module "StatusInfo", and
// does not keep the others from it.
#pragma once

#include "configmanager/event.h"
#include "configmanager/genericconfigplugin.h"
#include "configmanager/ilogger.h"
#include "dbus/dnsmasqdbusproxy.h"
#include "dbus/domainnameserverdbusproxy.h"
#include "dbus/interfacestatusdbusproxy.h"
#include "dbus/ipv4dbusproxy.h"
#include "dbus/ipv4routedbusproxy.h"
#include "dbus/ipv6dbusproxy.h"
#include "dbus/ipv6routedbusproxy.h"
#include "dbus/neighbourdbusproxy.h"
#include "plugins/configmapper.h"
#include "status/bootclock.h"
#include "status/defaultppphelper.h"
#include "status/istatusinfosubplugin.h"
#include "systema/rowsource.h"
#include "systema/tabledescription.h"

#include <ctime>
#include <list>
#include <memory>
#include <string>
#include <utility>
#include <vector>

namespace zel {

class StatusInfoPlugin : public configmanager::serverlib::GenericConfigPlugin,
                         public systema::IRowSource,
                         public systema::IDescribedTables
{
public:
    /// Seconds between two updates.
    static constexpr std::time_t c_iUpdateSeconds = 2;

    /// Makes every sub-plugin, and a table of each of the files. The bus and the logger must outlive it. The
    /// flag is for the switch ports, which a board may add.
    StatusInfoPlugin(const std::vector<std::string>& a_lFiles, SystemBus& a_oBus, bool a_bSwitchPorts,
                     configmanager::serverlib::ILogger* a_pLogger, BootClock a_oNow = &secondsSinceBoot);
    ~StatusInfoPlugin() override;
    StatusInfoPlugin(const StatusInfoPlugin&) = delete;
    StatusInfoPlugin& operator=(const StatusInfoPlugin&) = delete;

    /// Appends a sub-plugin, before the start.
    void add(std::unique_ptr<IStatusInfoSubPlugin> a_pPlugin)
    {
        m_oPluginList.push_back(std::move(a_pPlugin));
    }
    /// The sub-plugin that serves the table, null when none does.
    IStatusInfoSubPlugin* findPlugin(const std::string& a_sTable) const;
    /// Tells the sub-plugins that the server stops.
    void shutdown() const { m_oEvents.emit(configmanager::serverlib::ServerEvents::Shutdown); }

    // 8 for a table that nobody serves; else what the sub-plugin answers.
    void getTables(systema::NameList& a_lTables, const void* a_pHandle) override;
    systema::EResultCode getSchema(systema::ColumnList& a_lColumns, const void* a_pHandle,
                                   const std::string& a_sTable) override;
    systema::EResultCode getSize(unsigned int& a_iSize, const void* a_pHandle,
                                 const std::string& a_sTable) override;
    systema::EResultCode selectRow(systema::ValueList& a_lRow, const void* a_pHandle,
                                   const std::string& a_sTable, unsigned int a_iIndex,
                                   const systema::NameList& a_lColumns) override;
    systema::EResultCode selectKey(systema::ValueList& a_lRow, const void* a_pHandle,
                                   const std::string& a_sTable, const std::string& a_sKeyColumn,
                                   const std::string& a_sKeyValue,
                                   const systema::NameList& a_lColumns) override;
    systema::EResultCode openRows(std::unique_ptr<systema::IRowCursor>& a_pCursor, const void* a_pHandle,
                                  const std::string& a_sTable, unsigned int a_iFirst, unsigned int a_iCount,
                                  const systema::NameList& a_lColumns) override;
    systema::EResultCode describe(systema::TableDescription& a_oDescription,
                                  const std::string& a_sTable) override;
    /// Delivers the signals and lets every sub-plugin refresh, at most every two seconds of the clock; not
    /// while the clock is before the last update.
    void tick(systema::NameList& a_lChangedTables) override;
    /// Starts every sub-plugin, once. True.
    bool initialize() override;
    /// 0, or the first other result; the sub-plugins after that one are then not told.
    systema::EResultCode startTransaction(const void* a_pHandle) override;
    /// Told to all. 0.
    systema::EResultCode commitTransaction(const void* a_pHandle) override;
    systema::EResultCode rollbackTransaction(const void* a_pHandle) override;

private:
    template<typename Operation>
    void callAll(const char* a_pName, Operation a_oOperation) const;
    template<typename Operation>
    systema::EResultCode route(const void* a_pHandle, const std::string& a_sTable, Operation a_oOperation,
                               zel::SourceTag a_oSource = zel::here());

    const int m_iModule;
    const BootClock m_oNow;
    bool m_bStarted = false;
    std::time_t m_iLastUpdate = 0;
    DefaultPppHelper m_oPppHelper;
    std::list<std::unique_ptr<IStatusInfoSubPlugin>> m_oPluginList;
    SystemBus& m_oBus;
    InterfaceStatusDBusProxy m_oInterfaceStatus;
    IPv4DBusProxy m_oIPv4;
    IPv6DBusProxy m_oIPv6;
    ConfigMapper m_oConfigMapper;
    DnsMasqDBusProxy m_oDnsMasq;
    DomainNameServerDBusProxy m_oDomainNameServer;
    InterfaceStatusDBusProxy m_oSwitchInterfaceStatus;
    NeighbourDBusProxy m_oNeighbour;
    IPv4RouteDBusProxy m_oIPv4Route;
    IPv6RouteDBusProxy m_oIPv6Route;
    configmanager::serverlib::Event<void(configmanager::serverlib::ServerEvents)> m_oEvents;
};

} // namespace zel
