#include "plugins/tableviewpartners.h"

#include <charconv>
#include <string>

namespace zel {

using systema::EDataType;
using systema::EResultCode;

namespace {

constexpr std::size_t c_iEntryBytes = 64;   // of the map, with its share of the buckets
constexpr std::size_t c_iLongestKey = 1024; // well below what a statement has room for

template<typename Number>
bool isPlainDecimal(std::string_view a_sText)
{
    Number iNumber{};
    const auto [pEnd, eError] = std::from_chars(a_sText.data(), a_sText.data() + a_sText.size(), iNumber);
    return eError == std::errc() && pEnd == a_sText.data() + a_sText.size() &&
           std::to_string(iNumber) == a_sText;
}

/// False for keys that a stored table may refuse.
bool isTakenAsKey(std::string_view a_sText)
{
    return a_sText.size() <= c_iLongestKey;
}

} // namespace

TableViewPartners::TableViewPartners(const systema::NameList& a_lWanted, std::size_t& a_iBudget)
    : m_iBudget(a_iBudget),
      m_oRows(a_lWanted, c_iPortion)
{
}

TableViewPartners::~TableViewPartners()
{
    m_iBudget += m_iTaken;
}

std::optional<CellRows::Row> TableViewPartners::find(std::string_view a_sKey) const
{
    if (const auto it = m_mRows.find(a_sKey); it != m_mRows.end()) {
        return it->second == c_iNone ? CellRows::Row() : m_oRows[it->second];
    }
    return m_bStoredComplete && isKeyAsShown(a_sKey) ? std::optional(CellRows::Row()) : std::nullopt;
}

bool TableViewPartners::isKeyAsShown(std::string_view a_sKey) const
{
    if (m_oRows.size() == 0 || a_sKey == "0") { // 0 may find the hidden row
        return false;
    }
    switch (m_oRows[0][0].m_iType) {
    case EDataType::Integer:
        return isPlainDecimal<int>(a_sKey);
    case EDataType::Unsigned:
        return isPlainDecimal<unsigned>(a_sKey);
    case EDataType::Text:
        return isTakenAsKey(a_sKey);
    default:
        return false;
    }
}

void TableViewPartners::remember(std::string_view a_sKey, CellRows::Row a_oRow)
{
    if (m_bFull) {
        return;
    }
    const auto iRow = static_cast<std::uint32_t>(m_oRows.size());
    if (!a_oRow.empty()) {
        m_oRows.add(a_oRow);
    }
    take(m_oRows.keep(a_sKey), a_oRow.empty() ? c_iNone : iRow);
}

EResultCode TableViewPartners::read(systema::IRowCursor& a_oRows)
{
    m_oRows.setColumns(a_oRows.getColumns());
    std::size_t iRow = m_oRows.size();
    const EResultCode eResult = a_oRows.fetch(m_oRows);
    for (; iRow < m_oRows.size(); ++iRow) {
        const CellRows::Cell& oKey = m_oRows[iRow][0];
        CellRows::Buffer aBuffer;
        std::string_view sKey = CellRows::textOf(oKey, aBuffer);
        if (oKey.m_iType == EDataType::Null || oKey.m_iType == CellRows::c_iMissing || !isTakenAsKey(sKey)) {
            continue;
        }
        if (oKey.m_iType != EDataType::Text) {
            sKey = m_oRows.keep(sKey);
        }
        if (!take(sKey, static_cast<std::uint32_t>(iRow))) {
            return EResultCode::NoRow;
        }
    }
    return eResult;
}

/// Adds the key, whose text must live as long as the rows, unless it is known already: the first row of a key
/// counts. False when the memory is used up.
bool TableViewPartners::take(std::string_view a_sKey, std::uint32_t a_iRow)
{
    m_mRows.try_emplace(a_sKey, a_iRow);
    const std::size_t iBytes = m_oRows.getBytes() + m_mRows.size() * c_iEntryBytes;
    if (iBytes > m_iBudget + m_iTaken) {
        forget();
        return false;
    }
    m_iBudget += m_iTaken;
    m_iBudget -= iBytes;
    m_iTaken = iBytes;
    return true;
}

void TableViewPartners::forget()
{
    m_bFull = true;
    m_mRows.clear();
    m_oRows.clear();
    m_iBudget += m_iTaken;
    m_iTaken = 0;
}

} // namespace zel
