// The definition of a joined view: the rows of one table, each with its partner in another, and which columns
// of the two are shown under which names.
//
// A plain value, made by TableViewPlugin from the definition tables as they are: nothing in it need exist.
#pragma once

#include "systema/lists.h"

#include <string>
#include <string_view>
#include <vector>

namespace zel {

/// One column of a view.
struct TableViewColumns
{
    std::string m_sName;         // in the view
    int m_iIndex;                // of its source table, 1 or 2; what else is defined cannot be served
    std::string m_sSourceColumn; // in that table

    /// False for table 2; another index is a failed assertion.
    bool isOfTable1() const;
};

class TableView
{
public:
    /// Of a row of "ViewNames". Table 2 is walked; the value of its column 2 is looked up in column 1 of
    /// table 1.
    explicit TableView(const systema::ValueList& a_lDefinition);

    const std::string& getName() const { return m_sName; }
    const std::string& getTable1() const { return m_sTable1; }
    const std::string& getColumn1() const { return m_sColumn1; }
    const std::string& getTable2() const { return m_sTable2; }
    const std::string& getColumn2() const { return m_sColumn2; }
    /// The source table of the column; an index that is neither 1 nor 2 is a failed assertion.
    const std::string& getTable(const TableViewColumns& a_oColumn) const
    {
        return a_oColumn.isOfTable1() ? m_sTable1 : m_sTable2;
    }

    void addColumn(std::string a_sName, int a_iIndex, std::string a_sSourceColumn);
    /// The first column of the name, null when there is none; lives until a column is added.
    const TableViewColumns* getColumn(std::string_view a_sName) const;
    bool empty() const { return m_lColumns.empty(); }
    auto begin() const { return m_lColumns.begin(); }
    auto end() const { return m_lColumns.end(); }

private:
    std::string m_sName;
    std::string m_sTable1;
    std::string m_sColumn1;
    std::string m_sTable2;
    std::string m_sColumn2;
    std::vector<TableViewColumns> m_lColumns;
};

} // namespace zel
