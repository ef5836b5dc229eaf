// The plugin that serves all tables of one SQLite database file.
//
// Owned by main; used on the main thread. Forwards every operation to the database it owns and adds the
// check of the handle, the permission to write and the choice whether transactions are real. Results are
// those of SqliteWrapper, and 2 for a write while another connection holds the write lock.
#pragma once

#include "storage/schemafacts.h"
#include "storage/sqlitewrapper.h"
#include "systema/configpluginbase.h"
#include "systema/rowsource.h"
#include "systema/storedtables.h"
#include "systema/tabledescription.h"

#include <cstdint>
#include <memory>
#include <string>

namespace systema {

class SqlitePlugin : public ConfigPluginBase, public IRowSource, public IStoredTables, public IDescribedTables
{
public:
    /// Opens the database file at once. Without a_useTransactions each write is committed on its own. The
    /// file does not grow beyond a_iLimit bytes, 0 for no limit.
    SqlitePlugin(const std::string& a_directory, const std::string& a_fileName, bool a_useTransactions,
                 bool a_persistent, bool a_exclusive, std::uint64_t a_iLimit = 0);

    /// The file name.
    const std::string& getName() const { return m_oDatabase.getName(); }
    /// True when no connection holds the write lock or the handle is the one that does.
    bool canWrite(const void* a_handle) const;
    /// The database, as long as the plugin lives.
    SqliteWrapper& getDatabase() { return m_oDatabase; }
    const SqliteWrapper& getDatabase() const { return m_oDatabase; }

    void open(const void* a_handle) override;
    void close(const void* a_handle) override;
    void getTables(NameList& a_tables, const void* a_handle) override;
    EResultCode getSchema(ColumnList& a_columns, const void* a_handle, const std::string& a_table) override;
    EResultCode getSize(unsigned int& a_size, const void* a_handle, const std::string& a_table) override;
    EResultCode selectRow(ValueList& a_row, const void* a_handle, const std::string& a_table,
                          unsigned int a_index, const NameList& a_columns) override;
    EResultCode selectKey(ValueList& a_row, const void* a_handle, const std::string& a_table,
                          const std::string& a_keyColumn, const std::string& a_keyValue,
                          const NameList& a_columns) override;
    EResultCode insertRow(const void* a_handle, const std::string& a_table,
                          const ValueList& a_values) override;
    EResultCode insertKey(int& a_id, const void* a_handle, const std::string& a_table,
                          const ValueList& a_values) override;
    EResultCode updateRow(const void* a_handle, const std::string& a_table, unsigned int a_index,
                          const ValueList& a_values) override;
    EResultCode updateKey(const void* a_handle, const std::string& a_table, const std::string& a_keyColumn,
                          const std::string& a_keyValue, const ValueList& a_values) override;
    EResultCode deleteRow(const void* a_handle, const std::string& a_table, unsigned int a_index) override;
    EResultCode deleteKey(const void* a_handle, const std::string& a_table, const std::string& a_keyColumn,
                          const std::string& a_keyValue) override;
    EResultCode deleteAll(const void* a_handle, const std::string& a_table) override;
    void tick(NameList&) override {}
    bool initialize() override { return true; }
    bool isPersistent() const override { return m_bPersistent; }
    EResultCode startTransaction(const void* a_handle) override;
    EResultCode commitTransaction(const void* a_handle) override;
    EResultCode rollbackTransaction(const void* a_handle) override;

    EResultCode openRows(std::unique_ptr<IRowCursor>& a_cursor, const void* a_handle,
                         const std::string& a_table, unsigned int a_first, unsigned int a_count,
                         const NameList& a_columns) override;
    EResultCode describe(TableDescription& a_oDescription, const std::string& a_table) override
    {
        return describeTable(a_oDescription, m_oDatabase, a_table);
    }
    EResultCode openKeyRows(std::unique_ptr<IRowCursor>& a_cursor, const std::string& a_table,
                            const NameList& a_columns) override
    {
        return m_oDatabase.openKeyRows(a_cursor, a_table, a_columns);
    }
    bool usesTransactions() const override { return m_bUseTransactions; }
    bool hasLostTransaction() const override { return m_bBegun && !m_oDatabase.isInTransaction(); }
    bool takeTouched(NameList& a_lTables) noexcept override { return m_oDatabase.takeTouched(a_lTables); }

private:
    bool endsLost();
    template<typename Change>
    EResultCode write(const void* a_handle, Change a_oChange);

    SqliteWrapper m_oDatabase;
    bool m_bUseTransactions;
    bool m_bPersistent;
    bool m_bBegun = false; // a real transaction, not yet ended by commit or rollback
};

} // namespace systema
