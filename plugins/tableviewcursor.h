// A read of the rows of a view: table 2 is read once from its first row on, and for each of its rows one is
// looked up in table 1.
//
// Made by TableViewPlugin, which must outlive it. Main thread only. As a bulk read it shows one state of both
// tables: once one of them has changed, a fetch gives 2.
#pragma once

#include "plugins/tableview.h"
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

class TableViewCursor : public systema::IRowCursor
{
public:
    using Clock = std::chrono::steady_clock;
    using Columns = std::vector<const TableViewColumns*>;

    /// Only these columns, the key and those of the join are read from the sources. Logs to the module.
    TableViewCursor(systema::ConfigDispatcher& a_oSource, const TableView& a_oView,
                    TableViewQuestions& a_oQuestions, Columns a_lColumns, int a_iModule);

    /// Before it is opened: only the rows that show the key count. 0; 9 when the view or the source lacks the
    /// column; else why the source cannot be searched.
    systema::EResultCode setKey(const std::string& a_sColumn, const std::string& a_sValue);
    /// Before it is opened again: takes what the source shows for the key instead, by 05 the 5 of an integer
    /// column. False when that is nothing else.
    bool translateKey();
    /// Begins before the first row; fetch hands over at most a_iCount rows from position a_iFirst on. As many
    /// rows of table 2 count as table 1 has.
    void open(unsigned int a_iFirst = 0, unsigned int a_iCount = systema::c_iAllRows);

    /// Goes to the next row of table 2 that has a partner. False when there is none, or none was found until
    /// a_oEnd.
    bool nextJoined(Clock::time_point a_oEnd);
    /// Why there was no next row: 0 when the time was over, 10 after the last one, pending when a table was,
    /// else why table 2 cannot be read.
    systema::EResultCode getEnd() const { return m_eEnd; }
    /// False when the joined row lacks a column: its source row does, which is logged.
    bool isComplete() const;
    /// Appends the columns of the joined row. 0; 9 when it is not complete.
    systema::EResultCode fillResult(systema::ValueList& a_oRow) const;

    const systema::NameList& getColumns() const override { return m_lNames; }
    systema::EResultCode fetch(systema::IRowSink& a_oSink) override;
    /// The same with an end of its own.
    systema::EResultCode fetch(systema::IRowSink& a_oSink, Clock::time_point a_oEnd);

private:
    template<typename Question>
    systema::EResultCode ask(Question a_oQuestion);
    unsigned long getVersion1() const { return m_oSource.getVersion(m_oView.getTable1()); }
    systema::NameList sourceColumns(int a_iIndex) const;
    bool join();
    bool mayShowKey(const systema::ValueList& a_oRow) const;
    const systema::ValueList& rowOf(const TableViewColumns& a_oColumn) const
    {
        return a_oColumn.isOfTable1() ? m_oRow1 : m_oRow2;
    }
    /// Null when the source row lacks the column.
    const systema::Value* find(const TableViewColumns& a_oColumn) const
    {
        return rowOf(a_oColumn).find(a_oColumn.m_sSourceColumn);
    }

    systema::ConfigDispatcher& m_oSource;
    const TableView& m_oView;
    TableViewQuestions& m_oQuestions;
    const Columns m_lColumns;
    const int m_iModule;
    systema::NameList m_lNames; // of the columns

    const TableViewColumns* m_pKey = nullptr; // null for none
    std::string m_sKey;                       // what its column shows

    unsigned int m_iSkip = 0; // rows before the first to hand over
    unsigned int m_iLeft = 0; // rows still to be handed over, at most
    unsigned long m_iVersion1AtOpen = 0;
    systema::NameList m_lColumns1;                // read from table 1
    std::unique_ptr<systema::IRowCursor> m_pRows; // of table 2, null for none
    systema::EResultCode m_eEnd = systema::EResultCode::NoRow;
    systema::ValueList m_oRow1;
    systema::ValueList m_oRow2;
};

} // namespace zel
