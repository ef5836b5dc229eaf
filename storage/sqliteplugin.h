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
    /// Opens the database file at once. Without a_bUseTransactions each write is committed on its own. The
    /// file does not grow beyond a_iLimit bytes, 0 for no limit.
    SqlitePlugin(const std::string& a_sDirectory, const std::string& a_sFileName, bool a_bUseTransactions,
                 bool a_bPersistent, bool a_bExclusive, std::uint64_t a_iLimit = 0);

    /// The file name.
    const std::string& getName() const { return m_oDatabase.getName(); }
    /// True when no connection holds the write lock or the handle is the one that does.
    bool canWrite(const void* a_pHandle) const;
    /// The database, as long as the plugin lives.
    SqliteWrapper& getDatabase() { return m_oDatabase; }
    const SqliteWrapper& getDatabase() const { return m_oDatabase; }

    void open(const void* a_pHandle) override;
    void close(const void* a_pHandle) override;
    void getTables(NameList& a_lTables, const void* a_pHandle) override;
    EResultCode getSchema(ColumnList& a_lColumns, const void* a_pHandle,
                          const std::string& a_sTable) override;
    EResultCode getSize(unsigned int& a_iSize, const void* a_pHandle, const std::string& a_sTable) override;
    EResultCode selectRow(ValueList& a_lRow, const void* a_pHandle, const std::string& a_sTable,
                          unsigned int a_iIndex, const NameList& a_lColumns) override;
    EResultCode selectKey(ValueList& a_lRow, const void* a_pHandle, const std::string& a_sTable,
                          const std::string& a_sKeyColumn, const std::string& a_sKeyValue,
                          const NameList& a_lColumns) override;
    EResultCode insertRow(const void* a_pHandle, const std::string& a_sTable,
                          const ValueList& a_lValues) override;
    EResultCode insertKey(int& a_iId, const void* a_pHandle, const std::string& a_sTable,
                          const ValueList& a_lValues) override;
    EResultCode updateRow(const void* a_pHandle, const std::string& a_sTable, unsigned int a_iIndex,
                          const ValueList& a_lValues) override;
    EResultCode updateKey(const void* a_pHandle, const std::string& a_sTable, const std::string& a_sKeyColumn,
                          const std::string& a_sKeyValue, const ValueList& a_lValues) override;
    EResultCode deleteRow(const void* a_pHandle, const std::string& a_sTable, unsigned int a_iIndex) override;
    EResultCode deleteKey(const void* a_pHandle, const std::string& a_sTable, const std::string& a_sKeyColumn,
                          const std::string& a_sKeyValue) override;
    EResultCode deleteAll(const void* a_pHandle, const std::string& a_sTable) override;
    void tick(NameList&) override {}
    bool initialize() override { return true; }
    bool isPersistent() const override { return m_bPersistent; }
    EResultCode startTransaction(const void* a_pHandle) override;
    EResultCode commitTransaction(const void* a_pHandle) override;
    EResultCode rollbackTransaction(const void* a_pHandle) override;

    EResultCode openRows(std::unique_ptr<IRowCursor>& a_pCursor, const void* a_pHandle,
                         const std::string& a_sTable, unsigned int a_iFirst, unsigned int a_iCount,
                         const NameList& a_lColumns) override;
    EResultCode describe(TableDescription& a_oDescription, const std::string& a_sTable) override
    {
        a_oDescription.m_lFacts.push_back({ColumnFact::EKind::Database, {}, getName()});
        return describeTable(a_oDescription, m_oDatabase, a_sTable);
    }
    EResultCode openKeyRows(std::unique_ptr<IRowCursor>& a_pCursor, const std::string& a_sTable,
                            const NameList& a_lColumns) override
    {
        return m_oDatabase.openKeyRows(a_pCursor, a_sTable, a_lColumns);
    }
    bool usesTransactions() const override { return m_bUseTransactions; }
    bool hasLostTransaction() const override { return m_bBegun && !m_oDatabase.isInTransaction(); }
    bool takeTouched(NameList& a_lTables) noexcept override { return m_oDatabase.takeTouched(a_lTables); }

private:
    bool endsLost();
    template<typename Change>
    EResultCode write(const void* a_pHandle, Change a_oChange);

    SqliteWrapper m_oDatabase;
    bool m_bUseTransactions;
    bool m_bPersistent;
    bool m_bBegun = false; // a real transaction, not yet ended by commit or rollback
};

} // namespace systema
