// The table "StatusNetifWatch": addresses, counters and state of each device named in "StatusNetifConfig".
//
// Owned by the status host. Main thread only. A signal about a device marks it, and the next update asks for
// it again; all are marked when signals may have been missed. A link for which the service has not answered
// is queried at each update; the wrapper bounds how often that reaches the service. A change of
// "StatusNetifConfig" makes the devices that are new in it, drops those that are gone and marks the others.
#pragma once

#include "dbus/idbusinterfacestatus.h"
#include "dbus/idbusipv4address.h"
#include "dbus/idbusipv6address.h"
#include "status/netdevicecheck.h"
#include "status/singletable.h"
#include "systema/configpluginbase.h"
#include "systema/configpublisher.h"

#include <cstddef>
#include <cstdint>
#include <map>
#include <string>

namespace zel {

class InterfaceStatusDBusProxy;
class IPv4DBusProxy;
class IPv6DBusProxy;

class Interfaces : public SingleTable<NetDeviceCheck>,
                   public systema::IConfigSubscriber,
                   public IDBusInterfaceStatus,
                   public IDBusIPv4Address,
                   public IDBusIPv6Address
{
public:
    /// Rows of "StatusNetifConfig" that are read at most, so that a table without end cannot stop the daemon.
    static constexpr unsigned c_iMostDevices = 4096;

    /// Registers itself with the three wrappers. All that is handed over must outlive it.
    Interfaces(systema::ConfigPluginBase& a_oConfig, systema::IConfigPublisher& a_oPublisher,
               InterfaceStatusDBusProxy& a_oInterfaceStatus, IPv4DBusProxy& a_oIPv4, IPv6DBusProxy& a_oIPv6);
    ~Interfaces() override;

    /// Makes the devices from "StatusNetifConfig", but keeps one that is there already, with its time online,
    /// and marks it. Subscribes to the table the first time.
    void init() override;
    /// "Name" and "Id" are keys. 0; 9 for another key column; 10.
    systema::EResultCode getRowByKey(const std::string& a_sTable, systema::ValueList& a_lRow,
                                     const std::string& a_sKeyColumn, const std::string& a_sKeyValue,
                                     const systema::NameList& a_lColumns) override;
    /// Asks for the marked devices again, and for the links that are not known.
    void update(systema::NameList& a_lChangedTables) override;

    void notify(const systema::NameList& a_lChangedTables) override;

    void StatusChange(const std::string& a_sDevice, bool a_bUp) override;
    void LinkStatusChange(const std::string& a_sDevice, bool a_bLinkUp) override;
    void NewIPv4Address(const std::string& a_sDevice, const std::string& a_sAddress) override;
    void RemovedIPv4Address(const std::string& a_sDevice, const std::string& a_sAddress) override;
    void NewIPv6Address(const std::string& a_sDevice, const std::string& a_sAddress,
                        std::uint8_t a_iNumber) override;
    void RemovedIPv6Address(const std::string& a_sDevice, const std::string& a_sAddress,
                            std::uint8_t a_iNumber) override;

    bool skipsUnknownColumns() const override { return true; }

private:
    /// Asks for the counters. 0: unknown columns are skipped.
    systema::EResultCode fill(systema::ValueList& a_lRow, NetDeviceCheck& a_oRow,
                              const systema::NameList& a_lColumns) override;
    void onChanged(const std::string& a_sDevice);
    void onMissed();
    void logIPv6Address(const std::string& a_sDevice, const std::string& a_sAddress);
    void onLinkAsked(const std::string& a_sDevice, const CallResult& a_oResult);
    void logFailures();

    systema::ConfigPluginBase& m_oConfig;
    systema::IConfigPublisher& m_oPublisher;
    InterfaceStatusDBusProxy& m_oInterfaceStatus;
    const int m_iModule;
    const int m_iIPv6Module;
    bool m_bSubscribed = false;
    std::map<std::string, std::string> m_mFailures; // of this update: an error, and its devices
    std::string m_sLoggedFailure;                   // the last error logged, empty since a query succeeded
    std::size_t m_iFirstAsked = 0;                  // the row after the one whose query was last not answered
};

} // namespace zel
