// The switchboard of the configuration: routes every table operation to the plugin that serves the table,
// and keeps what concerns all plugins at once: transactions, the lock, change notifications.
//
// It is itself a plugin, through which handlers and sub-plugins reach every table with their own address as
// handle, and the publisher of changes. One instance a process; main attaches the plugins, which must live
// as long as it is used. Main thread only. Table operations return the plugin's code, or
//   1   the handle's transaction was lost and not yet ended by it
//   2   another connection's transaction is open (begin; writes to plugins that honour the owner)
//   3   the configuration is locked (writes and begin)
//   8   no plugin serves the table
#pragma once

#include "systema/configpluginbase.h"
#include "systema/configpublisher.h"
#include "systema/rowsource.h"
#include "systema/storedtables.h"
#include "systema/tabledescription.h"

#include <algorithm>
#include <chrono>
#include <functional>
#include <optional>
#include <set>
#include <string>
#include <unordered_map>
#include <utility>
#include <vector>

namespace zel::cfg {
class PersistScript;
}

namespace systema {

/// Is told what becomes of transactions; the service manager, which tells the clients.
class ITransactionObserver
{
public:
    virtual ~ITransactionObserver() = default;

    /// The owner's transaction was rolled back over its head.
    virtual void transactionLost(const void* a_pHandle, const char* a_pReason) = 0;
    /// A transaction has ended, however it ended.
    virtual void transactionEnded() = 0;
    /// Once a pass, after the notifications and with no transaction open: someone who waits may begin.
    virtual void transactionFree() = 0;
    /// Once a pass while the configuration is locked: whoever waits to begin is refused with 3.
    virtual void transactionLocked() = 0;
};

class ConfigDispatcher : public ConfigPluginBase, public IConfigPublisher, public IRowSource
{
public:
    using Clock = std::chrono::steady_clock;

    // Transaction time-outs in seconds.
    static constexpr long c_iMinTransactionTimeout = 1;
    static constexpr long c_iMaxTransactionTimeout = 3600;
    static constexpr long c_iInitialTransactionTimeout = 30;

    static ConfigDispatcher& instance();

    /// Tests make their own, with a clock of theirs.
    explicit ConfigDispatcher(std::function<Clock::time_point()> a_oNow = &Clock::now);

    void setVerbose(bool a_bVerbose);

    /// Serves the table from the plugin. A name that is attached already stays with its first plugin: false,
    /// and an error in the log.
    bool attach(const std::string& a_sTable, ConfigPluginBase& a_oPlugin);
    /// Asks the plugin for its tables and attaches it under each name that it is not attached to yet.
    void attachTables(ConfigPluginBase& a_oPlugin);

    bool hasTable(const std::string& a_sTable) const { return find(a_sTable) != nullptr; }
    /// True for a table that is kept in a database, not computed.
    bool isStored(const std::string& a_sTable) const;
    /// True for a table whose plugin keeps its contents across restarts.
    bool isPersistent(const std::string& a_sTable) const;
    /// Moves with every change of the table that comes through here or is told by its plugin, never back; 0
    /// for a table that no plugin serves.
    unsigned long getVersion(const std::string& a_sTable) const;

    /// The start-up operation: opens and initialises every plugin once, in order of attachment, and attaches
    /// the tables that only exist now. True. A plugin that throws while it is set up keeps the process from
    /// going on: the exception is the caller's.
    bool initialize() override;
    /// The per-pass service operation: ticks every plugin, then takes the names out of the list and records
    /// each as changed.
    void tick(NameList& a_lChangedTables) override;

    /// Release: opens every plugin's connection again after a hold. A plugin that cannot be opened is logged
    /// and answers with 1 until the next release.
    void open(const void* a_pHandle) override;
    /// Hold: closes every plugin's connection, so that other processes can read the databases. A transaction
    /// that is open is rolled back.
    void close(const void* a_pHandle) override;
    /// True while the plugins are open, that is not held.
    bool connectionOpened() const { return m_bOpened; }
    /// A connection is gone: its transaction is rolled back and its handle forgotten.
    void disconnect(const void* a_pHandle);

    // Tables.
    void getTables(NameList& a_lTables, const void* a_pHandle) override;
    EResultCode getSchema(ColumnList& a_lColumns, const void* a_pHandle,
                          const std::string& a_sTable) override;
    /// Describes the table beyond its columns and their types. 0; 8; the codes of getSchema.
    EResultCode describe(TableDescription& a_oDescription, const void* a_pHandle,
                         const std::string& a_sTable);
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
    /// Reads many rows; a plugin that is no row source is read position by position.
    EResultCode openRows(std::unique_ptr<IRowCursor>& a_pCursor, const void* a_pHandle,
                         const std::string& a_sTable, unsigned int a_iFirst, unsigned int a_iCount,
                         const NameList& a_lColumns) override;
    /// Replaces many calls of selectKey with one key column, the first of a_lColumns: reads, in table order,
    /// the rows that selectKey finds by the text of this column. Of several rows with one text selectKey
    /// finds the first. In a stored table selectKey finds nothing by a text that no row shows, with two
    /// exceptions: 0, and, in a column of numbers, a text that is not a plain decimal. 0, without a cursor
    /// when the column does not compare texts byte by byte; else the codes of openRows.
    EResultCode openKeyRows(std::unique_ptr<IRowCursor>& a_pCursor, const void* a_pHandle,
                            const std::string& a_sTable, const NameList& a_lColumns);
    bool isPersistent() const override { return false; }

    // Transactions: one at a time over all plugins.

    /// Who serves clients asks isPassEndAwaited first.
    /// 0; 1 when the handle has one open already; 2; 3; or the code of the plugin that could not start one,
    /// after those that could were undone.
    EResultCode startTransaction(const void* a_pHandle) override;
    /// 0; 1 without a transaction of the handle; or the code of the first plugin that failed to commit: it
    /// and the plugins after it are rolled back, those before it stay committed.
    EResultCode commitTransaction(const void* a_pHandle) override;
    /// 0; 1 without a transaction of the handle; or the first code of a plugin that failed to roll back.
    EResultCode rollbackTransaction(const void* a_pHandle) override;

    bool isTransactionOpen() const { return m_pTransactionOwner != nullptr; }
    /// Rolls the open transaction back when it has lasted for the current time-out.
    void checkTransactionTimeout();
    void setTransactionObserver(ITransactionObserver* a_pObserver) { m_pObserver = a_pObserver; }

    /// Seconds. The current time-out holds for the next transaction to end, then the default is current
    /// again; a value outside the limits is moved to the nearer one.
    long getTransactionTimeout() const { return m_oTimeout.value_or(m_iDefaultTimeout); }
    long getDefaultTransactionTimeout() const { return m_iDefaultTimeout; }
    void setTransactionTimeout(long a_iSeconds);
    void setDefaultTransactionTimeout(long a_iSeconds);

    /// Calls the function once, in the next processLocks without an open transaction. It takes the place of
    /// one that waits; null removes that one.
    void callWhenFree(std::function<void()> a_oFunction) { m_oWhenFree = std::move(a_oFunction); }

    // The lock: asked for by lock and unlock, made so by processLocks; when a transaction is open, a lock is
    // made so when that ends.
    void lock() { m_bLockWanted = true; }
    void unlock() { m_bLockWanted = false; }
    void processLocks();
    bool isLocked() const { return m_bLocked; }
    /// True when something waits for the end of a pass without a transaction: a change to tell, a lock, a
    /// dump, a save. A transaction that begins before that would keep it waiting, for ever when others
    /// follow.
    bool isPassEndAwaited() const;

    // Notifications.
    bool subscribe(IConfigSubscriber& a_oSubscriber, const NameList& a_lTables) override;
    void unsubscribe(IConfigSubscriber& a_oSubscriber, const NameList& a_lTables) override;
    void unsubscribeAll(IConfigSubscriber& a_oSubscriber) override;
    bool hasSubscriber(const std::string& a_sTable) const override;
    bool hasNotifications() const { return !m_lChanged.empty(); }
    /// Tells every subscriber once of its tables that changed.
    void sendNotifications();

    /// The persistence trigger, marked by each change of a persistent table; null for none. Not owned.
    void setPersistScript(zel::cfg::PersistScript* a_pScript) { m_pPersistScript = a_pScript; }
    zel::cfg::PersistScript* getPersistScript() const { return m_pPersistScript; }

    /// Counts since the start, for the server's information.
    struct Statistics
    {
        unsigned m_iNotifications = 0; // changed tables told to a subscriber
        unsigned m_iTransactions = 0;  // transactions begun
    };
    const Statistics& getStatistics() const { return m_oStatistics; }

private:
    struct Plugin
    {
        ConfigPluginBase* m_pPlugin;
        IRowSource* m_pRows;      // null when it offers none
        IStoredTables* m_pStored; // null when its tables are computed
        bool m_bInitialized = false;
        std::set<std::string> m_lRefused = {}; // names that another plugin has, logged already

        bool isUndoneByRollback() const { return m_pStored != nullptr && m_pStored->usesTransactions(); }
        bool hasLostTransaction() const { return m_pStored != nullptr && m_pStored->hasLostTransaction(); }
    };

    struct Table
    {
        std::string m_sName;
        std::size_t m_iPlugin = 0;    // index into m_lPlugins
        bool m_bAttached = false;     // false: only subscribed to so far
        bool m_bChanged = false;      // stands in m_lChanged
        unsigned long m_iVersion = 0; // moves with every change
        std::vector<IConfigSubscriber*> m_lSubscribers;

        bool hasSubscriber(const IConfigSubscriber* a_pSubscriber) const
        {
            return std::ranges::find(m_lSubscribers, a_pSubscriber) != m_lSubscribers.end();
        }
    };

    /// What one subscriber is to be told.
    struct Delivery
    {
        IConfigSubscriber* m_pSubscriber;
        std::vector<Table*> m_lTables;
    };

    Table* find(const std::string& a_sTable);
    const Table* find(const std::string& a_sTable) const;
    Plugin& pluginOf(const Table& a_oTable) { return m_lPlugins[a_oTable.m_iPlugin]; }
    const Plugin& pluginOf(const Table& a_oTable) const { return m_lPlugins[a_oTable.m_iPlugin]; }
    std::size_t pluginIndex(ConfigPluginBase& a_oPlugin);
    template<typename Operation>
    EResultCode access(const void* a_pHandle, const std::string& a_sTable, Operation a_oOperation);
    template<typename Operation>
    EResultCode read(const void* a_pHandle, const std::string& a_sTable, Operation a_oOperation);
    template<typename Operation>
    EResultCode write(const void* a_pHandle, const std::string& a_sTable, Operation a_oOperation);
    template<typename Operation>
    EResultCode guarded(const char* a_pWhat, Operation a_oOperation);
    void recordWrite(const void* a_pHandle, Table& a_oTable);
    /// Records the tables in which a write to the plugin's store has changed rows, whether or not the write
    /// succeeded.
    void recordTouched(const void* a_pHandle, const Plugin& a_oPlugin);
    void addChanged(Table& a_oTable);
    void recordChange(Table& a_oTable);
    template<typename Action>
    void forEachTable(const Plugin& a_oPlugin, Action a_oAction);
    void deliver(const Delivery& a_oDelivery);
    bool isLost(const void* a_pHandle) const;
    EResultCode rollback();
    /// The owner is told by notifyLostOwners.
    void loseTransaction(const char* a_pReason);
    /// Gives up the open transaction when a plugin has undone its part by itself. Its owner is told after the
    /// request that is being answered.
    void loseUndoneTransaction();
    void notifyLostOwners();
    void endTransaction();
    void releaseOwner();
    void applyLock();

    const std::function<Clock::time_point()> m_oNow;
    const int m_iModule;
    std::vector<Plugin> m_lPlugins; // in order of attachment
    std::unordered_map<std::string, Table> m_mTables;
    std::vector<Table*> m_lTables; // the attached ones, in order
    bool m_bOpened = false;

    const void* m_pTransactionOwner = nullptr;
    Clock::time_point m_oTransactionStart;
    std::vector<Table*> m_lWritten; // by the open transaction, told when it commits; room for all
    // Owners that have not yet ended the transaction they lost, with the reason until they are notified.
    std::unordered_map<const void*, const char*> m_mLost;
    std::optional<long> m_oTimeout;
    long m_iDefaultTimeout = c_iInitialTransactionTimeout;
    ITransactionObserver* m_pObserver = nullptr;

    std::function<void()> m_oWhenFree;

    bool m_bLockWanted = false;
    bool m_bLocked = false;

    std::vector<Table*> m_lChanged; // has room for all

    zel::cfg::PersistScript* m_pPersistScript = nullptr;
    Statistics m_oStatistics;
};

} // namespace systema
