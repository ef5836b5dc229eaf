#include "systema/configdispatcher.h"

#include "systema/persistscript.h"
#include "systema/positioncursor.h"
#include "zel/assert.h"
#include "zel/exception.h"
#include "zel/log.h"
#include "zel/memory.h"

#include <algorithm>
#include <new>
#include <utility>

namespace systema {

using zel::error::Assert;

namespace {
constexpr const char* c_pModule = "ConfigDispatcher";
} // namespace

ConfigDispatcher& ConfigDispatcher::instance()
{
    static ConfigDispatcher s_oInstance;
    return s_oInstance;
}

ConfigDispatcher::ConfigDispatcher(std::function<Clock::time_point()> a_oNow)
    : m_oNow(std::move(a_oNow)),
      m_iModule(ZEL_Sysloglevel_registerModul(c_pModule))
{
}

void ConfigDispatcher::setVerbose(bool a_bVerbose)
{
    ZEL_Sysloglevel_changeTracelevel(c_pModule,
                                     a_bVerbose ? zel::c_iTraceLevelVerbose : zel::c_iTraceLevelNormal);
}

// ---------------------------------------------------------------------------------------------------------
// Attachment

std::size_t ConfigDispatcher::pluginIndex(ConfigPluginBase& a_oPlugin)
{
    auto it = std::ranges::find(m_lPlugins, &a_oPlugin, &Plugin::m_pPlugin);
    if (it == m_lPlugins.end()) {
        m_lPlugins.push_back(
            {&a_oPlugin, dynamic_cast<IRowSource*>(&a_oPlugin), dynamic_cast<IStoredTables*>(&a_oPlugin)});
        it = m_lPlugins.end() - 1;
    }
    return static_cast<std::size_t>(it - m_lPlugins.begin());
}

bool ConfigDispatcher::attach(const std::string& a_sTable, ConfigPluginBase& a_oPlugin)
{
    const std::size_t iPlugin = pluginIndex(a_oPlugin);
    Table& oTable = m_mTables[a_sTable];
    if (oTable.m_bAttached) {
        if (m_lPlugins[iPlugin].m_lRefused.insert(a_sTable).second) {
            ZEL_Sysloglevel_error(m_iModule, zel::here(), "Table %s is attached already", a_sTable.c_str());
        }
        return false;
    }
    oTable.m_sName = a_sTable;
    oTable.m_iPlugin = iPlugin;
    oTable.m_bAttached = true;
    m_lTables.push_back(&oTable);
    m_lChanged.reserve(m_lTables.size()); // so that what was changed can be noted whatever memory there is
    m_lWritten.reserve(m_lTables.size());
    return true;
}

void ConfigDispatcher::attachTables(ConfigPluginBase& a_oPlugin)
{
    const std::size_t iPlugin = pluginIndex(a_oPlugin); // known even when it serves no table yet
    NameList lTables;
    a_oPlugin.getTables(lTables, this);
    for (const auto& sTable : lTables) {
        const Table* pTable = find(sTable);
        if (pTable == nullptr || pTable->m_iPlugin != iPlugin) {
            attach(sTable, a_oPlugin);
        }
    }
}

ConfigDispatcher::Table* ConfigDispatcher::find(const std::string& a_sTable)
{
    return const_cast<Table*>(std::as_const(*this).find(a_sTable));
}

const ConfigDispatcher::Table* ConfigDispatcher::find(const std::string& a_sTable) const
{
    auto it = m_mTables.find(a_sTable);
    return it != m_mTables.end() && it->second.m_bAttached ? &it->second : nullptr;
}

bool ConfigDispatcher::isStored(const std::string& a_sTable) const
{
    const Table* pTable = find(a_sTable);
    return pTable != nullptr && pluginOf(*pTable).m_pStored != nullptr;
}

bool ConfigDispatcher::isPersistent(const std::string& a_sTable) const
{
    const Table* pTable = find(a_sTable);
    return pTable != nullptr && pluginOf(*pTable).m_pPlugin->isPersistent();
}

unsigned long ConfigDispatcher::getVersion(const std::string& a_sTable) const
{
    const Table* pTable = find(a_sTable);
    return pTable != nullptr ? pTable->m_iVersion : 0;
}

bool ConfigDispatcher::initialize()
{
    open(this);
    for (std::size_t i = 0; i < m_lPlugins.size(); ++i) {
        if (!std::exchange(m_lPlugins[i].m_bInitialized, true)) {
            m_lPlugins[i].m_pPlugin->initialize();
        }
    }
    for (std::size_t i = 0; i < m_lPlugins.size(); ++i) {
        guarded("getTables", [&] {
            attachTables(*m_lPlugins[i].m_pPlugin);
            return EResultCode();
        });
    }
    return true;
}

void ConfigDispatcher::tick(NameList& a_lChangedTables)
{
    for (const auto& oPlugin : m_lPlugins) {
        const unsigned long iFailures = zel::countMemoryFailures();
        guarded("tick", [&] {
            oPlugin.m_pPlugin->tick(a_lChangedTables);
            return EResultCode();
        });
        if (zel::countMemoryFailures() != iFailures) {
            // The names of those that have changed may have been lost.
            forEachTable(oPlugin, [this](Table& a_oTable) { recordChange(a_oTable); });
        }
    }
    for (const auto& sTable : a_lChangedTables) {
        if (Table* pTable = find(sTable)) {
            recordChange(*pTable);
        }
    }
    a_lChangedTables.clear();
    if (!isTransactionOpen() && m_pObserver != nullptr) {
        m_pObserver->transactionFree();
    }
}

// ---------------------------------------------------------------------------------------------------------
// Hold and release

void ConfigDispatcher::open(const void* a_pHandle)
{
    Assert(0 != a_pHandle, "0 != a_handle");
    for (const auto& oPlugin : m_lPlugins) {
        guarded("open", [&] {
            oPlugin.m_pPlugin->open(a_pHandle);
            return EResultCode();
        });
    }
    m_bOpened = true;
}

void ConfigDispatcher::close(const void* a_pHandle)
{
    Assert(0 != a_pHandle, "0 != a_handle");
    if (isTransactionOpen()) {
        loseTransaction("the databases are held for a dump");
        notifyLostOwners();
    }
    for (const auto& oPlugin : m_lPlugins) {
        guarded("close", [&] {
            oPlugin.m_pPlugin->close(a_pHandle);
            return EResultCode();
        });
    }
    m_bOpened = false;
}

void ConfigDispatcher::disconnect(const void* a_pHandle)
{
    m_mLost.erase(a_pHandle);
    if (m_pTransactionOwner == a_pHandle && a_pHandle != nullptr) {
        rollback();
    }
}

// ---------------------------------------------------------------------------------------------------------
// Tables

bool ConfigDispatcher::isLost(const void* a_pHandle) const
{
    return !m_mLost.empty() && m_mLost.contains(a_pHandle);
}

template<typename Operation>
EResultCode ConfigDispatcher::access(const void* a_pHandle, const std::string& a_sTable,
                                     Operation a_oOperation)
{
    Assert(0 != a_pHandle, "0 != a_handle");
    Table* pTable = find(a_sTable);
    if (pTable == nullptr) {
        return EResultCode::NoTable;
    }
    if (isLost(a_pHandle)) {
        return EResultCode::Failure;
    }
    const EResultCode eResult = a_oOperation(*pTable);
    if (isTransactionOpen() && pluginOf(*pTable).hasLostTransaction()) {
        loseUndoneTransaction();
    }
    return eResult;
}

template<typename Operation>
EResultCode ConfigDispatcher::read(const void* a_pHandle, const std::string& a_sTable, Operation a_oOperation)
{
    return access(a_pHandle, a_sTable,
                  [&](Table& a_oTable) { return a_oOperation(*pluginOf(a_oTable).m_pPlugin); });
}

template<typename Operation>
EResultCode ConfigDispatcher::write(const void* a_pHandle, const std::string& a_sTable,
                                    Operation a_oOperation)
{
    return access(a_pHandle, a_sTable, [&](Table& a_oTable) -> EResultCode {
        if (m_bLocked) {
            return EResultCode::Locked;
        }
        try {
            const EResultCode eResult = a_oOperation(*pluginOf(a_oTable).m_pPlugin);
            if (eResult == EResultCode::Success) {
                recordWrite(a_pHandle, a_oTable);
            }
            recordTouched(a_pHandle, pluginOf(a_oTable));
            return eResult;
        } catch (...) {
            recordWrite(a_pHandle, a_oTable); // it may have been done before memory was out
            recordTouched(a_pHandle, pluginOf(a_oTable));
            throw;
        }
    });
}

/// Runs an operation of one plugin among all; its exception must not keep it from the others.
template<typename Operation>
EResultCode ConfigDispatcher::guarded(const char* a_pWhat, Operation a_oOperation)
{
    try {
        return a_oOperation();
    } catch (...) {
        ZEL_Sysloglevel_error(m_iModule, zel::here(), "%s failed: %s", a_pWhat,
                              zel::error::describeException());
        return EResultCode::Failure;
    }
}

void ConfigDispatcher::getTables(NameList& a_lTables, const void* a_pHandle)
{
    Assert(0 != a_pHandle, "0 != a_handle");
    for (const Table* pTable : m_lTables) {
        a_lTables.add(pTable->m_sName);
    }
}

EResultCode ConfigDispatcher::getSchema(ColumnList& a_lColumns, const void* a_pHandle,
                                        const std::string& a_sTable)
{
    return read(a_pHandle, a_sTable,
                [&](auto& a_oPlugin) { return a_oPlugin.getSchema(a_lColumns, a_pHandle, a_sTable); });
}

EResultCode ConfigDispatcher::describe(TableDescription& a_oDescription, const void* a_pHandle,
                                       const std::string& a_sTable)
{
    if (isStored(a_sTable)) {
        a_oDescription.m_eKind = ETableKind::Stored;
        a_oDescription.m_bWritable = true;
    }
    const auto eResult = read(a_pHandle, a_sTable, [&](auto& a_oPlugin) {
        auto* pDescribed = dynamic_cast<IDescribedTables*>(&a_oPlugin);
        return pDescribed != nullptr ? pDescribed->describe(a_oDescription, a_sTable) : EResultCode();
    });
    const Table* pTable = find(a_sTable);
    if (a_oDescription.m_bWritable && pTable != nullptr && !pluginOf(*pTable).isUndoneByRollback()) {
        a_oDescription.m_lFacts.push_back({ColumnFact::EKind::Immediate, {}, {}});
    }
    return eResult;
}

EResultCode ConfigDispatcher::getSize(unsigned int& a_iSize, const void* a_pHandle,
                                      const std::string& a_sTable)
{
    return read(a_pHandle, a_sTable,
                [&](auto& a_oPlugin) { return a_oPlugin.getSize(a_iSize, a_pHandle, a_sTable); });
}

EResultCode ConfigDispatcher::selectRow(ValueList& a_lRow, const void* a_pHandle, const std::string& a_sTable,
                                        unsigned int a_iIndex, const NameList& a_lColumns)
{
    return read(a_pHandle, a_sTable, [&](auto& a_oPlugin) {
        return a_oPlugin.selectRow(a_lRow, a_pHandle, a_sTable, a_iIndex, a_lColumns);
    });
}

EResultCode ConfigDispatcher::selectKey(ValueList& a_lRow, const void* a_pHandle, const std::string& a_sTable,
                                        const std::string& a_sKeyColumn, const std::string& a_sKeyValue,
                                        const NameList& a_lColumns)
{
    return read(a_pHandle, a_sTable, [&](auto& a_oPlugin) {
        return a_oPlugin.selectKey(a_lRow, a_pHandle, a_sTable, a_sKeyColumn, a_sKeyValue, a_lColumns);
    });
}

EResultCode ConfigDispatcher::openRows(std::unique_ptr<IRowCursor>& a_pCursor, const void* a_pHandle,
                                       const std::string& a_sTable, unsigned int a_iFirst,
                                       unsigned int a_iCount, const NameList& a_lColumns)
{
    return access(a_pHandle, a_sTable, [&](Table& a_oTable) {
        const Plugin& oPlugin = pluginOf(a_oTable);
        if (oPlugin.m_pRows != nullptr) {
            const EResultCode eResult =
                oPlugin.m_pRows->openRows(a_pCursor, a_pHandle, a_sTable, a_iFirst, a_iCount, a_lColumns);
            if (eResult != EResultCode::Success || a_pCursor) {
                return eResult;
            }
        }
        return PositionCursor::open(a_pCursor, *oPlugin.m_pPlugin, a_pHandle, a_sTable, a_iFirst, a_iCount,
                                    a_lColumns, a_oTable.m_iVersion);
    });
}

EResultCode ConfigDispatcher::openKeyRows(std::unique_ptr<IRowCursor>& a_pCursor, const void* a_pHandle,
                                          const std::string& a_sTable, const NameList& a_lColumns)
{
    if (!isStored(a_sTable)) {
        return openRows(a_pCursor, a_pHandle, a_sTable, 0, c_iAllRows, a_lColumns);
    }
    return access(a_pHandle, a_sTable, [&](Table& a_oTable) {
        return pluginOf(a_oTable).m_pStored->openKeyRows(a_pCursor, a_sTable, a_lColumns);
    });
}

EResultCode ConfigDispatcher::insertRow(const void* a_pHandle, const std::string& a_sTable,
                                        const ValueList& a_lValues)
{
    return write(a_pHandle, a_sTable,
                 [&](auto& a_oPlugin) { return a_oPlugin.insertRow(a_pHandle, a_sTable, a_lValues); });
}

EResultCode ConfigDispatcher::insertKey(int& a_iId, const void* a_pHandle, const std::string& a_sTable,
                                        const ValueList& a_lValues)
{
    return write(a_pHandle, a_sTable,
                 [&](auto& a_oPlugin) { return a_oPlugin.insertKey(a_iId, a_pHandle, a_sTable, a_lValues); });
}

EResultCode ConfigDispatcher::updateRow(const void* a_pHandle, const std::string& a_sTable,
                                        unsigned int a_iIndex, const ValueList& a_lValues)
{
    return write(a_pHandle, a_sTable, [&](auto& a_oPlugin) {
        return a_oPlugin.updateRow(a_pHandle, a_sTable, a_iIndex, a_lValues);
    });
}

EResultCode ConfigDispatcher::updateKey(const void* a_pHandle, const std::string& a_sTable,
                                        const std::string& a_sKeyColumn, const std::string& a_sKeyValue,
                                        const ValueList& a_lValues)
{
    return write(a_pHandle, a_sTable, [&](auto& a_oPlugin) {
        return a_oPlugin.updateKey(a_pHandle, a_sTable, a_sKeyColumn, a_sKeyValue, a_lValues);
    });
}

EResultCode ConfigDispatcher::deleteRow(const void* a_pHandle, const std::string& a_sTable,
                                        unsigned int a_iIndex)
{
    return write(a_pHandle, a_sTable,
                 [&](auto& a_oPlugin) { return a_oPlugin.deleteRow(a_pHandle, a_sTable, a_iIndex); });
}

EResultCode ConfigDispatcher::deleteKey(const void* a_pHandle, const std::string& a_sTable,
                                        const std::string& a_sKeyColumn, const std::string& a_sKeyValue)
{
    return write(a_pHandle, a_sTable, [&](auto& a_oPlugin) {
        return a_oPlugin.deleteKey(a_pHandle, a_sTable, a_sKeyColumn, a_sKeyValue);
    });
}

EResultCode ConfigDispatcher::deleteAll(const void* a_pHandle, const std::string& a_sTable)
{
    return write(a_pHandle, a_sTable,
                 [&](auto& a_oPlugin) { return a_oPlugin.deleteAll(a_pHandle, a_sTable); });
}

// ---------------------------------------------------------------------------------------------------------
// Transactions

EResultCode ConfigDispatcher::startTransaction(const void* a_pHandle)
{
    Assert(0 != a_pHandle, "0 != a_handle");
    m_mLost.erase(a_pHandle); // a new beginning ends what was lost
    if (isTransactionOpen()) {
        return m_pTransactionOwner == a_pHandle ? EResultCode::Failure : EResultCode::Busy;
    }
    if (m_bLocked) {
        return EResultCode::Locked;
    }
    m_pTransactionOwner = a_pHandle;
    m_oTransactionStart = m_oNow();
    for (const auto& oPlugin : m_lPlugins) {
        oPlugin.m_pPlugin->setWriteOwner(a_pHandle);
    }
    for (std::size_t i = 0; i < m_lPlugins.size(); ++i) {
        const EResultCode eResult =
            guarded("startTransaction", [&] { return m_lPlugins[i].m_pPlugin->startTransaction(a_pHandle); });
        if (eResult != EResultCode::Success) {
            while (i-- > 0) {
                guarded("rollbackTransaction",
                        [&] { return m_lPlugins[i].m_pPlugin->rollbackTransaction(a_pHandle); });
            }
            releaseOwner();
            return eResult;
        }
    }
    ++m_oStatistics.m_iTransactions;
    return EResultCode::Success;
}

EResultCode ConfigDispatcher::commitTransaction(const void* a_pHandle)
{
    Assert(0 != a_pHandle, "0 != a_handle");
    loseUndoneTransaction();
    if (m_mLost.erase(a_pHandle) > 0 || m_pTransactionOwner != a_pHandle) {
        return EResultCode::Failure;
    }
    EResultCode eResult;
    std::size_t iCommitted = 0;
    for (; iCommitted < m_lPlugins.size() && eResult == EResultCode::Success; ++iCommitted) {
        eResult = guarded("commitTransaction",
                          [&] { return m_lPlugins[iCommitted].m_pPlugin->commitTransaction(a_pHandle); });
    }
    if (eResult != EResultCode::Success) {
        --iCommitted; // the one that failed is rolled back like those after it
        ZEL_Sysloglevel_error(m_iModule, zel::here(),
                              "A transaction failed to commit (%u); the rest of it is"
                              " rolled back",
                              static_cast<unsigned>(eResult));
        for (std::size_t i = iCommitted; i < m_lPlugins.size(); ++i) {
            guarded("rollbackTransaction",
                    [&] { return m_lPlugins[i].m_pPlugin->rollbackTransaction(a_pHandle); });
        }
    }
    for (Table* pTable : m_lWritten) {
        if (pTable->m_iPlugin < iCommitted) {
            recordChange(*pTable);
        } else {
            ++pTable->m_iVersion;
        }
    }
    endTransaction();
    return eResult;
}

EResultCode ConfigDispatcher::rollbackTransaction(const void* a_pHandle)
{
    Assert(0 != a_pHandle, "0 != a_handle");
    if (m_mLost.erase(a_pHandle) > 0 || m_pTransactionOwner != a_pHandle) {
        return EResultCode::Failure;
    }
    return rollback();
}

EResultCode ConfigDispatcher::rollback()
{
    EResultCode eFirst;
    for (const auto& oPlugin : m_lPlugins) {
        const EResultCode eResult = guarded("rollbackTransaction", [&] {
            return oPlugin.m_pPlugin->rollbackTransaction(m_pTransactionOwner);
        });
        if (eFirst == EResultCode::Success) {
            eFirst = eResult;
        }
    }
    for (Table* pTable : m_lWritten) {
        ++pTable->m_iVersion;
    }
    endTransaction();
    return eFirst;
}

void ConfigDispatcher::releaseOwner()
{
    for (const auto& oPlugin : m_lPlugins) {
        oPlugin.m_pPlugin->setWriteOwner(nullptr);
    }
    m_pTransactionOwner = nullptr;
}

void ConfigDispatcher::endTransaction()
{
    releaseOwner();
    m_lWritten.clear();
    m_oTimeout.reset();
    applyLock();
    if (m_pObserver != nullptr) {
        m_pObserver->transactionEnded();
    }
}

void ConfigDispatcher::loseTransaction(const char* a_pReason)
{
    const void* pOwner = m_pTransactionOwner;
    m_mLost.emplace(pOwner, a_pReason); // first: what it writes next would be written without a transaction
    ZEL_Sysloglevel_warning(m_iModule, zel::here(), "The open transaction is rolled back: %s", a_pReason);
    rollback();
}

void ConfigDispatcher::notifyLostOwners()
{
    std::vector<std::pair<const void*, const char*>> lUntold; // for whoever is told may be gone after that
    for (auto& [pOwner, pReason] : m_mLost) {
        if (pReason != nullptr) {
            lUntold.emplace_back(pOwner, std::exchange(pReason, nullptr));
        }
    }
    for (const auto& [pOwner, pReason] : lUntold) {
        if (m_pObserver != nullptr) {
            m_pObserver->transactionLost(pOwner, pReason);
        }
    }
}

void ConfigDispatcher::loseUndoneTransaction()
{
    // The other databases must not keep their part of it.
    if (isTransactionOpen() && std::ranges::any_of(m_lPlugins, &Plugin::hasLostTransaction)) {
        loseTransaction("a statement failed in a way that undoes all of it");
    }
}

void ConfigDispatcher::checkTransactionTimeout()
{
    if (isTransactionOpen() &&
        m_oNow() - m_oTransactionStart >= std::chrono::seconds(getTransactionTimeout())) {
        loseTransaction("it lasted longer than the transaction time-out");
        notifyLostOwners();
    }
}

void ConfigDispatcher::setTransactionTimeout(long a_iSeconds)
{
    m_oTimeout = std::clamp(a_iSeconds, c_iMinTransactionTimeout, c_iMaxTransactionTimeout);
}

void ConfigDispatcher::setDefaultTransactionTimeout(long a_iSeconds)
{
    m_iDefaultTimeout = std::clamp(a_iSeconds, c_iMinTransactionTimeout, c_iMaxTransactionTimeout);
}

void ConfigDispatcher::applyLock()
{
    if (m_bLockWanted != m_bLocked && !(m_bLockWanted && isTransactionOpen())) {
        m_bLocked = m_bLockWanted;
        ZEL_Sysloglevel_info(m_iModule, zel::here(), "The configuration is %s",
                             m_bLocked ? "locked" : "unlocked");
    }
}

void ConfigDispatcher::processLocks()
{
    applyLock();
    if (m_oWhenFree && !isTransactionOpen()) {
        std::exchange(m_oWhenFree, {})();
    }
    if (m_bLocked && m_pObserver != nullptr) {
        m_pObserver->transactionLocked();
    }
    notifyLostOwners();
}

bool ConfigDispatcher::isPassEndAwaited() const
{
    return hasNotifications() || m_bLockWanted != m_bLocked || m_oWhenFree ||
           (m_pPersistScript != nullptr && m_pPersistScript->isDue());
}

// ---------------------------------------------------------------------------------------------------------
// Changes

void ConfigDispatcher::recordWrite(const void* a_pHandle, Table& a_oTable)
{
    // What a rollback cannot undo has changed now, whatever becomes of the transaction.
    if (m_pTransactionOwner == a_pHandle && pluginOf(a_oTable).isUndoneByRollback()) {
        ++a_oTable.m_iVersion;
        if (std::ranges::find(m_lWritten, &a_oTable) == m_lWritten.end()) {
            m_lWritten.push_back(&a_oTable);
        }
    } else {
        recordChange(a_oTable);
    }
}

void ConfigDispatcher::recordTouched(const void* a_pHandle, const Plugin& a_oPlugin)
{
    NameList lTouched;
    const bool bComplete = a_oPlugin.m_pStored == nullptr || a_oPlugin.m_pStored->takeTouched(lTouched);
    for (const auto& sTable : lTouched) {
        Table* pTable = find(sTable);
        if (pTable != nullptr && &pluginOf(*pTable) == &a_oPlugin) { // not the table of another store
            recordWrite(a_pHandle, *pTable);
        }
    }
    if (!bComplete) {
        forEachTable(a_oPlugin, [&](Table& a_oTable) { recordWrite(a_pHandle, a_oTable); });
    }
}

void ConfigDispatcher::addChanged(Table& a_oTable)
{
    if (!std::exchange(a_oTable.m_bChanged, true)) {
        m_lChanged.push_back(&a_oTable);
    }
}

void ConfigDispatcher::recordChange(Table& a_oTable)
{
    ++a_oTable.m_iVersion;
    addChanged(a_oTable);
    if (m_pPersistScript != nullptr && pluginOf(a_oTable).m_pPlugin->isPersistent()) {
        m_pPersistScript->markChanged();
    }
}

template<typename Action>
void ConfigDispatcher::forEachTable(const Plugin& a_oPlugin, Action a_oAction)
{
    for (Table* pTable : m_lTables) {
        if (&pluginOf(*pTable) == &a_oPlugin) {
            a_oAction(*pTable);
        }
    }
}

bool ConfigDispatcher::subscribe(IConfigSubscriber& a_oSubscriber, const NameList& a_lTables)
{
    bool bAllKnown = true;
    for (const auto& sName : a_lTables) {
        Table& oTable = m_mTables[sName];
        bAllKnown = bAllKnown && oTable.m_bAttached;
        if (!oTable.hasSubscriber(&a_oSubscriber)) {
            oTable.m_lSubscribers.push_back(&a_oSubscriber);
        }
    }
    return bAllKnown;
}

void ConfigDispatcher::unsubscribe(IConfigSubscriber& a_oSubscriber, const NameList& a_lTables)
{
    for (const auto& sName : a_lTables) {
        if (auto it = m_mTables.find(sName); it != m_mTables.end()) {
            std::erase(it->second.m_lSubscribers, &a_oSubscriber);
        }
    }
}

void ConfigDispatcher::unsubscribeAll(IConfigSubscriber& a_oSubscriber)
{
    for (auto& [sName, oTable] : m_mTables) {
        std::erase(oTable.m_lSubscribers, &a_oSubscriber);
    }
}

bool ConfigDispatcher::hasSubscriber(const std::string& a_sTable) const
{
    auto it = m_mTables.find(a_sTable);
    return it != m_mTables.end() && !it->second.m_lSubscribers.empty();
}

void ConfigDispatcher::sendNotifications()
{
    // Memory may be out at any step: until all is put together nothing is taken from the list of changes, and
    // what a subscriber could not be told goes back there. To be told twice does no harm.
    std::vector<Delivery> lDeliveries;
    std::unordered_map<IConfigSubscriber*, std::size_t> mIndex;
    for (Table* pTable : m_lChanged) {
        for (IConfigSubscriber* pSubscriber : pTable->m_lSubscribers) {
            const auto [it, bNew] = mIndex.try_emplace(pSubscriber, lDeliveries.size());
            if (bNew) {
                lDeliveries.push_back({pSubscriber, {}});
            }
            lDeliveries[it->second].m_lTables.push_back(pTable);
        }
    }
    for (Table* pTable : m_lChanged) {
        pTable->m_bChanged = false;
    }
    m_lChanged.clear();
    for (const auto& oDelivery : lDeliveries) {
        try {
            deliver(oDelivery);
        } catch (const std::bad_alloc&) {
            zel::noteMemoryFailure();
            std::ranges::for_each(oDelivery.m_lTables, [this](Table* a_pTable) { addChanged(*a_pTable); });
        }
    }
}

void ConfigDispatcher::deliver(const Delivery& a_oDelivery)
{
    NameList lNames;
    for (const Table* pTable : a_oDelivery.m_lTables) {
        if (pTable->hasSubscriber(a_oDelivery.m_pSubscriber)) { // it may have left, and be gone, since
            lNames.add(pTable->m_sName);
        }
    }
    if (lNames.empty()) {
        return;
    }
    try {
        a_oDelivery.m_pSubscriber->notify(lNames);
        m_oStatistics.m_iNotifications += static_cast<unsigned>(lNames.size());
    } catch (const std::bad_alloc&) {
        throw;
    } catch (...) {
        ZEL_Sysloglevel_error(m_iModule, zel::here(), "notify failed: %s", zel::error::describeException());
    }
}

} // namespace systema
