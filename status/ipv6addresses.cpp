#include "status/ipv6addresses.h"

#include <algorithm>
#include <cstdio>

namespace zel {

using configmanager::serverlib::column;
using configmanager::serverlib::Column;
using systema::EResultCode;

namespace {

using Row = IPv6AddressRow;

constexpr Column<Row> c_aColumns[] = {
    column<&Row::m_iId>("Id"),
    column<&Row::m_oAddress, &net::IPv6Address::getName>("Name"),
    column<&Row::m_oAddress, &net::IPv6Address::getAddr>("Addr"),
};

} // namespace

IPv6Addresses::IPv6Addresses() : SingleTable("StatusNetIfIPv6Addresses", c_aColumns) {}

EResultCode IPv6Addresses::getRowByKey(const std::string& a_table, systema::ValueList& a_row,
                                       const std::string& a_keyColumn, const std::string& a_keyValue,
                                       const systema::NameList& a_columns)
{
    if (a_keyColumn == "Id") {
        unsigned iId = 0;
        // The number 0 becomes the greatest position, which is past the end.
        return std::sscanf(a_keyValue.c_str(), "%u", &iId) == 1 ? getRow(a_table, a_row, iId - 1, a_columns)
                                                                : EResultCode(EResultCode::NoKey);
    }
    if (a_keyColumn == "Name") {
        const auto it = std::ranges::find(m_lRows, a_keyValue,
                                          [](const Row& a_oRow) { return a_oRow.m_oAddress.getName(); });
        if (it != m_lRows.end()) {
            return fill(a_row, *it, a_columns);
        }
    }
    // A device without addresses counts as an unknown key, too, not as a row that is not there.
    return EResultCode::NoKey;
}

void IPv6Addresses::update(systema::NameList& a_changedTables)
{
    const auto lBefore = m_oAddresses.getIPv6Addresses();
    m_oAddresses.refresh();
    if (m_oAddresses.IPv6AddressesIsEqual(lBefore)) {
        return;
    }
    m_lRows.clear();
    for (const auto& oAddress : m_oAddresses.getIPv6Addresses()) {
        m_lRows.push_back({static_cast<unsigned>(m_lRows.size() + 1), oAddress});
    }
    a_changedTables.add(getTableName());
}

} // namespace zel
