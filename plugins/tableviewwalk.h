// One walk over the rows of a view: table 2 is read once from its first row on, and for each of its rows one
// is looked up in table 1.
//
// Made by TableViewPlugin; the dispatcher, the view and its reads must outlive it. Main thread only. Nothing
// is looked up before it is asked for, so that a caller may pass over rows of table 2 at little cost.
#pragma once

#include "plugins/tableview.h"
#include "systema/configdispatcher.h"

#include <chrono>
#include <memory>
#include <vector>

namespace zel {

/// All reads of one view, from one request to the next.
struct TableViewReads
{
    /// Asks a source. It may ask for the view in turn, which is empty then: 10, and no question.
    template<typename Question>
    systema::EResultCode ask(Question a_oQuestion)
    {
        if (m_bAsking) {
            return systema::EResultCode::NoRow;
        }
        struct Asking
        {
            bool& m_bAsking;
            ~Asking() { m_bAsking = false; }
        };
        const Asking oAsking{m_bAsking = true};
        return a_oQuestion();
    }

    bool m_bAsking = false;
    std::chrono::steady_clock::time_point m_oNextLog{}; // of a walk that took too long
};

class TableViewWalk
{
public:
    using Clock = std::chrono::steady_clock;
    using Columns = std::vector<const TableViewColumns*>;

    /// Walks on behalf of the handle. Only these columns, the key and those of the join are read from the
    /// sources.
    TableViewWalk(systema::ConfigDispatcher& a_oSource, const void* a_pHandle, const TableView& a_oView,
                  TableViewReads& a_oReads, Columns a_lColumns);

    const Columns& getColumns() const { return m_lColumns; }
    /// Before it is opened: only rows count that show the value, or what its source table finds with it. 0; 9
    /// when the view lacks the column.
    systema::EResultCode setKey(const std::string& a_sColumn, const std::string& a_sValue);
    /// Begins before the first row of table 2, of which as many count as table 1 has rows. 0, or why table 2
    /// cannot be read; next gives no row then.
    systema::EResultCode open(Clock::time_point a_oEnd = Clock::time_point::max());
    /// True when one of the tables has changed since.
    bool isOvertaken() const;
    /// True when next gave 1 since the end had come.
    bool isLate() const { return m_bLate; }
    /// Goes to the next row of table 2. 0; 2 as isOvertaken; 1 for a failure, or since the end has come,
    /// which is logged; after the last row 10, or 8 or 9 when the source lacks the table or column of the
    /// key.
    systema::EResultCode next();
    /// Looks the row's partner up. 0; 9 when the row lacks column 2; 10 when they lack the key; else the
    /// answer of table 1.
    systema::EResultCode join();
    /// Appends the columns of the joined row. 0; 9 at the first that its source row lacks, which is logged.
    systema::EResultCode fillResult(systema::ValueList& a_oRow) const;

private:
    unsigned int sourceSize(const std::string& a_sTable) const;
    systema::NameList sourceColumns(int a_iIndex, const std::string& a_sTable,
                                    const std::string& a_sJoinColumn) const;
    unsigned long getVersions() const;
    /// The column's value, of table 1 only once joined; null when the source row lacks it.
    const systema::Value* find(const TableViewColumns& a_oColumn) const;
    bool hasKey() const;

    systema::ConfigDispatcher& m_oSource;
    const void* const m_pHandle;
    const TableView& m_oView;
    TableViewReads& m_oReads;
    const Columns m_lColumns;
    const int m_iModule;

    const TableViewColumns* m_pKey = nullptr; // read as well, null for none
    systema::NameList m_lKeys;                // its values
    systema::EResultCode m_eAfterLast = systema::EResultCode::NoRow;
    Clock::time_point m_oEnd;
    bool m_bLate = false;
    std::unique_ptr<systema::IRowCursor> m_pRows; // of table 2, null for none
    unsigned long m_iVersionsAtOpen = 0;
    systema::NameList m_lColumns1; // wanted of table 1
    systema::ValueList m_oRow1;
    systema::ValueList m_oRow2;
};

} // namespace zel
