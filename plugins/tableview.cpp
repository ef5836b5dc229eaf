#include "plugins/tableview.h"

#include "zel/assert.h"

#include <algorithm>
#include <utility>

namespace zel {

bool TableViewColumns::isOfTable1() const
{
    error::Assert(m_iIndex == 1 || m_iIndex == 2, "illegalDefault()");
    return m_iIndex == 1;
}

TableView::TableView(const systema::ValueList& a_lDefinition)
    : m_sName(a_lDefinition.toText("Name")),
      m_sTable1(a_lDefinition.toText("Table1")),
      m_sColumn1(a_lDefinition.toText("Col1")),
      m_sTable2(a_lDefinition.toText("Table2")),
      m_sColumn2(a_lDefinition.toText("Col2"))
{
}

void TableView::addColumn(std::string a_sName, int a_iIndex, std::string a_sSourceColumn)
{
    m_lColumns.push_back({std::move(a_sName), a_iIndex, std::move(a_sSourceColumn)});
}

const TableViewColumns* TableView::getColumn(std::string_view a_sName) const
{
    const auto it = std::ranges::find(m_lColumns, a_sName, &TableViewColumns::m_sName);
    return it == m_lColumns.end() ? nullptr : &*it;
}

} // namespace zel
