#include "cli/rowdiff.h"

#include "cli/cell.h"
#include "options/nearest.h"

#include <algorithm>
#include <deque>
#include <optional>
#include <unordered_map>

namespace systema::cli {

namespace {

/// The whole row but its Id.
std::string contentOf(const client::RowView& a_oRow)
{
    std::string sContent;
    wire::Writer oWriter(sContent);
    for (std::size_t i = 0; i < a_oRow.m_lCells.size(); ++i) {
        if (a_oRow.m_lColumns[i] != "Id") {
            oWriter.value(a_oRow.m_lCells[i].toValue());
        }
    }
    return sContent;
}

/// The text of the column, or the content of a row without it.
std::string keyOf(const client::RowView& a_oRow, std::string_view a_sColumn)
{
    const wire::Cell* pCell = a_oRow.find(a_sColumn);
    return pCell != nullptr ? cellText(*pCell) : contentOf(a_oRow);
}

/// Finds the row before for each row after.
class Pairing
{
public:
    Pairing(const client::Rows& a_oBefore, const client::Rows& a_oAfter)
        : m_oBefore(a_oBefore),
          m_oAfter(a_oAfter),
          m_lPartners(a_oAfter.size()),
          m_lTaken(a_oBefore.size())
    {
    }

    /// Pairs rows of one key that have no partner yet, in their order.
    template<typename Key>
    void pair(Key a_oKey)
    {
        std::unordered_map<std::string, std::deque<std::size_t>> mBefore;
        for (std::size_t i = 0; i < m_oBefore.size(); ++i) {
            if (!m_lTaken[i]) {
                mBefore[a_oKey(m_oBefore[i])].push_back(i);
            }
        }
        for (std::size_t i = 0; i < m_oAfter.size(); ++i) {
            const auto it = m_lPartners[i] ? mBefore.end() : mBefore.find(a_oKey(m_oAfter[i]));
            if (it != mBefore.end() && !it->second.empty()) {
                m_lPartners[i] = it->second.front();
                m_lTaken[it->second.front()] = true;
                it->second.pop_front();
            }
        }
    }
    /// Whether a row has another Id than its partner.
    bool hasMoved() const
    {
        for (std::size_t i = 0; i < m_oAfter.size(); ++i) {
            if (m_lPartners[i] && keyOf(m_oBefore[*m_lPartners[i]], "Id") != keyOf(m_oAfter[i], "Id")) {
                return true;
            }
        }
        return false;
    }
    const std::optional<std::size_t>& partner(std::size_t a_iAfter) const { return m_lPartners[a_iAfter]; }
    bool isTaken(std::size_t a_iBefore) const { return m_lTaken[a_iBefore]; }

private:
    const client::Rows& m_oBefore;
    const client::Rows& m_oAfter;
    std::vector<std::optional<std::size_t>> m_lPartners; // of the rows after
    std::vector<bool> m_lTaken;                          // rows before that are partners
};

Pairing pairRows(const client::Rows& a_oBefore, const client::Rows& a_oAfter, bool a_bIdIsPosition)
{
    Pairing oPairing(a_oBefore, a_oAfter);
    if (a_oBefore.columns() != a_oAfter.columns()) {
        return oPairing;
    }
    const auto byColumn = [](const char* a_pColumn) {
        return [=](const client::RowView& a_oRow) { return keyOf(a_oRow, a_pColumn); };
    };
    oPairing.pair(byColumn(a_bIdIsPosition ? "Name" : "Id"));
    if (a_bIdIsPosition && !a_oAfter.columns().hasName("Name") && !oPairing.hasMoved()) {
        oPairing.pair(byColumn("Id"));
    }
    if (a_oBefore.size() == 1 && a_oAfter.size() == 1 && a_bIdIsPosition) {
        oPairing.pair([](const client::RowView&) { return std::string(); });
    }
    return oPairing;
}

} // namespace

bool RowDiff::differs(const RowChange& a_oChange, std::size_t a_iColumn) const
{
    const std::string& sColumn = a_oChange.m_oAfter.m_lColumns[a_iColumn];
    const auto& lCounting = m_oIdentity.m_lColumns;
    return !sameCell(a_oChange.m_oBefore.m_lCells[a_iColumn], a_oChange.m_oAfter.m_lCells[a_iColumn]) &&
           !(m_oIdentity.m_bIdIsPosition && sColumn == "Id") &&
           (lCounting.empty() || std::ranges::any_of(lCounting, [&](const std::string& a_sName) {
                return sameIgnoringCase(a_sName, sColumn);
            }));
}

RowDiff diffRows(const client::Rows& a_oBefore, const client::Rows& a_oAfter, RowIdentity a_oIdentity)
{
    const Pairing oPairing = pairRows(a_oBefore, a_oAfter, a_oIdentity.m_bIdIsPosition);
    RowDiff oDiff{std::move(a_oIdentity)};
    for (std::size_t i = 0; i < a_oAfter.size(); ++i) {
        if (!oPairing.partner(i)) {
            oDiff.m_lAdded.push_back(a_oAfter[i]);
            continue;
        }
        const RowChange oChange{a_oBefore[*oPairing.partner(i)], a_oAfter[i]};
        bool bDiffers = false;
        for (std::size_t iColumn = 0; iColumn < a_oAfter.columns().size() && !bDiffers; ++iColumn) {
            bDiffers = oDiff.differs(oChange, iColumn);
        }
        if (bDiffers) {
            oDiff.m_lChanged.push_back(oChange);
        }
    }
    for (std::size_t i = 0; i < a_oBefore.size(); ++i) {
        if (!oPairing.isTaken(i)) {
            oDiff.m_lRemoved.push_back(a_oBefore[i]);
        }
    }
    return oDiff;
}

} // namespace systema::cli
