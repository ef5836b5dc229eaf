#include "systema/rowsnapshot.h"

#include <cstring>
#include <utility>

namespace systema {

EResultCode RowSnapshot::take(std::unique_ptr<IRowCursor>& a_pCursor, IRowCursor& a_oRows)
{
    std::unique_ptr<RowSnapshot> pSnapshot(new RowSnapshot(a_oRows.getColumns()));
    EResultCode eResult;
    while (eResult == EResultCode::Success) {
        eResult = a_oRows.fetch(*pSnapshot);
    }
    if (eResult != EResultCode::NoRow) {
        return eResult;
    }
    a_pCursor = std::move(pSnapshot);
    return EResultCode::Success;
}

EResultCode RowSnapshot::fetch(IRowSink& a_oSink)
{
    for (bool bRoom = true; bRoom && m_iRowsLeft > 0; --m_iRowsLeft) {
        for (std::size_t i = 0; i < m_lColumns.size(); ++i) {
            moveCell(a_oSink);
        }
        bRoom = a_oSink.endRow();
    }
    return m_iRowsLeft > 0 ? EResultCode::Success : EResultCode::NoRow;
}

void RowSnapshot::addCell(unsigned a_iType, std::uint32_t a_iNumber)
{
    m_sCells += static_cast<char>(a_iType);
    m_sCells.append(reinterpret_cast<const char*>(&a_iNumber), sizeof a_iNumber);
}

void RowSnapshot::moveCell(IRowSink& a_oSink)
{
    const auto iType = static_cast<unsigned char>(m_sCells[m_iRead]);
    std::uint32_t iNumber = 0;
    std::memcpy(&iNumber, m_sCells.data() + m_iRead + 1, sizeof iNumber);
    m_iRead += 1 + sizeof iNumber;
    switch (iType) {
    case EDataType::Integer:
        return a_oSink.addInteger(static_cast<int>(iNumber));
    case EDataType::Unsigned:
        return a_oSink.addUnsigned(iNumber);
    case EDataType::Text:
        a_oSink.addText(std::string_view(m_sCells).substr(m_iRead, iNumber));
        m_iRead += iNumber;
        return;
    default:
        return a_oSink.addNull();
    }
}

} // namespace systema
