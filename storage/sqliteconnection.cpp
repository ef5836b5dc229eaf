#include "storage/sqliteconnection.h"

#include "storage/journalvfs.h"
#include "storage/sqliteguard.h"
#include "systema/refusal.h"
#include "systema/rowfiller.h"
#include "zel/assert.h"
#include "zel/log.h"
#include "zel/stopflag.h"

#include <sqlite3.h>

#include <algorithm>
#include <cstring>
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

/// True for a code whose message the client may see: it names tables, columns and limits, never a value.
bool isShownToClients(int a_iSqliteCode)
{
    return a_iSqliteCode == SQLITE_CONSTRAINT || a_iSqliteCode == SQLITE_MISMATCH ||
           a_iSqliteCode == SQLITE_FULL || a_iSqliteCode == SQLITE_INTERRUPT;
}

constexpr std::uint64_t c_iSparePages = 64; // behind the limit
constexpr std::uint64_t c_iMiB = 1024 * 1024;

} // namespace

SqliteConnection::SqliteConnection(const std::string& a_sName, const std::string& a_sPath, bool a_bExclusive,
                                   std::uint64_t a_iLimit)
    : m_iModule(ZEL_Sysloglevel_registerModul("SQLiteWrap")),
      m_bExclusive(a_bExclusive),
      m_sName(a_sName),
      m_sPath(a_sPath),
      m_iLimit(a_iLimit)
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
    const std::string sFile = m_sPath + "/" + m_sName;
    const int ret = sqlite3_open_v2(sFile.c_str(), &m_pDatabase,
                                    SQLITE_OPEN_READWRITE | SQLITE_OPEN_CREATE | SQLITE_OPEN_NOMUTEX,
                                    m_bExclusive ? getJournalVfs() : nullptr);
    if (ret == SQLITE_NOMEM) {
        zel::noteMemoryFailure();
    }
    if (ret != SQLITE_OK) {
        const int iCause = sqlite3_system_errno(m_pDatabase);
        ZEL_Sysloglevel_error(m_iModule, zel::here(), "%s: %s%s%s", sFile.c_str(),
                              sqlite3_errmsg(m_pDatabase), iCause == 0 ? "" : ": ",
                              iCause == 0 ? "" : std::strerror(iCause));
        sqlite3_close(std::exchange(m_pDatabase, nullptr));
    }
    Assert(ret == 0, "ret == 0");
    m_bAlone = m_bExclusive && exec("PRAGMA locking_mode = EXCLUSIVE;") == EResultCode::Success;
    if (m_bExclusive) {
        exec("PRAGMA synchronous = OFF;");
    }
    exec("PRAGMA foreign_keys = ON;");
    // Reads the file, which undoes what a killed process left half done. Only now is the size of its pages
    // known.
    readNumber("PRAGMA page_count");
    limitSize();
    if (m_bExclusive) {
        reserveJournal(m_pDatabase);
    }
    m_oTouched.watch(m_pDatabase);
    guardDatabase(m_pDatabase);
    limitStatements(m_pDatabase);
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

int SqliteConnection::readNumber(const char* a_pSql) const
{
    sqlite3_stmt* pPrepared = nullptr;
    const int iCode = query(a_pSql, &pPrepared);
    SqliteStatement oStatement(pPrepared);
    return iCode == SQLITE_OK && oStatement.step() == SQLITE_ROW ? oStatement.readNumber() : 0;
}

void SqliteConnection::limitSize()
{
    m_iMostPages = 0;
    m_oGrowth.reset();
    const int iPageSize = readNumber("PRAGMA page_size");
    if (m_iLimit > 0 && iPageSize > 0) {
        m_iMostPages = std::max<std::uint64_t>(m_iLimit / static_cast<unsigned>(iPageSize), 1);
        allowGrowth(EGrowth::UpToLimit);
    }
}

void SqliteConnection::allowGrowth(EGrowth a_eGrowth) const
{
    if (m_iMostPages == 0 || !isOpen() || m_oGrowth == a_eGrowth) {
        return;
    }
    // In a file that is larger already SQLite takes what there is.
    const std::string sPages =
        std::to_string(m_iMostPages + (a_eGrowth == EGrowth::Beyond ? c_iSparePages : 0));
    SqlText oText(std::string::npos);
    oText.sql("PRAGMA max_page_count = ").sql(sPages);
    RunningStatement pStatement;
    int iCode = prepare(oText, pStatement);
    if (iCode == SQLITE_OK) {
        iCode = pStatement->step();
    }
    if (getResultCode(iCode, "limit") == EResultCode::Success) {
        m_oGrowth = a_eGrowth;
    }
}

void SqliteConnection::onRollback(void* a_pConnection)
{
    // Without a transaction it is a failed statement alone that is undone, and what was read before holds.
    auto& oConnection = *static_cast<SqliteConnection*>(a_pConnection);
    oConnection.m_oTouched.forget();
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

EResultCode SqliteConnection::exec(const char* a_pSql) const
{
    return getResultCode(
        isOpen() ? sqlite3_exec(m_pDatabase, a_pSql, nullptr, nullptr, nullptr) : SQLITE_MISUSE, "exec");
}

int SqliteConnection::query(const char* a_pSql, sqlite3_stmt** a_pStatement) const
{
    Assert(nullptr != a_pSql, "0 != a_sql");
    Assert(nullptr != a_pStatement, "0 != a_statement");
    return isOpen() ? sqlite3_prepare_v2(m_pDatabase, a_pSql, -1, a_pStatement, nullptr) : SQLITE_MISUSE;
}

EResultCode SqliteConnection::getResultCode(int a_iSqliteCode, const char* a_pMessage) const
{
    Assert(nullptr != a_pMessage, "0 != a_message");
    if (a_iSqliteCode == SQLITE_OK || a_iSqliteCode >= SQLITE_ROW) {
        return EResultCode::Success;
    }
    if (a_iSqliteCode == SQLITE_NOMEM) {
        zel::noteMemoryFailure();
    }
    const std::string sDetail = describe(a_iSqliteCode);
    if (isShownToClients(a_iSqliteCode)) {
        noteRefusal(mapCode(a_iSqliteCode), sDetail);
    }
    return logSqliteError(a_iSqliteCode, sDetail.c_str(), a_pMessage);
}

std::string SqliteConnection::describe(int a_iSqliteCode) const
{
    if (!isOpen()) {
        return sqlite3_errstr(a_iSqliteCode);
    }
    if (sqlite3_errcode(m_pDatabase) == a_iSqliteCode && a_iSqliteCode == SQLITE_INTERRUPT) {
        return m_sName + ": the statement is undone, " +
               (zel::isStopRequested()
                    ? "for the daemon is to stop"
                    : "for it ran for " + std::to_string(SqliteStatement::c_oDeadline.count()) + " seconds");
    }
    if (sqlite3_errcode(m_pDatabase) == a_iSqliteCode && a_iSqliteCode == SQLITE_FULL) {
        return takeLackOfSpace(m_pDatabase) || m_iMostPages == 0
                   ? m_sName + ": no space left in " + m_sPath
                   : m_sName + " has reached its limit of " + std::to_string(m_iLimit / c_iMiB) + " MiB";
    }
    return sqlite3_errmsg(m_pDatabase);
}

bool SqliteConnection::isEnded(int a_iSqliteCode)
{
    return a_iSqliteCode == SQLITE_INTERRUPT || a_iSqliteCode == SQLITE_NOMEM;
}

EResultCode SqliteConnection::logSqliteError(int a_iSqliteCode, const char* a_pDetail,
                                             const char* a_pMessage) const
{
    ZEL_Sysloglevel_error(m_iModule, zel::here(), "Error %d (%s)", a_iSqliteCode, a_pDetail);
    return logError(a_pMessage, mapCode(a_iSqliteCode));
}

EResultCode SqliteConnection::logError(const char* a_pMessage, const EResultCode& a_eCode) const
{
    std::ostringstream oCode;
    a_eCode.put(oCode);
    ZEL_Sysloglevel_error(m_iModule, zel::here(), "%s failed with error: %s", a_pMessage,
                          oCode.str().c_str());
    return a_eCode;
}

EResultCode SqliteConnection::logSyntaxError(const std::string& a_sRefused, const char* a_pOperation) const
{
    const std::string sDetail = a_sRefused + ": syntax error";
    return logSqliteError(SQLITE_ERROR, sDetail.c_str(), a_pOperation);
}

EResultCode SqliteConnection::check(const SqlText& a_oText, const char* a_pOperation) const
{
    if (a_oText.isTooLong()) {
        const std::string sLimit = std::to_string(a_oText.getLimit());
        noteRefusal(EResultCode::Failure, "the names and values of one request have more than the " + sLimit +
                                              " bytes that its statement may have");
        return logError(("SQL string exceeds limit of " + sLimit + " chars,").c_str(), EResultCode::Failure);
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

EResultCode SqliteConnection::readFirst(ValueList& a_lRow, SqliteStatement& a_oStatement) const
{
    const int iCode = a_oStatement.step();
    if (iCode != SQLITE_ROW) {
        return isEnded(iCode) ? getResultCode(iCode, "selectSql") : EResultCode(EResultCode::NoRow);
    }
    RowFiller oSink(a_lRow, a_oStatement.getColumns());
    a_oStatement.readRow(oSink);
    return EResultCode::Success;
}

EResultCode SqliteConnection::select(ValueList& a_lRow, const SqlText& a_oText,
                                     std::vector<StoredCell>* a_pCells) const
{
    RunningStatement pStatement;
    EResultCode eCode = prepare(a_oText, pStatement, "selectSql");
    if (eCode == EResultCode::Success) {
        eCode = readFirst(a_lRow, *pStatement);
    }
    if (eCode == EResultCode::Success && a_pCells != nullptr) {
        *a_pCells = pStatement->copyCells();
    }
    return eCode;
}

EResultCode SqliteConnection::selectSql(ValueList& a_lRow, const char* a_pSql) const
{
    sqlite3_stmt* pPrepared = nullptr;
    const EResultCode eCode = getResultCode(query(a_pSql, &pPrepared), "selectSql");
    SqliteStatement oStatement(pPrepared);
    return eCode != EResultCode::Success ? eCode : readFirst(a_lRow, oStatement);
}

EResultCode SqliteConnection::execute(const SqlText& a_oText) const
{
    RunningStatement pStatement;
    const EResultCode eCode = prepare(a_oText, pStatement, "exec");
    return eCode != EResultCode::Success ? eCode : getResultCode(pStatement->step(), "exec");
}

} // namespace systema
