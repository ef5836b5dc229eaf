// Joined views of two tables each, as the stored tables "ViewNames" and "ViewColumns" define them, and the
// table "RegisteredViews" of their names.
//
// Keeps the definitions, loaded once, and no rows: every read asks the sources through the dispatcher. Owned
// by main; the dispatcher must outlive it. Main thread only. Broken definitions are logged and served as far
// as they make sense; a column that is of neither table fails an assertion in each request that shows it. A
// view that is asked for by its own source, while it reads that, has no rows.
#pragma once

#include "configmanager/genericsubscriber.h"
#include "plugins/registeredviews.h"
#include "plugins/tableviewcursor.h"
#include "systema/tabledescription.h"

#include <chrono>
#include <memory>
#include <string>
#include <vector>

namespace zel {

class TableViewPlugin : public configmanager::serverlib::GenericConfigPlugin,
                        public systema::IRowSource,
                        public systema::IDescribedTables
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
    /// The first complete row of the view that shows the key, or what the source table finds with it. As
    /// selectRow, but 8 also when there is no such source table.
    systema::EResultCode selectKey(systema::ValueList& a_row, const void* a_handle,
                                   const std::string& a_table, const std::string& a_keyColumn,
                                   const std::string& a_keyValue,
                                   const systema::NameList& a_columns) override;
    systema::EResultCode openRows(std::unique_ptr<systema::IRowCursor>& a_cursor, const void* a_handle,
                                  const std::string& a_table, unsigned int a_first, unsigned int a_count,
                                  const systema::NameList& a_columns) override;
    /// Views, besides "RegisteredViews".
    systema::EResultCode describe(systema::TableDescription& a_oDescription,
                                  const std::string& a_table) override
    {
        if (a_table != RegisteredViews::c_pTable) {
            a_oDescription.m_eKind = systema::ETableKind::View;
        }
        return systema::EResultCode::Success;
    }
    /// Announces the views whose source tables changed.
    void tick(systema::NameList& a_changedTables) override;
    /// Loads the definitions; later calls do nothing. True.
    bool initialize() override;

private:
    using Clock = TableViewCursor::Clock;

    struct View
    {
        TableView m_oDefinition;
        int m_iId;               // in the definition
        bool m_bChanged = false; // to be announced
        TableViewQuestions m_oQuestions = {};
        Clock::time_point m_oNextLog = {}; // of a read that took too long
    };

    View* findTable(const std::string& a_sName);
    /// The views that use the table.
    auto findTableByRefTable(const std::string& a_sTable);

    std::vector<systema::ValueList> readDefinitions(const char* a_pTable, unsigned int a_iMost);
    void addView(const systema::ValueList& a_oDefinition);
    void addColumn(const systema::ValueList& a_oDefinition);
    void leaveOut(const std::string& a_sView, const char* a_pReason) const;
    void leaveOutViewsOfViews();
    void checkView(const TableView& a_oView) const;
    void subscribe(const systema::NameList& a_lTables);
    void markChanged(const systema::NameList& a_lTables);

    /// Makes a cursor of the columns, all for none, that is not opened yet. 0, 8, 9.
    systema::EResultCode makeCursor(std::unique_ptr<TableViewCursor>& a_pCursor, const std::string& a_sTable,
                                    const systema::NameList& a_lColumns);
    /// Logs it. 1.
    systema::EResultCode tookTooLong(const std::string& a_sView);

    systema::ConfigDispatcher& m_oDispatcher;
    const std::chrono::milliseconds m_oCeiling;
    const int m_iModule;
    configmanager::serverlib::GenericSubscriber m_oSubscriber;
    bool m_bLoaded = false;
    std::vector<View> m_lViews; // none comes or goes once loaded: cursors refer to them
    RegisteredViews m_oRegistered;
};

} // namespace zel
