#include "status/dhcpleases.h"

#include "status/rows.h"
#include "zel/log.h"

#include <algorithm>
#include <chrono>
#include <functional>
#include <span>
#include <utility>

namespace zel {

using configmanager::serverlib::column;
using configmanager::serverlib::Column;
using configmanager::serverlib::findColumn;
using systema::EResultCode;

namespace {

using Lease = DhcpLeases::Lease;

constexpr const char* c_pClients = "DhcpServerClients";
constexpr const char* c_pLeases = "DhcpLeases";

constexpr Column<Lease> c_aColumns[] = {
    column<&Lease::m_iId>("Id"),
    column<&Lease::m_iInstance>("Instance"),
    column<&Lease::m_iExpires>("Expires"),
    column<&Lease::m_sMacAddress>("MacAddress"),
    column<&Lease::m_sIpAddress>("IpAddress"),
    column<&Lease::m_sHostName>("HostName"),
    column<&Lease::m_sVendor>("Vendor"),
    column<&Lease::m_iAcked>("Acked"),
};

// "Acked" is in the rows, but neither in the schema nor a key: clients know the tables by seven columns.
constexpr std::span c_aSchema = std::span(c_aColumns).first<7>();

auto findSame(auto& a_lLeases, const Lease& a_oLease)
{
    return std::ranges::find_if(a_lLeases, std::bind_front(&Lease::isSame, &a_oLease));
}

/// True when there was one.
bool removeSame(std::vector<Lease>& a_lLeases, const Lease& a_oLease)
{
    const auto it = findSame(a_lLeases, a_oLease);
    const bool bFound = it != a_lLeases.end();
    if (bFound) {
        a_lLeases.erase(it);
    }
    return bFound;
}

} // namespace

Lease::Lease(std::string a_sMacAddress, std::string a_sIpAddress, std::string a_sHostName,
             std::string a_sVendor, std::uint32_t a_iExpires)
    : m_iExpires(a_iExpires),
      m_sMacAddress(std::move(a_sMacAddress)),
      m_sIpAddress(std::move(a_sIpAddress)),
      m_sHostName(std::move(a_sHostName)),
      m_sVendor(std::move(a_sVendor))
{
}

bool Lease::operator==(const Lease& a_oOther) const
{
    return isSame(a_oOther) && m_sHostName == a_oOther.m_sHostName && m_sVendor == a_oOther.m_sVendor &&
           m_iExpires == a_oOther.m_iExpires && m_iAcked == a_oOther.m_iAcked;
}

bool Lease::isSame(const Lease& a_oOther) const
{
    return m_sMacAddress == a_oOther.m_sMacAddress && m_sIpAddress == a_oOther.m_sIpAddress;
}

DhcpLeases::DhcpLeases(systema::ConfigPluginBase&, configmanager::serverlib::ILogger* a_pLogger, unsigned)
    : m_iModule(ZEL_Sysloglevel_registerModul("DhcpLeases")),
      m_iDhcpModule(ZEL_Sysloglevel_registerModul("DHCP"))
{
    if (a_pLogger != nullptr) {
        a_pLogger->registerModule("DhcpLeases", c_iTraceLevelNormal);
    }
}

bool DhcpLeases::hasTable(const std::string& a_sTable) const
{
    return a_sTable == c_pClients || a_sTable == c_pLeases;
}

bool DhcpLeases::announces(const std::string& a_sTable) const
{
    return a_sTable != c_pClients;
}

bool DhcpLeases::hasHiddenColumn(const std::string& a_sColumn) const
{
    return findColumn(std::span(c_aColumns).subspan(c_aSchema.size()), a_sColumn) != nullptr;
}

void DhcpLeases::getTableNames(systema::NameList& a_lTables) const
{
    a_lTables.add(c_pClients);
    a_lTables.add(c_pLeases);
}

EResultCode DhcpLeases::getSchema(systema::ColumnList& a_lColumns, const std::string&)
{
    a_lColumns.clear();
    configmanager::serverlib::appendSchema(a_lColumns, c_aSchema);
    return EResultCode::Success;
}

EResultCode DhcpLeases::getRowCount(const std::string& a_sTable, unsigned int& a_iCount)
{
    a_iCount = static_cast<unsigned int>(rowsOf(a_sTable).size());
    return EResultCode::Success;
}

EResultCode DhcpLeases::getRow(const std::string& a_sTable, systema::ValueList& a_lRow,
                               unsigned int a_iPosition, const systema::NameList& a_lColumns)
{
    return selectPosition(a_lRow, rowsOf(a_sTable), c_aColumns, a_iPosition, a_lColumns);
}

EResultCode DhcpLeases::getRowByKey(const std::string& a_sTable, systema::ValueList& a_lRow,
                                    const std::string& a_sKeyColumn, const std::string& a_sKeyValue,
                                    const systema::NameList& a_lColumns)
{
    return selectKey(a_lRow, rowsOf(a_sTable), c_aColumns, c_aSchema, a_sKeyColumn, a_sKeyValue, a_lColumns);
}

void DhcpLeases::update(systema::NameList& a_lChangedTables)
{
    // The clients are never announced, whatever becomes of them.
    if (std::exchange(m_bChanged, false)) {
        a_lChangedTables.add(c_pLeases);
    }
}

void DhcpLeases::DhcpLeaseAdded(const std::string& a_sIpAddress, const std::string& a_sMacAddress,
                                const std::string& a_sHostName, const std::string& a_sVendor,
                                std::uint32_t a_iExpires)
{
    ZEL_Sysloglevel_info(m_iModule, here(), "Lease added: %s, %s, %s, %s, %u", a_sIpAddress.c_str(),
                         a_sMacAddress.c_str(), a_sHostName.c_str(), a_sVendor.c_str(), a_iExpires);
    Lease oLease(a_sMacAddress, a_sIpAddress, a_sHostName, a_sVendor, a_iExpires);
    if (const auto it = findSame(m_lLeases, oLease); it != m_lLeases.end()) {
        oLease.m_iAcked = it->m_iAcked;
    }
    m_bChanged |= store(m_lLeases, oLease);
}

void DhcpLeases::DhcpLeaseDeleted(const std::string& a_sIpAddress, const std::string& a_sMacAddress,
                                  const std::string& a_sHostName, const std::string& a_sVendor,
                                  std::uint32_t a_iExpires)
{
    ZEL_Sysloglevel_info(m_iModule, here(), "Lease deleted: %s, %s, %s, %s, %u", a_sIpAddress.c_str(),
                         a_sMacAddress.c_str(), a_sHostName.c_str(), a_sVendor.c_str(), a_iExpires);
    const Lease oLease(a_sMacAddress, a_sIpAddress, a_sHostName, a_sVendor, a_iExpires);
    const bool bLeased = removeSame(m_lLeases, oLease);
    m_bChanged |= bLeased;
    if (!removeSame(m_lClients, oLease) && !bLeased) {
        ZEL_Sysloglevel_info(m_iModule, here(), "There was no lease of %s for %s", a_sIpAddress.c_str(),
                             a_sMacAddress.c_str());
    }
}

void DhcpLeases::DhcpLeaseUpdated(const std::string& a_sIpAddress, const std::string& a_sMacAddress,
                                  const std::string& a_sHostName, const std::string& a_sVendor,
                                  std::uint32_t a_iExpires)
{
    ZEL_Sysloglevel_info(m_iModule, here(), "Lease updated: %s, %s, %s, %s, %u", a_sIpAddress.c_str(),
                         a_sMacAddress.c_str(), a_sHostName.c_str(), a_sVendor.c_str(), a_iExpires);
    Lease oLease(a_sMacAddress, a_sIpAddress, a_sHostName, a_sVendor, a_iExpires);
    if (const auto it = findSame(m_lLeases, oLease); it != m_lLeases.end()) {
        // An update does not always repeat the vendor; an acknowledgement without one does clear it.
        if (oLease.m_sVendor.empty()) {
            oLease.m_sVendor = it->m_sVendor;
        }
        oLease.m_iAcked = it->m_iAcked;
    }
    m_bChanged |= store(m_lLeases, oLease);
}

void DhcpLeases::DhcpLeaseAcked(const std::string& a_sIpAddress, const std::string& a_sMacAddress,
                                const std::string& a_sHostName, const std::string& a_sVendor,
                                std::uint32_t a_iExpires)
{
    using namespace std::chrono;
    Lease oLease(a_sMacAddress, a_sIpAddress, a_sHostName, a_sVendor, a_iExpires);
    oLease.m_iAcked = static_cast<std::int32_t>(
        duration_cast<microseconds>(system_clock::now().time_since_epoch()).count() / 1'000'000);
    m_bChanged |= store(m_lLeases, oLease);
    store(m_lClients, oLease);
    ZEL_Sysloglevel_status(m_iDhcpModule, here(), "Client registered %s %s %d", a_sIpAddress.c_str(),
                           a_sMacAddress.c_str(), static_cast<int>(a_iExpires));
}

DhcpLeases::Leases& DhcpLeases::rowsOf(const std::string& a_sTable)
{
    return a_sTable == c_pLeases ? m_lLeases : m_lClients;
}

/// Puts the lease in the place of the same one, else at the end. True when that changed the list.
bool DhcpLeases::store(Leases& a_lLeases, const Lease& a_oLease)
{
    const auto it = findSame(a_lLeases, a_oLease);
    const bool bKnown = it != a_lLeases.end();
    if (bKnown && *it == a_oLease) {
        return false;
    }
    const std::size_t iTexts = a_oLease.m_sMacAddress.size() + a_oLease.m_sIpAddress.size() +
                               a_oLease.m_sHostName.size() + a_oLease.m_sVendor.size();
    if (iTexts > c_iLongestTexts || (!bKnown && a_lLeases.size() >= c_iMostLeases)) {
        if (!std::exchange(m_bRefusalLogged, true)) {
            ZEL_Sysloglevel_warning(m_iModule, here(),
                                    "Too many leases or too long a lease: that of %s is not kept",
                                    a_oLease.m_sMacAddress.c_str());
        }
        return false;
    }
    if (bKnown) {
        *it = a_oLease; // its number too, which is 0 until the next read by position
    } else {
        a_lLeases.push_back(a_oLease);
    }
    return true;
}

} // namespace zel
