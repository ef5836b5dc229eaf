// A bulk read of a view: one walk over table 2, and a lookup in table 1 for each of its rows.
//
// Made by TableViewPlugin, which must outlive it. Main thread only. It shows one state of both tables: once
// one of them has changed, a fetch gives 2.
#pragma once

#include "plugins/tableviewwalk.h"
#include "systema/rowsource.h"

#include <memory>

namespace zel {

class TableViewCursor : public systema::IRowCursor
{
public:
    /// Of the rows of an open walk that have a partner, those of at most a_iCount positions from a_iFirst on.
    TableViewCursor(std::unique_ptr<TableViewWalk> a_pWalk, unsigned int a_iFirst, unsigned int a_iCount);

    const systema::NameList& getColumns() const override { return m_lColumns; }
    /// Besides what it always may give: 9 at a row whose source lacks a column. It ends with 0 once its time
    /// is over, and may have handed over no row then.
    systema::EResultCode fetch(systema::IRowSink& a_oSink) override;

private:
    systema::EResultCode handOver(systema::IRowSink& a_oSink, bool& a_bRoom);

    const std::unique_ptr<TableViewWalk> m_pWalk;
    unsigned int m_iSkip; // rows before the first
    unsigned int m_iLeft; // rows still to be handed over, at most
    systema::NameList m_lColumns;
};

} // namespace zel
