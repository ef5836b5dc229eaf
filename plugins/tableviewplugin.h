// Joined views of two tables each, as the stored tables "ViewNames" and "ViewColumns" define them, and the
// table "RegisteredViews" of their names.
//
// Loads the definitions once. Every read joins the source tables anew through the dispatcher; only the last
// read by position of each view is kept, until a source table changes. Owned by main; the dispatcher must
// outlive it. Main thread only. Broken definitions are logged and served as far as they make sense; a column
// that is of neither table fails an assertion in each request that shows it. A view that one of its own
// sources reads, in order to answer the view, has no rows for it.
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
    // Size, position and key are answered in one turn, during which no other client is served.
    static constexpr std::chrono::milliseconds c_oCeiling{2000};
    // Memory for the rows of table 1 that all reads together keep.
    static constexpr std::size_t c_iPartnerBytes = 8 * 1024 * 1024;

    TableViewPlugin(systema::ConfigDispatcher& a_oDispatcher, bool a_bVerbose,
                    std::chrono::milliseconds a_oCeiling = c_oCeiling,
                    std::size_t a_iPartnerBytes = c_iPartnerBytes);

    void close(const void* a_pHandle) override;
    /// "RegisteredViews", then the views in the order of their definition.
    void getTables(systema::NameList& a_lTables, const void* a_pHandle) override;
    systema::EResultCode getSchema(systema::ColumnList& a_lColumns, const void* a_pHandle,
                                   const std::string& a_sTable) override;
    /// 0 with the number of rows up to one that cannot be read; 8; 1 when it takes too long. The size of
    /// "RegisteredViews" is 0 whatever it holds.
    systema::EResultCode getSize(unsigned int& a_iSize, const void* a_pHandle,
                                 const std::string& a_sTable) override;
    /// 0; 8; 9 also when a source table lacks a column; 10; 1 when it takes too long; else the code with
    /// which table 2 refuses to be read.
    systema::EResultCode selectRow(systema::ValueList& a_lRow, const void* a_pHandle,
                                   const std::string& a_sTable, unsigned int a_iIndex,
                                   const systema::NameList& a_lColumns) override;
    /// The first complete row of the view that shows the key, or else one that shows what the source table
    /// finds by the key. The codes of selectRow; 8 also when the source table does not exist.
    systema::EResultCode selectKey(systema::ValueList& a_lRow, const void* a_pHandle,
                                   const std::string& a_sTable, const std::string& a_sKeyColumn,
                                   const std::string& a_sKeyValue,
                                   const systema::NameList& a_lColumns) override;
    systema::EResultCode openRows(std::unique_ptr<systema::IRowCursor>& a_pCursor, const void* a_pHandle,
                                  const std::string& a_sTable, unsigned int a_iFirst, unsigned int a_iCount,
                                  const systema::NameList& a_lColumns) override;
    /// "RegisteredViews" is live and does not change, all others are views.
    systema::EResultCode describe(systema::TableDescription& a_oDescription,
                                  const std::string& a_sTable) override
    {
        if (a_sTable == RegisteredViews::c_pTable) {
            systema::setUnannounced(a_oDescription);
        } else {
            a_oDescription.m_eKind = systema::ETableKind::View;
        }
        return systema::EResultCode::Success;
    }
    /// Announces the views whose source tables changed, or have appeared.
    void tick(systema::NameList& a_lChangedTables) override;
    /// Loads the definitions; later calls do nothing. True.
    bool initialize() override;

private:
    using Clock = TableViewCursor::Clock;

    /// The last read by position, so that the next one can go on from there.
    struct Position
    {
        systema::NameList m_lColumns; // those of the request
        unsigned int m_iNext = 0;     // row that the cursor hands over next
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
        bool m_bStored = false;            // every table that it is made of is stored
        systema::NameList m_lMissing = {}; // source tables that are not there yet
        bool m_bChanged = false;           // to be announced
        std::string m_sFaults = {};        // of the definition, as logged last
        Clock::time_point m_oNextLog = {}; // no failed read is logged before
        std::unique_ptr<Position> m_pPosition = {};
        std::optional<Size> m_oSize = {}; // until the next tick; a view of views needs it at each level
    };

    View* findTable(const std::string& a_sName);
    /// The views that use the table, directly or through other views.
    auto findTableByRefTable(const std::string& a_sTable);

    /// The tables, none of them a view, of which the table is made in the end: itself if it is no view.
    systema::NameList basesOf(const std::string& a_sTable);
    void checkAll();
    void check(View& a_oView);
    std::string findFaults(View& a_oView);
    struct SourceTable;
    SourceTable inspect(const std::string& a_sTable);
    bool isRowNumber(const std::string& a_sTable, const std::string& a_sColumn);
    bool lacks(const SourceTable& a_oTable, const std::string& a_sColumn, bool a_bAsKey);
    systema::EResultCode getSourceSchema(systema::ColumnList& a_lColumns, const std::string& a_sTable);
    bool hasSource(const std::string& a_sTable);
    void subscribe(const systema::NameList& a_lTables);
    void markChanged(const systema::NameList& a_lTables);

    /// Makes a cursor of the columns, all for none, that is not opened yet. 0, 8, 9.
    systema::EResultCode makeCursor(std::unique_ptr<TableViewCursor>& a_pCursor, const std::string& a_sTable,
                                    const systema::NameList& a_lColumns);
    /// Logs that the read took too long and returns 1.
    systema::EResultCode tookTooLong(const std::string& a_sView);
    /// Logs at most once a minute for each view.
    void logFailedRead(View& a_oView, const std::string& a_sText);
    systema::EResultCode openRead(TableViewCursor& a_oRows, const std::string& a_sView);

    /// The time at which an operation has to end. A view that is read for another view has the deadline of
    /// that one, which the client waits for.
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
    std::size_t m_iBudget; // memory that is left for the rows of table 1, in bytes
    const int m_iModule;
    configmanager::serverlib::GenericSubscriber m_oSubscriber;
    bool m_bLoaded = false;
    Clock::time_point m_oNextDefinitionLog = {}; // no change of the definitions is logged before
    bool m_bCheckDue = false;   // the databases were closed, so other programs may have changed them
    std::vector<View> m_lViews; // fixed once loaded, as cursors refer to its elements
    std::unordered_map<std::string, std::size_t> m_mViews; // by name
    RegisteredViews m_oRegistered;
    std::optional<Clock::time_point> m_oEnd; // of the outermost operation
};

} // namespace zel
