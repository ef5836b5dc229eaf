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

/// What one view asks its sources. They may ask for the view in turn, which is empty then.
class TableViewQuestions
{
public:
    bool isAsking() const { return m_bAsking; }

    /// The answer; 10, and no question, while another is not answered yet.
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

private:
    bool m_bAsking = false;
};

/// What all reads of one view have in common.
struct TableViewSource
{
    TableView m_oDefinition;
    // The tables that the two consist of when views are put together again: what changes.
    systema::NameList m_lBases1 = {};
    systema::NameList m_lBases2 = {};
    bool m_bTable1IsView = false;
    bool m_bJoinable = true; // false: a column of the join is known to be missing
    TableViewQuestions m_oQuestions = {};
};

class TableViewCursor : public systema::IRowCursor
{
public:
    using Clock = std::chrono::steady_clock;
    using Columns = std::vector<const TableViewColumns*>;

    /// So many partners are looked up by key before table 1 is read.
    static constexpr unsigned int c_iMostLookUps = 8;

    /// Only these columns, the key and those of the join are read from the sources. Logs to the module. The
    /// budget is that of the partners of all reads.
    TableViewCursor(systema::ConfigDispatcher& a_oDispatcher, TableViewSource& a_oView, Columns a_lColumns,
                    std::size_t& a_iBudget, int a_iModule);

    /// Before it is opened: only the rows that show the key count. 0; 9 when the view or the source lacks the
    /// column; else why the source cannot be searched.
    systema::EResultCode setKey(const std::string& a_sColumn, const std::string& a_sValue);
    /// Before it is opened again: takes what the source shows for the key instead, by 05 the 5 of an integer
    /// column. False when that is nothing else.
    bool translateKey();
    /// Begins before the first row. As many rows of table 2 count as table 1 has. 0; else why the rows of a
    /// table that is there cannot be counted, which leaves the view without rows.
    systema::EResultCode open();
    /// Has fetch leave out so many of the rows that follow, and hand over at most so many after these.
    void setRange(unsigned int a_iSkip, unsigned int a_iCount);

    /// Goes to the next row of table 2 that has a partner. False when there is none, or none was found until
    /// a_oEnd.
    bool nextJoined(Clock::time_point a_oEnd);
    /// Why there was no next row: 0 when the time was over, 10 after the last one, pending when a table was,
    /// else why table 2 cannot be read.
    systema::EResultCode getEnd() const { return m_eEnd; }
    /// False when the joined row lacks a column: its source row does, which is logged once in a read.
    bool isComplete();
    /// Appends the columns of the joined row. 0; 9 when it is not complete.
    systema::EResultCode fillResult(systema::ValueList& a_oRow);
    /// A number that moves with every change of one of the tables.
    static unsigned long getVersion(const systema::ConfigDispatcher& a_oDispatcher,
                                    const systema::NameList& a_lTables);
    /// False once one of the tables has changed since it was opened.
    bool isCurrent() const;

    const systema::NameList& getColumns() const override { return m_lNames; }
    systema::EResultCode fetch(systema::IRowSink& a_oSink) override;
    /// The same with an end of its own.
    systema::EResultCode fetch(systema::IRowSink& a_oSink, Clock::time_point a_oEnd);

private:
    struct Shown
    {
        const TableViewColumns* m_pColumn;
        std::size_t m_iCell; // of the row of its table
    };

    const TableView& view() const { return m_oView.m_oDefinition; }
    template<typename Question>
    systema::EResultCode ask(Question a_oQuestion);
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
    std::string m_sKey;                       // what its column shows

    unsigned int m_iSkip = 0;      // rows before the first to hand over
    unsigned int m_iLeft = 0;      // rows still to be handed over, at most
    unsigned long m_iVersion1 = 0; // of the tables, at the opening
    unsigned long m_iVersion2 = 0;
    systema::EResultCode m_eEnd = systema::EResultCode::NoRow;

    // Made when it is opened.
    systema::NameList m_lWanted1; // the column of the join first
    systema::NameList m_lWanted2;
    systema::NameList m_lAsked1; // of the source; all for none
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
    bool m_bKeyed = false;      // a look-up has given an answer
    bool m_bTable1Read = false; // or it cannot be
};

} // namespace zel
