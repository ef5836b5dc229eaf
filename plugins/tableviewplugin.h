// Joined views of two tables each, as the stored tables "ViewNames" and "ViewColumns" define them, and the
// table "RegisteredViews" of their names.
//
// Keeps the definitions, loaded once, and no rows: every read asks the sources through the dispatcher. Owned
// by main; the dispatcher must outlive it. Main thread only. Broken definitions are logged and served as far
// as they make sense; a column that is of neither table fails an assertion in each request that shows it. A
// view that is asked for by its own source, while it reads that, has no rows.
#pragma once

#include "configmanager/genericconfigplugin.h"
#include "configmanager/genericsubscriber.h"
#include "plugins/tableview.h"
#include "plugins/tableviewwalk.h"
#include "systema/configdispatcher.h"
#include "systema/rowsource.h"

#include <chrono>
#include <memory>
#include <string>
#include <vector>

namespace zel {

class TableViewPlugin : public configmanager::serverlib::GenericConfigPlugin, public systema::IRowSource
{
public:
    // What is read of the definition tables at most, in rows.
    static constexpr unsigned int c_iMostViews = 256;
    static constexpr unsigned int c_iMostColumns = 1024;
    // Size, position and key are answered in one go, which nothing must hold up for longer.
    static constexpr std::chrono::milliseconds c_oCeiling{2000};

    TableViewPlugin(systema::ConfigDispatcher& a_oDispatcher, bool a_bVerbose,
                    std::chrono::milliseconds a_oCeiling = c_oCeiling);

    /// "RegisteredViews", then the views in the order of their definition.
    void getTables(systema::NameList& a_tables, const void* a_handle) override;
    systema::EResultCode getSchema(systema::ColumnList& a_columns, const void* a_handle,
                                   const std::string& a_table) override;
    /// 0 with the rows up to one that cannot be read; 8; 1 when it takes too long. The size of
    /// "RegisteredViews" is 0 whatever it holds.
    systema::EResultCode getSize(unsigned int& a_size, const void* a_handle,
                                 const std::string& a_table) override;
    /// 0; 8; 9 also when a source table lacks a column; 10; 1 when it takes too long; else why table 2 cannot
    /// be read.
    systema::EResultCode selectRow(systema::ValueList& a_row, const void* a_handle,
                                   const std::string& a_table, unsigned int a_index,
                                   const systema::NameList& a_columns) override;
    /// The first row of the view that shows the key, or what the source table finds with it. As selectRow,
    /// but 8 also when there is no such source table.
    systema::EResultCode selectKey(systema::ValueList& a_row, const void* a_handle,
                                   const std::string& a_table, const std::string& a_keyColumn,
                                   const std::string& a_keyValue,
                                   const systema::NameList& a_columns) override;
    /// 0; 8; 9 for a column that the view lacks; else why table 2 cannot be read. A fetch ends with 9 at a
    /// row whose source lacks a column; it may hand over no row when its time is over.
    systema::EResultCode openRows(std::unique_ptr<systema::IRowCursor>& a_cursor, const void* a_handle,
                                  const std::string& a_table, unsigned int a_first, unsigned int a_count,
                                  const systema::NameList& a_columns) override;
    /// Announces the views whose source tables changed.
    void tick(systema::NameList& a_changedTables) override;
    /// Loads the definitions; later calls do nothing. True.
    bool initialize() override;

private:
    struct View
    {
        TableView m_oView;
        int m_iId;               // in the definition
        bool m_bChanged = false; // to be announced
        TableViewReads m_oReads = {};
    };
    using Views = std::vector<View>; // none comes or goes once loaded: cursors refer to them

    View* findTable(const std::string& a_sName);
    /// The same for whoever asks for the view; null for another view.
    View* findView(const void* a_handle, const std::string& a_sName);
    /// The first view from there on that uses the table.
    Views::iterator findTableByRefTable(const std::string& a_sTable, Views::iterator a_itFrom);

    template<typename Take>
    void readDefinitions(const char* a_pTable, unsigned int a_iMost, Take a_oTake);
    void addView(const systema::ValueList& a_oDefinition);
    void addColumn(const systema::ValueList& a_oDefinition);
    void checkView(const TableView& a_oView);
    void subscribe(const systema::NameList& a_lTables);
    void markChanged(const systema::NameList& a_lTables);

    systema::EResultCode openNames(std::unique_ptr<systema::IRowCursor>& a_cursor, unsigned int a_iFirst,
                                   unsigned int a_iCount, const systema::NameList& a_lColumns) const;
    /// A walk of the columns, all for none, that is not opened yet. 0, 8, 9.
    systema::EResultCode makeWalk(std::unique_ptr<TableViewWalk>& a_pWalk, const void* a_handle,
                                  const std::string& a_sTable, const systema::NameList& a_lColumns);
    TableViewWalk::Clock::time_point getEnd() const { return TableViewWalk::Clock::now() + m_oCeiling; }

    systema::ConfigDispatcher& m_oDispatcher;
    const std::chrono::milliseconds m_oCeiling;
    const int m_iModule;
    configmanager::serverlib::GenericSubscriber m_oSubscriber;
    bool m_bLoaded = false;
    Views m_lViews;
};

} // namespace zel
