#include "cli/rowdiff.h"

#include "cli/cell.h"

#include <algorithm>
#include <deque>
#include <string>
#include <unordered_map>

namespace systema::cli {

namespace {

/// The Id of a row, or the whole row when it has none.
std::string keyOf(const client::RowView& a_oRow)
{
    if (const wire::Cell* pId = a_oRow.find("Id")) {
        return cellText(*pId);
    }
    std::string sKey;
    wire::Writer oWriter(sKey);
    for (const wire::Cell& oCell : a_oRow.m_lCells) {
        oWriter.value(oCell.toValue());
    }
    return sKey;
}

} // namespace

RowDiff diffRows(const client::Rows& a_oBefore, const client::Rows& a_oAfter)
{
    std::unordered_map<std::string, std::deque<std::size_t>>
        mBefore; // rows of one key find each other in order
    if (a_oBefore.columns() == a_oAfter.columns()) {
        for (std::size_t i = 0; i < a_oBefore.size(); ++i) {
            mBefore[keyOf(a_oBefore[i])].push_back(i);
        }
    }
    RowDiff oDiff;
    std::vector<bool> lKept(a_oBefore.size());
    for (std::size_t i = 0; i < a_oAfter.size(); ++i) {
        const client::RowView oAfter = a_oAfter[i];
        auto& lBefore = mBefore[keyOf(oAfter)];
        if (lBefore.empty()) {
            oDiff.m_lAdded.push_back(oAfter);
            continue;
        }
        lKept[lBefore.front()] = true;
        const client::RowView oBefore = a_oBefore[lBefore.front()];
        lBefore.pop_front();
        if (!std::ranges::equal(oBefore.m_lCells, oAfter.m_lCells, sameCell)) {
            oDiff.m_lChanged.push_back({oBefore, oAfter});
        }
    }
    for (std::size_t i = 0; i < a_oBefore.size(); ++i) {
        if (!lKept[i]) {
            oDiff.m_lRemoved.push_back(a_oBefore[i]);
        }
    }
    return oDiff;
}

} // namespace systema::cli
