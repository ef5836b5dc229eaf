// One walk over the rows of a view: table 2 is read once from its first row on, and for each of its rows one
// is looked up in table 1.
//
// Made by TableViewPlugin; the dispatcher and the view must outlive it. Main thread only. Nothing is looked
// up before it is asked for, so that a caller may pass over rows of table 2 at little cost.
#pragma once

#include "plugins/tableview.h"
#include "systema/configdispatcher.h"

#include <memory>
#include <vector>

namespace zel {

class TableViewWalk
{
public:
    using Columns = std::vector<const TableViewColumns*>;

    /// Walks on behalf of the handle. Only these columns, the key and those of the join are read from the
    /// sources.
    TableViewWalk(systema::ConfigDispatcher& a_oSource, const void* a_pHandle, const TableView& a_oView,
                  Columns a_lColumns, const TableViewColumns* a_pKey = nullptr);

    const Columns& getColumns() const { return m_lColumns; }
    /// Begins before the first of at most that many rows of table 2; none of the tables is asked for 0 rows.
    /// 0, or why table 2 cannot be read.
    systema::EResultCode open(unsigned int a_iRows);
    /// True when one of the tables has changed since.
    bool isOvertaken() const;
    /// Goes to the next row of table 2. 0; 10 after the last one; 2 as isOvertaken; 1 for a failure.
    systema::EResultCode next();
    /// Looks the row's partner up. 0; 9 when the row lacks column 2; else the answer of table 1.
    systema::EResultCode join();
    /// The column's value, of table 1 only once joined; null when it was not read or the source row lacks it.
    const systema::Value* find(const TableViewColumns& a_oColumn) const;
    /// Appends the columns of the joined row. 0; 9 at the first that its source row lacks, which is logged.
    systema::EResultCode fillResult(systema::ValueList& a_oRow) const;

private:
    systema::NameList sourceColumns(int a_iIndex, const std::string& a_sTable,
                                    const std::string& a_sJoinColumn) const;
    unsigned long getVersions() const;

    systema::ConfigDispatcher& m_oSource;
    const void* const m_pHandle;
    const TableView& m_oView;
    const Columns m_lColumns;
    const TableViewColumns* const m_pKey; // read as well, null for none
    const int m_iModule;

    std::unique_ptr<systema::IRowCursor> m_pRows; // of table 2, null for none
    unsigned long m_iVersionsAtOpen = 0;
    systema::NameList m_lColumns1; // wanted of table 1
    systema::ValueList m_oRow1;
    systema::ValueList m_oRow2;
};

} // namespace zel
