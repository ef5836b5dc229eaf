#include "status/ipv6addresses.h"

#include <cctype>

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

EResultCode IPv6Addresses::getRowByKey(const std::string&, systema::ValueList& a_lRow,
                                       const std::string& a_sKeyColumn, const std::string& a_sKeyValue,
                                       const systema::NameList& a_lColumns)
{
    const bool bById = a_sKeyColumn == "Id";
    Row* pRow =
        bById || a_sKeyColumn == "Name" ? rowOf(m_lRows, c_aColumns, a_sKeyColumn, a_sKeyValue) : nullptr;
    if (pRow != nullptr) {
        return fill(a_lRow, *pRow, a_lColumns);
    }
    // A device without addresses counts as an unknown key, too, not as a row that is not there.
    const bool bNumber =
        !a_sKeyValue.empty() && std::isdigit(static_cast<unsigned char>(a_sKeyValue[0])) != 0;
    return bById && bNumber ? EResultCode::NoRow : EResultCode::NoKey;
}

void IPv6Addresses::update(systema::NameList& a_lChangedTables)
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
    a_lChangedTables.add(getTableName());
}

} // namespace zel
