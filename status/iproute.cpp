#include "status/iproute.h"

#include "status/rows.h"
#include "zel/log.h"

#include <algorithm>
#include <utility>

namespace zel {

using configmanager::serverlib::column;
using configmanager::serverlib::Column;
using systema::EResultCode;

namespace {

constexpr Column<RouteEntry> c_aColumns[] = {
    column<&RouteEntry::m_iId>("Id"),           column<&RouteEntry::m_sDestination>("Destination"),
    column<&RouteEntry::m_sGateway>("Gateway"), column<&RouteEntry::m_sInterface>("Interface"),
    column<&RouteEntry::m_iMetric>("Metric"),
};

} // namespace

IPRoute::IPRoute(Tool a_oTool)
    : m_oTool(std::move(a_oTool)),
      m_iModule(ZEL_Sysloglevel_registerModul("IPROUTE")),
      m_aFamilies{
          {{"RouteIPv4", "ip -4 -j route list 2>/dev/null", "Error while initializing IPv4 route cache"},
           {"RouteIPv6", "ip -6 -j route list 2>/dev/null", "Error while initializing IPv6 route cache"}}},
      m_oIPv4(m_aFamilies[0]),
      m_oIPv6(m_aFamilies[1])
{
}

void IPRoute::init()
{
    m_oTool.beginAtStart();
    for (auto& oFamily : m_aFamilies) {
        if (!read(oFamily)) {
            ZEL_Sysloglevel_error(m_iModule, hereWithExtension(), "%s", oFamily.m_pInitError);
        }
    }
}

bool IPRoute::hasTable(const std::string& a_sTable) const
{
    return std::ranges::any_of(m_aFamilies,
                               [&](const auto& a_oFamily) { return a_oFamily.m_sTable == a_sTable; });
}

void IPRoute::getTableNames(systema::NameList& a_lTables) const
{
    for (const auto& oFamily : m_aFamilies) {
        a_lTables.add(std::string(oFamily.m_sTable));
    }
}

EResultCode IPRoute::getSchema(systema::ColumnList& a_lColumns, const std::string& a_sTable)
{
    if (!hasTable(a_sTable)) {
        return EResultCode::NoTable;
    }
    configmanager::serverlib::appendSchema(a_lColumns, c_aColumns);
    return EResultCode::Success;
}

EResultCode IPRoute::getRowCount(const std::string& a_sTable, unsigned int& a_iCount)
{
    const Family* pFamily = find(a_sTable);
    if (pFamily == nullptr) {
        return EResultCode::NoTable;
    }
    a_iCount = static_cast<unsigned int>(pFamily->m_lRoutes.size());
    return EResultCode::Success;
}

EResultCode IPRoute::getRow(const std::string& a_sTable, systema::ValueList& a_lRow, unsigned int a_iPosition,
                            const systema::NameList& a_lColumns)
{
    Family* pFamily = find(a_sTable);
    return pFamily == nullptr
               ? EResultCode(EResultCode::NoTable)
               : selectPosition(a_lRow, pFamily->m_lRoutes, c_aColumns, a_iPosition, a_lColumns);
}

EResultCode IPRoute::getRowByKey(const std::string& a_sTable, systema::ValueList& a_lRow,
                                 const std::string& a_sKeyColumn, const std::string& a_sKeyValue,
                                 const systema::NameList& a_lColumns)
{
    Family* pFamily = find(a_sTable);
    return pFamily == nullptr ? EResultCode(EResultCode::NoTable)
                              : selectKey(a_lRow, pFamily->m_lRoutes, c_aColumns, c_aColumns, a_sKeyColumn,
                                          a_sKeyValue, a_lColumns);
}

void IPRoute::update(systema::NameList& a_lChangedTables)
{
    m_oTool.begin();
    const std::size_t iFirst = std::exchange(m_iFirst, 0);
    for (std::size_t i = 0; i < m_aFamilies.size(); ++i) {
        const std::size_t iFamily = (iFirst + i) % m_aFamilies.size();
        Family& oFamily = m_aFamilies[iFamily];
        if (!oFamily.m_bChanged) {
            continue;
        }
        // After a run that was slow, or killed, the other family waits for the next update, and comes first.
        if (m_oTool.isLeftAlone() || m_oTool.isTurnOver()) {
            m_iFirst = iFamily;
            return;
        }
        if (read(oFamily)) {
            a_lChangedTables.add(std::string(oFamily.m_sTable));
        }
    }
}

void IPRoute::NewIPv4Route(const std::string&, std::uint8_t, const std::string&, const std::string&,
                           const std::string&, std::uint32_t)
{
    m_oIPv4.m_bChanged = true;
}

void IPRoute::RemovedIPv4Route(const std::string&, std::uint8_t, const std::string&, const std::string&,
                               const std::string&, std::uint32_t)
{
    m_oIPv4.m_bChanged = true;
}

void IPRoute::NewIPv6Route(const std::string&, std::uint8_t, const std::string&, const std::string&)
{
    m_oIPv6.m_bChanged = true;
}

void IPRoute::RemovedIPv6Route(const std::string&, std::uint8_t, const std::string&, const std::string&)
{
    m_oIPv6.m_bChanged = true;
}

/// Null for an unknown table.
IPRoute::Family* IPRoute::find(const std::string& a_sTable)
{
    const auto it = std::ranges::find(m_aFamilies, a_sTable, &Family::m_sTable);
    return it == m_aFamilies.end() ? nullptr : &*it;
}

/// Lists the family's routes anew. When that fails there are none, and a change that was told stays to be
/// read; so does what a tool that hangs did not list, at the start too.
bool IPRoute::read(Family& a_oFamily)
{
    a_oFamily.m_lRoutes.clear();
    std::string sOutput;
    std::size_t iSize = 0;
    const int iResult = m_oTool.run(a_oFamily.m_pCommand, [&](std::string_view a_sText) {
        iSize += a_sText.size();
        sOutput.append(a_sText.substr(0, c_iLongestList - sOutput.size()));
    });
    a_oFamily.m_bChanged = a_oFamily.m_bChanged || iResult == c_iExecuteTimedOut;
    if (iResult != 0) {
        ZEL_Sysloglevel_error(m_iModule, hereWithExtension(), "ZEL_Execute_Command failed with %d", iResult);
        return false;
    }
    const auto oElements = parseRoutes(sOutput);
    if (!oElements) {
        if (iSize > c_iLongestList && !std::exchange(a_oFamily.m_bTooLong, true)) {
            ZEL_Sysloglevel_error(m_iModule, hereWithExtension(),
                                  "%s stays empty: the list of routes has %zu bytes, of which %zu are read",
                                  a_oFamily.m_sTable.data(), iSize, c_iLongestList);
        }
        return false;
    }
    if (std::exchange(a_oFamily.m_bTooLong, false)) {
        ZEL_Sysloglevel_info(m_iModule, hereWithExtension(),
                             "%s has its routes again: the list has %zu bytes", a_oFamily.m_sTable.data(),
                             iSize);
    }
    for (const auto& oElement : *oElements) {
        if (const auto* pUnexpected = std::get_if<UnexpectedJson>(&oElement)) {
            ZEL_Sysloglevel_error(m_iModule, hereWithExtension(), "Unexpected data format. JSON type:%d",
                                  pUnexpected->m_iType);
            continue;
        }
        const auto& oRoute = std::get<RouteEntry>(oElement);
        ZEL_Sysloglevel_debug(m_iModule, hereWithExtension(), "Id:%d, Dest:%s, Gw:%s, Dev:%s , Metric:%d",
                              oRoute.m_iId, oRoute.m_sDestination.c_str(), oRoute.m_sGateway.c_str(),
                              oRoute.m_sInterface.c_str(), oRoute.m_iMetric);
        // The columns cannot show the kind: a blackhole would look like a route without a gateway.
        if (!oRoute.m_sDestination.empty() && !oRoute.m_bDiscards) {
            a_oFamily.m_lRoutes.push_back(oRoute);
        }
    }
    a_oFamily.m_bChanged = false;
    return true;
}

} // namespace zel
