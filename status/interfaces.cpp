#include "status/interfaces.h"

#include "dbus/interfacestatusdbusproxy.h"
#include "dbus/ipv4dbusproxy.h"
#include "dbus/ipv6dbusproxy.h"
#include "zel/log.h"

#include <algorithm>
#include <utility>

namespace zel {

using configmanager::serverlib::column;
using configmanager::serverlib::Column;
using systema::EDataType;
using systema::EResultCode;
using systema::NameList;
using systema::Value;
using systema::ValueList;

namespace {

const char* const c_pConfigTable = "StatusNetifConfig";

using Device = NetDeviceCheck;
using State = net::NetDeviceState;
using Counters = net::LinkCounters;

constexpr auto c_pState = &Device::getSnapshot;

constexpr Column<Device> c_aColumns[] = {
    column<&Device::getId>("Id"),
    {"Name", EDataType::Text,
     [](const Device& a_oDevice) { return Value(EDataType::Text, a_oDevice.getName()); }},
    column<c_pState, &State::m_sAddr>("Addr"),
    column<c_pState, &State::m_sBroadAddr>("BroadAddr"),
    column<c_pState, &State::m_sDstAddr>("DstAddr"),
    column<c_pState, &State::m_sNetmask>("Netmask"),
    column<c_pState, &State::m_sHwAddr>("HwAddr"),
    column<c_pState, &State::m_iMTU>("MTU"),
    column<c_pState, &State::m_oCounters, &Counters::m_iTxPackets>("TxPackets"),
    column<c_pState, &State::m_oCounters, &Counters::m_iTxBytes>("TxBytes"),
    column<c_pState, &State::m_oCounters, &Counters::m_iRxPackets>("RxPackets"),
    column<c_pState, &State::m_oCounters, &Counters::m_iRxBytes>("RxBytes"),
    column<c_pState, &State::m_bUp>("IsUp"),
    column<&Device::isLinkUp>("IsLinkUp"),
    column<&Device::getOnlineTime>("OnlineTime"),
    column<c_pState, &State::m_iIPv6LinkAddrs>("IPv6LinkAddrs"),
    column<c_pState, &State::m_iIPv6SiteAddrs>("IPv6SiteAddrs"),
    column<c_pState, &State::m_iIPv6GlobalAddrs>("IPv6GlobalAddrs"),
};

} // namespace

Interfaces::Interfaces(systema::ConfigPluginBase& a_oConfig, systema::IConfigPublisher& a_oPublisher,
                       InterfaceStatusDBusProxy& a_oInterfaceStatus, IPv4DBusProxy& a_oIPv4,
                       IPv6DBusProxy& a_oIPv6)
    : SingleTable(NetDeviceCheck::c_pTable, c_aColumns),
      m_oConfig(a_oConfig),
      m_oPublisher(a_oPublisher),
      m_oInterfaceStatus(a_oInterfaceStatus),
      m_iModule(ZEL_Sysloglevel_registerModul("Iface")),
      m_iIPv6Module(ZEL_Sysloglevel_registerModul("IPv6"))
{
    a_oInterfaceStatus.registerPlugin(this);
    a_oIPv4.registerPlugin(this);
    a_oIPv6.registerPlugin(this);
    a_oInterfaceStatus.setOnMissed([this] { onMissed(); });
    a_oIPv4.setOnMissed([this] { onMissed(); });
    a_oIPv6.setOnMissed([this] { onMissed(); });
}

Interfaces::~Interfaces()
{
    m_oPublisher.unsubscribeAll(*this);
}

void Interfaces::init()
{
    auto lBefore = std::exchange(m_lRows, {});
    const net::AddressLists oAddresses;
    std::multimap<std::string, NetDeviceCheck*> mBefore;
    for (NetDeviceCheck& oDevice : lBefore) {
        mBefore.emplace(oDevice.getName(), &oDevice);
    }
    ValueList lRow;
    while (m_lRows.size() < c_iMostDevices &&
           m_oConfig.selectRow(lRow, this, c_pConfigTable, static_cast<unsigned>(m_lRows.size()), {"Name"}) ==
               EResultCode::Success &&
           lRow.hasValue("Name")) {
        const std::string sName = lRow.getValue("Name").getText();
        const auto it = mBefore.find(sName);
        if (it == mBefore.end()) {
            m_lRows.emplace_back(
                sName, [this](auto& a_sDevice, auto& a_oResult) { onLinkAsked(a_sDevice, a_oResult); },
                oAddresses);
        } else {
            m_lRows.push_back(std::move(*it->second));
            m_lRows.back().setChanged();
            mBefore.erase(it);
        }
        m_lRows.back().setId(static_cast<unsigned>(m_lRows.size()));
        lRow.clear();
    }
    if (!m_bSubscribed) {
        m_oPublisher.subscribe(*this, {c_pConfigTable});
        m_bSubscribed = true;
    }
}

EResultCode Interfaces::getRowByKey(const std::string&, ValueList& a_lRow, const std::string& a_sKeyColumn,
                                    const std::string& a_sKeyValue, const NameList& a_lColumns)
{
    if (a_sKeyColumn != "Id" && a_sKeyColumn != "Name") {
        return EResultCode::NoKey;
    }
    return read(a_lRow, rowOf(m_lRows, c_aColumns, a_sKeyColumn, a_sKeyValue), a_lColumns);
}

void Interfaces::update(NameList& a_lChangedTables)
{
    const net::AddressLists oAddresses;
    // A query that is never answered must not keep the other devices from being queried.
    const std::size_t iFirst = m_iFirstAsked;
    for (std::size_t i = 0; i < m_lRows.size(); ++i) {
        const std::size_t iRow = (iFirst + i) % m_lRows.size();
        if (!m_lRows[iRow].refresh(m_oInterfaceStatus, oAddresses, a_lChangedTables)) {
            m_iFirstAsked = iRow + 1;
        }
    }
    logFailures();
}

void Interfaces::notify(const NameList&)
{
    ZEL_Sysloglevel_info(m_iModule, here(), "Interfaces::notify");
    init();
}

void Interfaces::StatusChange(const std::string& a_sDevice, bool)
{
    onChanged(a_sDevice);
}

void Interfaces::LinkStatusChange(const std::string& a_sDevice, bool)
{
    onChanged(a_sDevice);
}

void Interfaces::NewIPv4Address(const std::string& a_sDevice, const std::string&)
{
    onChanged(a_sDevice);
}

void Interfaces::RemovedIPv4Address(const std::string& a_sDevice, const std::string&)
{
    onChanged(a_sDevice);
}

void Interfaces::NewIPv6Address(const std::string& a_sDevice, const std::string& a_sAddress, std::uint8_t)
{
    logIPv6Address(a_sDevice, a_sAddress);
    onChanged(a_sDevice);
}

void Interfaces::RemovedIPv6Address(const std::string& a_sDevice, const std::string&, std::uint8_t)
{
    onChanged(a_sDevice);
}

EResultCode Interfaces::fill(ValueList& a_lRow, NetDeviceCheck& a_oRow, const NameList& a_lColumns)
{
    a_oRow.refreshPacketStats();
    // Unlike in other tables, a column that is not there is no error: it is left out.
    configmanager::serverlib::selectKnownColumns(a_lRow, a_oRow, c_aColumns, a_lColumns);
    return EResultCode::Success;
}

void Interfaces::onChanged(const std::string& a_sDevice)
{
    const auto it = std::ranges::find(m_lRows, a_sDevice, &NetDeviceCheck::getName);
    if (it != m_lRows.end()) {
        it->setChanged();
    }
}

void Interfaces::onMissed()
{
    for (NetDeviceCheck& oDevice : m_lRows) {
        oDevice.setChanged();
    }
}

void Interfaces::logIPv6Address(const std::string& a_sDevice, const std::string& a_sAddress)
{
    ValueList lRow;
    if (a_sAddress.starts_with('2') && // global unicast
        m_oConfig.selectKey(lRow, this, "InterfaceMapping", "LogicalName", "ProviderInternet",
                            {"PhysicalName"}) == EResultCode::Success &&
        lRow.hasValue("PhysicalName") && lRow.getValue("PhysicalName").getText() == a_sDevice) {
        ZEL_Sysloglevel_status(m_iIPv6Module, here(), "Address assigned: %s", a_sAddress.c_str());
    }
}

void Interfaces::onLinkAsked(const std::string& a_sDevice, const CallResult& a_oResult)
{
    if (a_oResult.isDone()) {
        m_sLoggedFailure.clear();
        return;
    }
    std::string& sDevices = m_mFailures[a_oResult.m_sError];
    sDevices += (sDevices.empty() ? "" : ", ") + a_sDevice;
}

/// Logs one line for all devices with the same error: at a boot the service is missing for all of them.
void Interfaces::logFailures()
{
    for (const auto& [sError, sDevices] : std::exchange(m_mFailures, {})) {
        if (sError == std::exchange(m_sLoggedFailure, sError)) {
            continue;
        }
        ZEL_Sysloglevel_error(m_iModule, here(), "GetLinkStatusForDevice() failed for %s: %s",
                              sDevices.c_str(), sError.c_str());
    }
}

} // namespace zel
