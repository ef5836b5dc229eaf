// The table "NetifCounter": how often each network device went up and down, its link did, and addresses came
// and went, as the network services tell it.
//
// Owned by the status host. Main thread only. The counts start at 0 with the daemon and are never reset; a
// device that is named in "StatusNetifConfig" is there from the start, any other from its first event on.
#pragma once

#include "dbus/idbusinterfacestatus.h"
#include "dbus/idbusipv4address.h"
#include "dbus/idbusipv6address.h"
#include "status/singletable.h"
#include "systema/configpluginbase.h"

#include <cstddef>
#include <cstdint>
#include <string>

namespace zel {

class InterfaceStatusDBusProxy;
class IPv4DBusProxy;
class IPv6DBusProxy;

/// The counts of one device.
struct InterfaceCounterRow
{
    unsigned m_iId = 0; // see rows.h; 0 for a new row
    std::string m_sName;
    std::uint32_t m_iUp = 0;
    std::uint32_t m_iDown = 0;
    std::uint32_t m_iLinkUp = 0;
    std::uint32_t m_iLinkDown = 0;
    std::uint32_t m_iIPv4AddrNew = 0;
    std::uint32_t m_iIPv4AddrRem = 0;
    std::uint32_t m_iIPv6AddrNew = 0;
    std::uint32_t m_iIPv6AddrRem = 0;
};

class InterfaceCounter : public SingleTable<InterfaceCounterRow>,
                         public IDBusInterfaceStatus,
                         public IDBusIPv4Address,
                         public IDBusIPv6Address
{
public:
    using Counter = InterfaceCounterRow;

    /// Signals may name any device: events of unknown ones do not make the table longer than this, nor add
    /// longer names.
    static constexpr std::size_t c_iMostCounters = 1024;
    static constexpr std::size_t c_iLongestName = 255;

    /// Registers itself with the three wrappers, which must live as long.
    InterfaceCounter(systema::ConfigPluginBase& a_oDispatcher, InterfaceStatusDBusProxy& a_oInterfaceStatus,
                     IPv4DBusProxy& a_oIPv4, IPv6DBusProxy& a_oIPv6);

    void init() override;
    /// Only "Name" is a key. 0; 9 for an unknown column; 10 for any other key too.
    systema::EResultCode getRowByKey(const std::string& a_sTable, systema::ValueList& a_lRow,
                                     const std::string& a_sKeyColumn, const std::string& a_sKeyValue,
                                     const systema::NameList& a_lColumns) override;
    void update(systema::NameList& a_lChangedTables) override;

    void StatusChange(const std::string& a_sDevice, bool a_bUp) override;
    void LinkStatusChange(const std::string& a_sDevice, bool a_bLinkUp) override;
    void NewIPv4Address(const std::string& a_sDevice, const std::string& a_sAddress) override;
    void RemovedIPv4Address(const std::string& a_sDevice, const std::string& a_sAddress) override;
    void NewIPv6Address(const std::string& a_sDevice, const std::string& a_sAddress,
                        std::uint8_t a_iNumber) override;
    void RemovedIPv6Address(const std::string& a_sDevice, const std::string& a_sAddress,
                            std::uint8_t a_iNumber) override;

private:
    struct Count
    {
        std::uint32_t Counter::*m_pValue;
        const char* m_pName;
    };

    void count(const std::string& a_sDevice, const Count& a_oCount, bool a_bFirstCounts = true);
    Counter* find(const std::string& a_sDevice);
    Counter* add(const std::string& a_sDevice);

    const int m_iModule;
    systema::ConfigPluginBase& m_oDispatcher;
    bool m_bChanged = false;
    bool m_bRefusalLogged = false;
};

} // namespace zel
