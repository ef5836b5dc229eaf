#include "plugins/tableview.h"

#include "zel/assert.h"

#include <algorithm>
#include <utility>

namespace zel {

bool TableViewColumns::isOfTable1() const
{
    switch (m_iIndex) {
    case 1:
        return true;
    case 2:
        return false;
    default:
        error::fail("illegalDefault()", here());
    }
}

TableView::TableView(std::string a_sName, std::string a_sTable1, std::string a_sColumn1,
                     std::string a_sTable2, std::string a_sColumn2)
    : m_sName(std::move(a_sName)),
      m_sTable1(std::move(a_sTable1)),
      m_sColumn1(std::move(a_sColumn1)),
      m_sTable2(std::move(a_sTable2)),
      m_sColumn2(std::move(a_sColumn2))
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
