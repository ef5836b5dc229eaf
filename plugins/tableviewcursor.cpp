#include "plugins/tableviewcursor.h"

#include <chrono>
#include <utility>

namespace zel {

using systema::EResultCode;

TableViewCursor::TableViewCursor(std::unique_ptr<TableViewWalk> a_pWalk, unsigned int a_iFirst,
                                 unsigned int a_iCount)
    : m_pWalk(std::move(a_pWalk)),
      m_iSkip(a_iFirst),
      m_iLeft(m_pWalk->getColumns().empty() ? 0 : a_iCount) // rows without cells cannot be sent
{
    for (const auto* pColumn : m_pWalk->getColumns()) {
        m_lColumns.add(pColumn->m_sName);
    }
}

EResultCode TableViewCursor::fetch(systema::IRowSink& a_oSink)
{
    if (m_pWalk->isOvertaken()) {
        return EResultCode::Busy;
    }
    const auto oEnd = std::chrono::steady_clock::now() + systema::c_oFetchTime;
    bool bRoom = true;
    while (bRoom && m_iLeft > 0) {
        EResultCode eResult = m_pWalk->next();
        if (eResult == EResultCode::Success && m_pWalk->join() == EResultCode::Success) {
            if (m_iSkip > 0) {
                --m_iSkip;
            } else {
                eResult = handOver(a_oSink, bRoom);
            }
        }
        if (eResult != EResultCode::Success) {
            return eResult;
        }
        bRoom = bRoom && std::chrono::steady_clock::now() < oEnd;
    }
    return m_iLeft > 0 ? EResultCode::Success : EResultCode::NoRow;
}

EResultCode TableViewCursor::handOver(systema::IRowSink& a_oSink, bool& a_bRoom)
{
    --m_iLeft;
    systema::ValueList oRow;
    const EResultCode eResult = m_pWalk->fillResult(oRow);
    if (eResult == EResultCode::Success) {
        for (const auto& [sName, oValue] : oRow) {
            a_oSink.addValue(oValue);
        }
        a_bRoom = a_oSink.endRow();
    }
    return eResult;
}

} // namespace zel
