#include "client/rows.h"

#include <algorithm>

namespace systema::client {

const wire::Cell* RowView::find(std::string_view a_sColumn) const
{
    const auto it = std::ranges::find(m_lColumns, a_sColumn);
    return it == m_lColumns.end() ? nullptr : &m_lCells[static_cast<std::size_t>(it - m_lColumns.begin())];
}

std::optional<std::size_t> BodyHead::read(wire::Reader& a_oReader, NameList& a_lColumns,
                                          std::size_t a_iBodySize)
{
    NameList lColumns = a_oReader.names();
    if (!std::exchange(m_bColumnsRead, true)) {
        a_lColumns = std::move(lColumns);
    } else if (!lColumns.empty()) {
        return {};
    }
    const std::size_t iRows = a_oReader.u32();
    const std::size_t iMost =
        a_lColumns.empty() ? wire::c_iFrameLimit : a_iBodySize / a_lColumns.size(); // a cell takes a byte
    return a_oReader.ok() && iRows <= iMost ? std::optional(iRows) : std::nullopt;
}

bool RowParser::parse(std::string_view a_sBody, const RowHandler& a_oHandler)
{
    wire::Reader oReader(a_sBody);
    const auto iRows = m_oHead.read(oReader, m_lColumns, a_sBody.size());
    if (!iRows) {
        return false;
    }
    m_lCells.resize(m_lColumns.size());
    for (std::size_t i = 0; i < *iRows; ++i) {
        for (wire::Cell& oCell : m_lCells) {
            oCell = oReader.cell();
        }
        if (!oReader.ok()) {
            return false;
        }
        a_oHandler({m_lColumns, m_lCells});
    }
    return oReader.complete();
}

Rows::Rows(const ValueList& a_lRow)
{
    std::vector<Value> lCells;
    for (const auto& [sName, oValue] : a_lRow) {
        m_lColumns.add(sName);
        lCells.push_back(oValue);
    }
    add(lCells);
}

void Rows::add(const std::vector<Value>& a_lCells)
{
    std::string& sBytes = m_lBytes.emplace_back();
    wire::Writer oWriter(sBytes);
    for (const Value& oValue : a_lCells) {
        oWriter.value(oValue);
    }
    wire::Reader oReader(sBytes);
    addRows(oReader, 1);
}

bool Rows::addBody(std::string_view a_sBody)
{
    const std::string& sBytes = m_lBytes.emplace_back(a_sBody);
    wire::Reader oReader(sBytes);
    const auto iRows = m_oHead.read(oReader, m_lColumns, sBytes.size());
    if (!iRows) {
        return false;
    }
    addRows(oReader, *iRows);
    return oReader.complete();
}

void Rows::addRows(wire::Reader& a_oReader, std::size_t a_iRows)
{
    m_iRows += a_iRows;
    for (std::size_t iCells = a_iRows * m_lColumns.size(); iCells > 0 && a_oReader.ok(); --iCells) {
        m_lCells.push_back(a_oReader.cell());
    }
}

} // namespace systema::client
