#include "soak/tables.h"

#include "bench/check.h"

#include <algorithm>
#include <array>
#include <string_view>

namespace soak {

namespace {

/// They give 1 while their source cannot be read: no radio, no connection tracking, a slow tool.
constexpr std::array<std::string_view, 3> c_aFailing = {"WlanScan", "IpConntrack", "FirewallStatistic"};
/// They give 1 for a key that matches no row.
constexpr std::array<std::string_view, 2> c_aFailingByKey = {"ConfigServerConfig", "ConfigServerLimits"};

template<typename Names>
Codes failure(const Names& a_aNames, const Table& a_oTable)
{
    return std::ranges::find(a_aNames, a_oTable.m_sName) == a_aNames.end() ? 0 : oneOf(EResultCode::Failure);
}

} // namespace

std::vector<Table> readTables(Connection& a_oConnection)
{
    using systema::wire::ETableFilter;
    const auto oAll = a_oConnection.call(request::GetTables{});
    bench::check(oAll);
    const auto oStored = a_oConnection.call(request::GetTables{ETableFilter::Stored});
    bench::check(oStored);
    std::vector<Table> lTables;
    for (const auto& sName : *oAll) {
        const auto oColumns = a_oConnection.call(request::GetSchema{sName});
        bench::check(oColumns);
        lTables.push_back({sName, oStored->hasName(sName), *oColumns});
    }
    return lTables;
}

Codes codesOfSize(const Table& a_oTable)
{
    return oneOf(EResultCode::Success) | failure(c_aFailing, a_oTable);
}

Codes codesOfPosition(const Table& a_oTable)
{
    return codesOfSize(a_oTable) | oneOf(EResultCode::NoRow); // it may have gone since they were counted
}

Codes codesOfKey(const Table& a_oTable, const std::string& a_sValue)
{
    if (a_oTable.m_bStored) {
        return a_sValue.find('\'') != std::string::npos ? oneOf(EResultCode::NoTable)
                                                        : oneOf(EResultCode::Success, EResultCode::NoRow);
    }
    // Not every column is a key.
    return codesOfPosition(a_oTable) | oneOf(EResultCode::NoKey) | failure(c_aFailingByKey, a_oTable);
}

Codes codesOfBulk(const Table& a_oTable)
{
    return codesOfSize(a_oTable) | oneOf(EResultCode::Busy); // changed while it was read, again and again
}

} // namespace soak
