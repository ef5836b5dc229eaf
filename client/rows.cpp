#include "client/rows.h"

#include <algorithm>
#include <optional>

namespace systema::client {

namespace {

/// Reads what stands in front of the cells: the columns, in the first body only, and the number of rows.
std::optional<std::size_t> readRowCount(wire::Reader& a_oReader, NameList& a_lColumns,
                                        std::size_t a_iBodySize)
{
    NameList lColumns = a_oReader.names();
    if (a_lColumns.empty()) {
        a_lColumns = std::move(lColumns);
    } else if (!lColumns.empty()) {
        return {};
    }
    const std::size_t iRows = a_oReader.u32();
    const bool bPossible = iRows == 0 || (!a_lColumns.empty() && iRows <= a_iBodySize / a_lColumns.size());
    return a_oReader.ok() && bPossible ? std::optional(iRows) : std::nullopt;
}

} // namespace

const wire::Cell* RowView::find(std::string_view a_sColumn) const
{
    const auto it = std::ranges::find(m_lColumns, a_sColumn);
    return it == m_lColumns.end() ? nullptr : &m_lCells[static_cast<std::size_t>(it - m_lColumns.begin())];
}

bool RowParser::parse(std::string_view a_sBody, const RowHandler& a_oHandler)
{
    wire::Reader oReader(a_sBody);
    const auto iRows = readRowCount(oReader, m_lColumns, a_sBody.size());
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
    addCells(oReader, a_lCells.size());
}

bool Rows::addBody(std::string_view a_sBody)
{
    const std::string& sBytes = m_lBytes.emplace_back(a_sBody);
    wire::Reader oReader(sBytes);
    const auto iRows = readRowCount(oReader, m_lColumns, sBytes.size());
    if (!iRows) {
        return false;
    }
    addCells(oReader, *iRows * m_lColumns.size());
    return oReader.complete();
}

void Rows::addCells(wire::Reader& a_oReader, std::size_t a_iCount)
{
    for (; a_iCount > 0 && a_oReader.ok(); --a_iCount) {
        m_lCells.push_back(a_oReader.cell());
    }
}

} // namespace systema::client
