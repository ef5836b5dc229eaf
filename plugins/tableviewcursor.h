// A read of the rows of a view: table 2 is read once from its first row on, and for each of its rows the
// partner in table 1 is found: by key for the first ones, then among the rows of table 1, which is read once.
//
// Made by TableViewPlugin, which must outlive it. Main thread only. As a bulk read it shows one state of both
// tables: once one of them has changed, a fetch gives 2.
#pragma once

#include "plugins/cellrows.h"
#include "plugins/tableview.h"
#include "plugins/tableviewpartners.h"
#include "systema/configdispatcher.h"

#include <chrono>
#include <memory>
#include <string>
#include <vector>

namespace zel {

/// Ends the recursion when a source of a view reads the view to answer: the view is empty for it.
class TableViewRecursion
{
public:
    bool isQuerying() const { return m_bQuerying; }

    /// Runs a query of a source and returns its code; 10 without running it while another query of the view
    /// is under way.
    template<typename Query>
    systema::EResultCode query(Query a_oQuery)
    {
        if (m_bQuerying) {
            return systema::EResultCode::NoRow;
        }
        struct Querying
        {
            bool& m_bQuerying;
            ~Querying() { m_bQuerying = false; }
        };
        const Querying oQuerying{m_bQuerying = true};
        return a_oQuery();
    }

private:
    bool m_bQuerying = false;
};

/// The state that all reads of one view share.
struct TableViewSource
{
    TableView m_oDefinition;
    // The tables, none of them a view, of which table 1 and table 2 are made in the end. Their versions tell
    // whether the view may have changed.
    systema::NameList m_lBases1 = {};
    systema::NameList m_lBases2 = {};
    bool m_bTable1IsView = false;
    bool m_bJoinable = true; // false: a column of the join is known to be missing
    TableViewRecursion m_oRecursion = {};
};

class TableViewCursor : public systema::IRowCursor
{
public:
    using Clock = std::chrono::steady_clock;
    using Columns = std::vector<const TableViewColumns*>;

    /// This many partners are looked up by key before table 1 is read as a whole.
    static constexpr unsigned int c_iMostLookUps = 8;

    /// Reads from the sources only these columns, the key and the columns of the join. Logs to the module.
    /// The budget, in bytes, is what all reads together may still keep of table 1.
    TableViewCursor(systema::ConfigDispatcher& a_oDispatcher, TableViewSource& a_oView, Columns a_lColumns,
                    std::size_t& a_iBudget, int a_iModule);

    /// Limits the read to the rows that show the key. Call it before open. 0; 9 when the view or the source
    /// lacks the column; else the code with which the source refuses its schema.
    systema::EResultCode setKey(const std::string& a_sColumn, const std::string& a_sValue);
    /// Replaces the key by the text that the source shows for it: 05 finds the 5 of an integer column. Call
    /// it before the cursor is opened again. False when the source finds no row or shows the same text.
    bool translateKey();
    /// Goes before the first row. At most as many rows of table 2 count as table 1 has. 0; else the code with
    /// which a table that exists refuses its size: then the view has no rows.
    systema::EResultCode open();
    /// Makes fetch skip a_iSkip of the rows that follow and hand over at most a_iCount rows after them.
    void setRange(unsigned int a_iSkip, unsigned int a_iCount);

    /// Goes to the next row of table 2 that has a partner. False when there is none, or when a_oEnd comes
    /// first.
    bool nextJoined(Clock::time_point a_oEnd);
    /// Why there was no next row: 0 when the time was over, 10 after the last row, Pending when a source was
    /// pending, else the code with which table 2 refuses to be read.
    systema::EResultCode getEnd() const { return m_eEnd; }
    /// False when the joined row lacks a column because its source row does. Logs that once in a read.
    bool isComplete();
    /// Appends the columns of the joined row. 0; 9 when it is not complete.
    systema::EResultCode fillResult(systema::ValueList& a_lRow);
    /// A number that differs after every change of one of the tables.
    static unsigned long getVersion(const systema::ConfigDispatcher& a_oDispatcher,
                                    const systema::NameList& a_lTables);
    /// False when a table of the view has changed since the cursor was opened.
    bool isCurrent() const;

    const systema::NameList& getColumns() const override { return m_lNames; }
    systema::EResultCode fetch(systema::IRowSink& a_oSink) override;
    /// As fetch, but until a_oEnd instead of for c_oFetchTime.
    systema::EResultCode fetch(systema::IRowSink& a_oSink, Clock::time_point a_oEnd);

private:
    struct Shown
    {
        const TableViewColumns* m_pColumn;
        std::size_t m_iCell; // of the row of its table
    };

    const TableView& view() const { return m_oView.m_oDefinition; }
    template<typename Query>
    systema::EResultCode query(Query a_oQuery);
    systema::EResultCode countRows(unsigned int& a_iRows);
    void prepareRows();
    unsigned long getVersion(const systema::NameList& a_lBases) const
    {
        return getVersion(m_oDispatcher, a_lBases);
    }
    systema::NameList wantedColumns(int a_iIndex) const;
    systema::NameList askedColumns(const std::string& a_sTable, const systema::NameList& a_lWanted);
    std::size_t cellOf(const TableViewColumns& a_oColumn) const;
    bool mustReadTable1() const;
    void readTable1();
    bool join();
    void lookUp(std::string_view a_sKey);
    std::string keyFor(const std::string& a_sTable, std::string_view a_sText) const;
    bool mayShowKey(int a_iIndex) const;
    const CellRows::Cell& find(const Shown& a_oShown) const
    {
        return (a_oShown.m_pColumn->isOfTable1() ? m_oRow1 : m_oRow2)[a_oShown.m_iCell];
    }

    systema::ConfigDispatcher& m_oDispatcher;
    TableViewSource& m_oView;
    const Columns m_lColumns;
    std::size_t& m_iBudget;
    const int m_iModule;
    systema::NameList m_lNames; // of the columns
    bool m_bLacksLogged = false;

    const TableViewColumns* m_pKey = nullptr; // null for none
    std::string m_sKey;                       // the text that this column has to show

    unsigned int m_iSkip = 0;      // rows before the first to hand over
    unsigned int m_iLeft = 0;      // rows still to be handed over, at most
    unsigned long m_iVersion1 = 0; // of the tables, at the opening
    unsigned long m_iVersion2 = 0;
    systema::EResultCode m_eEnd = systema::EResultCode::NoRow;

    // Set by open.
    systema::NameList m_lWanted1; // the column of the join first
    systema::NameList m_lWanted2;
    systema::NameList m_lAsked1; // columns to ask table 1 for; an empty list asks for all
    std::vector<Shown> m_lShown;
    std::size_t m_iKeyCell = 0;
    std::unique_ptr<systema::IRowCursor> m_pRows1;
    std::unique_ptr<systema::IRowCursor> m_pRows2;
    std::unique_ptr<TableViewPartners> m_pPartners;
    std::unique_ptr<CellRows> m_pFound;  // the partner that was looked up last
    std::unique_ptr<CellRows> m_pWalked; // the row of table 2
    CellRows::Row m_oRow1;
    CellRows::Row m_oRow2;
    unsigned int m_iLookUps = 0;
    bool m_bKeyed = false;      // table 1 accepts the column as a key
    bool m_bTable1Read = false; // to the end, or as far as possible
};

} // namespace zel
