#include "storage/sqliteconnection.h"

#include "storage/journalvfs.h"
#include "storage/sqliteguard.h"
#include "systema/rowfiller.h"
#include "zel/assert.h"
#include "zel/log.h"

#include <sqlite3.h>

#include <sstream>
#include <utility>

using zel::error::Assert;

namespace systema {

namespace {

EResultCode mapCode(int a_iSqliteCode)
{
    switch (a_iSqliteCode) {
    case SQLITE_ERROR:
        return EResultCode::NoTable;
    case SQLITE_BUSY:
        return EResultCode::Busy;
    case SQLITE_LOCKED:
        return EResultCode::Locked;
    case SQLITE_READONLY:
        return EResultCode::ReadOnly;
    case SQLITE_PROTOCOL:
        return EResultCode::Protocol;
    case SQLITE_CONSTRAINT:
        return EResultCode::Constraint;
    case SQLITE_MISMATCH:
        return EResultCode::Mismatch;
    default:
        return EResultCode::Failure;
    }
}

EResultCode readFirst(ValueList& a_row, SqliteStatement& a_oStatement)
{
    if (a_oStatement.step() != SQLITE_ROW) {
        return EResultCode::NoRow;
    }
    RowFiller oSink(a_row, a_oStatement.getColumns());
    a_oStatement.readRow(oSink);
    return EResultCode::Success;
}

} // namespace

SqliteConnection::SqliteConnection(const std::string& a_name, const std::string& a_path, bool a_exclusive)
    : m_iModule(ZEL_Sysloglevel_registerModul("SQLiteWrap")),
      m_bExclusive(a_exclusive),
      m_sName(a_name),
      m_sPath(a_path)
{
    open();
}

SqliteConnection::~SqliteConnection()
{
    close();
}

void SqliteConnection::open()
{
    if (isOpen()) {
        return;
    }
    // Only before the first database of the process is opened; later it is refused. Nobody asks SQLite for
    // its memory statistics, and they cost a lock at every allocation. And views, too, shall show the natural
    // order of the table behind them, not that of an index which happens to hold the wanted columns.
    [[maybe_unused]] static const int c_iConfigured =
        sqlite3_config(SQLITE_CONFIG_MEMSTATUS, 0) | sqlite3_config(SQLITE_CONFIG_COVERING_INDEX_SCAN, 0);
    // One thread uses the connection, so SQLite need not lock it at every call.
    const int ret = sqlite3_open_v2((m_sPath + "/" + m_sName).c_str(), &m_pDatabase,
                                    SQLITE_OPEN_READWRITE | SQLITE_OPEN_CREATE | SQLITE_OPEN_NOMUTEX,
                                    m_bExclusive ? getJournalVfs() : nullptr);
    if (ret == SQLITE_NOMEM) {
        zel::noteMemoryFailure();
    }
    if (ret != SQLITE_OK) {
        sqlite3_close(std::exchange(m_pDatabase, nullptr));
    }
    Assert(ret == 0, "ret == 0");
    m_bAlone = m_bExclusive && exec("PRAGMA locking_mode = EXCLUSIVE;") == EResultCode::Success;
    if (m_bExclusive) {
        exec("PRAGMA synchronous = OFF;");
    }
    exec("PRAGMA foreign_keys = ON;");
    guardDatabase(m_pDatabase);
    sqlite3_rollback_hook(m_pDatabase, onRollback, this);
    Assert(true == isOpen(), "true == isOpen()");
}

void SqliteConnection::close()
{
    if (isOpen()) {
        ++m_iConnection;
        m_oStatements.clear();
        while (sqlite3_stmt* pStatement = sqlite3_next_stmt(m_pDatabase, nullptr)) {
            sqlite3_finalize(pStatement);
        }
        sqlite3_close(m_pDatabase);
        m_pDatabase = nullptr;
    }
    Assert(false == isOpen(), "false == isOpen()");
}

void SqliteConnection::dropCache()
{
    m_oStatements.clear();
    if (isOpen()) {
        sqlite3_db_release_memory(m_pDatabase);
    }
}

void SqliteConnection::onRollback(void* a_pConnection)
{
    // Without a transaction it is a failed statement alone that is undone, and what was read before holds.
    auto& oConnection = *static_cast<SqliteConnection*>(a_pConnection);
    if (sqlite3_get_autocommit(oConnection.m_pDatabase) == 0) {
        ++oConnection.m_iRollbacks;
    }
}

bool SqliteConnection::isInTransaction() const
{
    return isOpen() && sqlite3_get_autocommit(m_pDatabase) == 0;
}

SqliteState SqliteConnection::getState() const
{
    return {m_iConnection, m_iRollbacks, isOpen() ? sqlite3_total_changes64(m_pDatabase) : 0};
}

EResultCode SqliteConnection::exec(const char* a_sql) const
{
    return getResultCode(
        isOpen() ? sqlite3_exec(m_pDatabase, a_sql, nullptr, nullptr, nullptr) : SQLITE_MISUSE, "exec");
}

int SqliteConnection::query(const char* a_sql, sqlite3_stmt** a_statement) const
{
    Assert(nullptr != a_sql, "0 != a_sql");
    Assert(nullptr != a_statement, "0 != a_statement");
    return isOpen() ? sqlite3_prepare_v2(m_pDatabase, a_sql, -1, a_statement, nullptr) : SQLITE_MISUSE;
}

EResultCode SqliteConnection::getResultCode(int a_iSqliteCode, const char* a_message) const
{
    Assert(nullptr != a_message, "0 != a_message");
    if (a_iSqliteCode == SQLITE_OK || a_iSqliteCode >= SQLITE_ROW) {
        return EResultCode::Success;
    }
    if (a_iSqliteCode == SQLITE_NOMEM) {
        zel::noteMemoryFailure();
    }
    return logSqliteError(a_iSqliteCode,
                          isOpen() ? sqlite3_errmsg(m_pDatabase) : sqlite3_errstr(a_iSqliteCode), a_message);
}

EResultCode SqliteConnection::logSqliteError(int a_iSqliteCode, const char* a_pDetail,
                                             const char* a_message) const
{
    ZEL_Sysloglevel_error(m_iModule, zel::here(), "Error %d (%s)", a_iSqliteCode, a_pDetail);
    return logError(a_message, mapCode(a_iSqliteCode));
}

EResultCode SqliteConnection::logError(const char* a_message, const EResultCode& a_code) const
{
    std::ostringstream oCode;
    a_code.put(oCode);
    ZEL_Sysloglevel_error(m_iModule, zel::here(), "%s failed with error: %s", a_message, oCode.str().c_str());
    return a_code;
}

EResultCode SqliteConnection::logSyntaxError(std::string_view a_sPiece, const char* a_pOperation) const
{
    const std::string sDetail = "near \"" + std::string(a_sPiece) + "\": syntax error";
    return logSqliteError(SQLITE_ERROR, sDetail.c_str(), a_pOperation);
}

EResultCode SqliteConnection::check(const SqlText& a_oText, const char* a_pOperation) const
{
    if (a_oText.isTooLong()) {
        const std::string sMessage =
            "SQL string exceeds limit of " + std::to_string(a_oText.getLimit()) + " chars,";
        return logError(sMessage.c_str(), EResultCode::Failure);
    }
    return a_oText.getRefused() && isOpen() ? logSyntaxError(*a_oText.getRefused(), a_pOperation)
                                            : EResultCode(EResultCode::Success);
}

int SqliteConnection::prepare(const SqlText& a_oText, RunningStatement& a_pStatement) const
{
    if (!isOpen()) {
        return SQLITE_MISUSE;
    }
    if (!m_bAlone) {
        m_oStatements.clear(); // another connection may have changed the schema
    }
    const std::string& sText = a_oText.getPrepared();
    SqliteStatement* pStatement = m_oStatements.find(sText);
    if (pStatement == nullptr) {
        sqlite3_stmt* pPrepared = nullptr;
        const int iCode = sqlite3_prepare_v3(m_pDatabase, sText.c_str(), static_cast<int>(sText.size()) + 1,
                                             SQLITE_PREPARE_PERSISTENT, &pPrepared, nullptr);
        if (iCode != SQLITE_OK) {
            return iCode;
        }
        pStatement = &m_oStatements.add(sText, SqliteStatement(pPrepared));
    }
    a_pStatement.reset(pStatement);
    return pStatement->bind(a_oText);
}

EResultCode SqliteConnection::prepare(const SqlText& a_oText, RunningStatement& a_pStatement,
                                      const char* a_pOperation) const
{
    const EResultCode eCode = check(a_oText, a_pOperation);
    return eCode != EResultCode::Success ? eCode
                                         : getResultCode(prepare(a_oText, a_pStatement), a_pOperation);
}

EResultCode SqliteConnection::select(ValueList& a_row, const SqlText& a_oText) const
{
    RunningStatement pStatement;
    const EResultCode eCode = prepare(a_oText, pStatement, "selectSql");
    return eCode != EResultCode::Success ? eCode : readFirst(a_row, *pStatement);
}

EResultCode SqliteConnection::selectSql(ValueList& a_row, const char* a_sql) const
{
    sqlite3_stmt* pPrepared = nullptr;
    const EResultCode eCode = getResultCode(query(a_sql, &pPrepared), "selectSql");
    SqliteStatement oStatement(pPrepared);
    return eCode != EResultCode::Success ? eCode : readFirst(a_row, oStatement);
}

EResultCode SqliteConnection::execute(const SqlText& a_oText) const
{
    RunningStatement pStatement;
    const EResultCode eCode = prepare(a_oText, pStatement, "exec");
    return eCode != EResultCode::Success ? eCode : getResultCode(pStatement->step(), "exec");
}

} // namespace systema
