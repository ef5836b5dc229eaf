#include "status/interfacecounter.h"

#include "dbus/interfacestatusdbusproxy.h"
#include "dbus/ipv4dbusproxy.h"
#include "dbus/ipv6dbusproxy.h"
#include "status/rows.h"
#include "zel/log.h"

#include <algorithm>
#include <span>
#include <utility>

namespace zel {

using configmanager::serverlib::column;
using configmanager::serverlib::Column;
using systema::EDataType;
using systema::EResultCode;
using systema::Value;

namespace {

using Counter = InterfaceCounter::Counter;

template<std::uint32_t Counter::*Count>
Value countOf(const Counter& a_oCounter)
{
    return Value(EDataType::Unsigned, static_cast<int>(a_oCounter.*Count));
}

constexpr Column<Counter> c_aColumns[] = {
    column<&Counter::m_iId>("Id"),
    column<&Counter::m_sName>("Name"),
    {"Up", EDataType::Unsigned, countOf<&Counter::m_iUp>},
    {"Down", EDataType::Unsigned, countOf<&Counter::m_iDown>},
    {"LinkUp", EDataType::Unsigned, countOf<&Counter::m_iLinkUp>},
    {"LinkDown", EDataType::Unsigned, countOf<&Counter::m_iLinkDown>},
    {"IPv4AddrNew", EDataType::Unsigned, countOf<&Counter::m_iIPv4AddrNew>},
    {"IPv4AddrRem", EDataType::Unsigned, countOf<&Counter::m_iIPv4AddrRem>},
    {"IPv6AddrNew", EDataType::Unsigned, countOf<&Counter::m_iIPv6AddrNew>},
    {"IPv6AddrRem", EDataType::Unsigned, countOf<&Counter::m_iIPv6AddrRem>},
};
constexpr std::span c_aKeys = std::span(c_aColumns).subspan<1, 1>(); // "Name"

} // namespace

InterfaceCounter::InterfaceCounter(systema::ConfigPluginBase& a_oDispatcher,
                                   InterfaceStatusDBusProxy& a_oInterfaceStatus, IPv4DBusProxy& a_oIPv4,
                                   IPv6DBusProxy& a_oIPv6)
    : SingleTable("NetifCounter", c_aColumns),
      m_iModule(ZEL_Sysloglevel_registerModul("NetifCnt")),
      m_oDispatcher(a_oDispatcher)
{
    a_oInterfaceStatus.registerPlugin(this);
    a_oIPv4.registerPlugin(this);
    a_oIPv6.registerPlugin(this);
}

void InterfaceCounter::init()
{
    const std::string sTable = "StatusNetifConfig";
    unsigned int iSize = 0;
    if (m_oDispatcher.getSize(iSize, this, sTable) != EResultCode::Success) {
        ZEL_Sysloglevel_error(m_iModule, here(), "Could not get size of table StatusNetifConfig");
        return;
    }
    for (unsigned int iRow = 0; iRow < iSize; ++iRow) {
        systema::ValueList lRow;
        if (m_oDispatcher.selectRow(lRow, this, sTable, iRow, {"Name"}) == EResultCode::Success) {
            m_lRows.push_back({.m_sName = lRow.getValue("Name").getText()});
        }
    }
}

EResultCode InterfaceCounter::getRowByKey(const std::string&, systema::ValueList& a_lRow,
                                          const std::string& a_sKeyColumn, const std::string& a_sKeyValue,
                                          const systema::NameList& a_lColumns)
{
    return selectKey(a_lRow, m_lRows, c_aColumns, c_aKeys, a_sKeyColumn, a_sKeyValue, a_lColumns);
}

void InterfaceCounter::update(systema::NameList& a_lChangedTables)
{
    if (std::exchange(m_bChanged, false)) {
        a_lChangedTables.add(getTableName());
    }
}

void InterfaceCounter::StatusChange(const std::string& a_sDevice, bool a_bUp)
{
    ZEL_Sysloglevel_info(m_iModule, here(), "Status of %s changed: %d", a_sDevice.c_str(), a_bUp);
    // An unknown device that is down at its first event has not gone down: its row is added, with no count.
    count(a_sDevice, a_bUp ? Count{&Counter::m_iUp, "upCounter"} : Count{&Counter::m_iDown, "downCounter"},
          a_bUp);
}

void InterfaceCounter::LinkStatusChange(const std::string& a_sDevice, bool a_bLinkUp)
{
    ZEL_Sysloglevel_info(m_iModule, here(), "Link-Status of %s changed: %d", a_sDevice.c_str(), a_bLinkUp);
    count(a_sDevice,
          a_bLinkUp ? Count{&Counter::m_iLinkUp, "linkUpCounter"}
                    : Count{&Counter::m_iLinkDown, "linkDownCounter"},
          a_bLinkUp);
}

void InterfaceCounter::NewIPv4Address(const std::string& a_sDevice, const std::string& a_sAddress)
{
    ZEL_Sysloglevel_info(m_iModule, here(), "IP address of %s changed (new): %s", a_sDevice.c_str(),
                         a_sAddress.c_str());
    count(a_sDevice, {&Counter::m_iIPv4AddrNew, "ipv4AddrNewCounter"});
}

void InterfaceCounter::RemovedIPv4Address(const std::string& a_sDevice, const std::string& a_sAddress)
{
    ZEL_Sysloglevel_info(m_iModule, here(), "IP address of %s changed (rem): %s", a_sDevice.c_str(),
                         a_sAddress.c_str());
    count(a_sDevice, {&Counter::m_iIPv4AddrRem, "ipv4AddrRemCounter"});
}

void InterfaceCounter::NewIPv6Address(const std::string& a_sDevice, const std::string& a_sAddress,
                                      std::uint8_t)
{
    ZEL_Sysloglevel_info(m_iModule, here(), "IPv6 address of %s changed (new): %s", a_sDevice.c_str(),
                         a_sAddress.c_str());
    count(a_sDevice, {&Counter::m_iIPv6AddrNew, "ipv6AddrNewCounter"});
}

void InterfaceCounter::RemovedIPv6Address(const std::string& a_sDevice, const std::string& a_sAddress,
                                          std::uint8_t)
{
    ZEL_Sysloglevel_info(m_iModule, here(), "IPv6 address of %s changed (rem): %s", a_sDevice.c_str(),
                         a_sAddress.c_str());
    count(a_sDevice, {&Counter::m_iIPv6AddrRem, "ipv6AddrRemCounter"});
}

void InterfaceCounter::count(const std::string& a_sDevice, const Count& a_oCount, bool a_bFirstCounts)
{
    Counter* pCounter = find(a_sDevice);
    const bool bCounts = pCounter != nullptr || a_bFirstCounts;
    if (pCounter == nullptr) {
        pCounter = add(a_sDevice);
    }
    if (pCounter == nullptr) {
        return;
    }
    if (bCounts) {
        const std::uint32_t iValue = ++(pCounter->*a_oCount.m_pValue);
        ZEL_Sysloglevel_info(m_iModule, here(), "%s of %s: %d", a_oCount.m_pName, a_sDevice.c_str(),
                             static_cast<int>(iValue));
    }
    m_bChanged = true;
}

InterfaceCounter::Counter* InterfaceCounter::find(const std::string& a_sDevice)
{
    const auto it = std::ranges::find(m_lRows, a_sDevice, &Counter::m_sName);
    return it == m_lRows.end() ? nullptr : &*it;
}

/// Null when the device is one too many.
InterfaceCounter::Counter* InterfaceCounter::add(const std::string& a_sDevice)
{
    if (m_lRows.size() >= c_iMostCounters || a_sDevice.size() > c_iLongestName) {
        if (!std::exchange(m_bRefusalLogged, true)) {
            ZEL_Sysloglevel_warning(m_iModule, here(),
                                    "Too many devices or too long a name: %s is not counted",
                                    a_sDevice.c_str());
        }
        return nullptr;
    }
    m_lRows.push_back({.m_sName = a_sDevice});
    return &m_lRows.back();
}

} // namespace zel
