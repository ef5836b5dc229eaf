// Joined views of two tables each, as the stored tables "ViewNames" and "ViewColumns" define them, and the
// table "RegisteredViews" of their names.
//
// Keeps the definitions, loaded once, and no rows but those of the last reads by position, for as long as
// nothing changes: every other read asks the sources through the dispatcher. Owned by main; the dispatcher
// must outlive it. Main thread only. Broken definitions are logged and served as far as they make sense; a
// column that is of neither table fails an assertion in each request that shows it. A view that is asked for
// by its own source, while it reads that, has no rows.
#pragma once

#include "configmanager/genericsubscriber.h"
#include "plugins/registeredviews.h"
#include "plugins/tableviewcursor.h"
#include "systema/tabledescription.h"

#include <chrono>
#include <memory>
#include <optional>
#include <string>
#include <unordered_map>
#include <vector>

namespace zel {

class TableViewPlugin : public configmanager::serverlib::GenericConfigPlugin,
                        public systema::IRowSource,
                        public systema::IDescribedTables
{
public:
    // Size, position and key are answered in one go, which nothing must hold up for longer.
    static constexpr std::chrono::milliseconds c_oCeiling{2000};
    // What the rows of table 1 may take in all reads together, in bytes.
    static constexpr std::size_t c_iPartnerBytes = 8 * 1024 * 1024;

    TableViewPlugin(systema::ConfigDispatcher& a_oDispatcher, bool a_bVerbose,
                    std::chrono::milliseconds a_oCeiling = c_oCeiling,
                    std::size_t a_iPartnerBytes = c_iPartnerBytes);

    void close(const void* a_handle) override;
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
    /// Announces the views whose source tables changed, or have appeared.
    void tick(systema::NameList& a_changedTables) override;
    /// Loads the definitions; later calls do nothing. True.
    bool initialize() override;

private:
    using Clock = TableViewCursor::Clock;

    /// Where the last read by position has come to.
    struct Position
    {
        systema::NameList m_lColumns; // as it was asked for
        unsigned int m_iNext = 0;
        std::unique_ptr<TableViewCursor> m_pRows = {};
        bool m_bUsed = true; // since the last tick
    };

    struct Size
    {
        unsigned long m_iVersion; // of the tables
        unsigned int m_iRows;
    };

    struct View
    {
        TableViewSource m_oSource;
        bool m_bStored = false;            // all that it is made of
        systema::NameList m_lMissing = {}; // source tables that are not there yet
        bool m_bChanged = false;           // to be announced
        std::string m_sFaults = {};        // logged
        Clock::time_point m_oNextLog = {}; // of a read that took too long, or had no source
        std::unique_ptr<Position> m_pPosition = {};
        std::optional<Size> m_oSize = {}; // since the last tick: each level of views asks for those below
    };

    View* findTable(const std::string& a_sName);
    /// The views that use the table, by whichever views in between.
    auto findTableByRefTable(const std::string& a_sTable);

    /// The tables that are no views, of which the table consists.
    systema::NameList basesOf(const std::string& a_sTable);
    void checkAll();
    void check(View& a_oView);
    std::string findFaults(View& a_oView);
    systema::EResultCode getSourceSchema(systema::ColumnList& a_lColumns, const std::string& a_sTable);
    bool hasSource(const std::string& a_sTable);
    void subscribe(const systema::NameList& a_lTables);
    void markChanged(const systema::NameList& a_lTables);

    /// Makes a cursor of the columns, all for none, that is not opened yet. 0, 8, 9.
    systema::EResultCode makeCursor(std::unique_ptr<TableViewCursor>& a_pCursor, const std::string& a_sTable,
                                    const systema::NameList& a_lColumns);
    /// Logs it. 1.
    systema::EResultCode tookTooLong(const std::string& a_sView);
    void logNow(View& a_oView, const std::string& a_sText);
    systema::EResultCode openRead(TableViewCursor& a_oRows, const std::string& a_sView);

    /// The time at which the operation that a client waits for has to end: views of views ask each other.
    class Deadline
    {
    public:
        explicit Deadline(TableViewPlugin& a_oPlugin);
        ~Deadline();
        Deadline(const Deadline&) = delete;
        Deadline& operator=(const Deadline&) = delete;

        Clock::time_point end() const { return *m_oPlugin.m_oEnd; }

    private:
        TableViewPlugin& m_oPlugin;
        const bool m_bOutermost;
    };

    systema::ConfigDispatcher& m_oDispatcher;
    const std::chrono::milliseconds m_oCeiling;
    std::size_t m_iBudget; // what is left for the rows of table 1
    const int m_iModule;
    configmanager::serverlib::GenericSubscriber m_oSubscriber;
    bool m_bLoaded = false;
    bool m_bCheckDue = false;   // the databases were closed: others may have changed them
    std::vector<View> m_lViews; // none comes or goes once loaded: cursors refer to them
    std::unordered_map<std::string, std::size_t> m_mViews; // by name
    RegisteredViews m_oRegistered;
    std::optional<Clock::time_point> m_oEnd; // of the outermost operation
};

} // namespace zel
