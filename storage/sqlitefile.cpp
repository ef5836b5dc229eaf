#include "storage/sqlitefile.h"

#include "zel/uniquefd.h"

#include <sqlite3.h>

#include <algorithm>
#include <cerrno>
#include <cstring>
#include <fcntl.h>
#include <sys/stat.h>

namespace systema {

namespace {

constexpr std::size_t c_iErrorLength = 120; // SQLite quotes the whole rest of a text that is cut off
constexpr const char* c_pInMemory = ":memory:";
constexpr const char* c_pBuildSettings =
    "PRAGMA foreign_keys = OFF; PRAGMA journal_mode = MEMORY; PRAGMA synchronous = OFF;";
constexpr std::uint64_t c_iPageSize = 4096;
constexpr std::uint64_t c_iMiB = 1024 * 1024;

sqlite3_int64 memoryLimit()
{
    return sqlite3_hard_heap_limit64(-1);
}

/// True when SQLite was refused memory because of the limit, not because the system had none.
bool hasPassedMemoryLimit()
{
    constexpr sqlite3_int64 c_iRounding = 8; // of what is asked for
    sqlite3_int64 iNow = 0;
    sqlite3_int64 iMostUsed = 0;
    sqlite3_int64 iLargest = 0; // that was asked for at once
    sqlite3_status64(SQLITE_STATUS_MEMORY_USED, &iNow, &iMostUsed, 0);
    sqlite3_status64(SQLITE_STATUS_MALLOC_SIZE, &iNow, &iLargest, 0);
    return memoryLimit() > 0 && iMostUsed + iLargest + c_iRounding >= memoryLimit();
}

SqliteError::ECause causeOf(int a_iCode)
{
    switch (a_iCode) {
    case SQLITE_FULL:
    case SQLITE_IOERR:
    case SQLITE_CANTOPEN:
    case SQLITE_NOMEM:
    case SQLITE_READONLY:
    case SQLITE_PERM:
        return SqliteError::ECause::Machine;
    default:
        return SqliteError::ECause::Content;
    }
}

std::string oneLine(std::string a_sText)
{
    a_sText.resize(std::min(a_sText.size(), c_iErrorLength));
    std::ranges::replace_if(
        a_sText, [](unsigned char a_iByte) { return a_iByte < ' '; }, ' ');
    return a_sText;
}

/// What the statement is refused for, or null. Adding a column with a constraint makes SQLite itself run a
/// quick check.
const char* findRefusal(int a_iAction, const char* a_pFirst)
{
    switch (a_iAction) {
    case SQLITE_ATTACH:
    case SQLITE_DETACH:
        return "may not attach or detach a file";
    case SQLITE_TRANSACTION:
    case SQLITE_SAVEPOINT:
        return "may not begin or end a transaction: all statements run in one";
    case SQLITE_CREATE_VTABLE:
    case SQLITE_DROP_VTABLE:
        return "may not make or drop a virtual table";
    case SQLITE_RECURSIVE:
        return "may not compute a recursive query";
    case SQLITE_PRAGMA:
        return std::strcmp(a_pFirst, "quick_check") == 0 ? nullptr : "may not use a PRAGMA";
    default:
        return nullptr;
    }
}

extern "C" int refuseControl(void* a_pRefusal, int a_iAction, const char* a_pFirst, const char*, const char*,
                             const char*)
{
    const char* pRefusal = findRefusal(a_iAction, a_pFirst);
    if (pRefusal == nullptr) {
        return SQLITE_OK;
    }
    *static_cast<const char**>(a_pRefusal) = pRefusal;
    return SQLITE_DENY;
}

/// Where the statement begins that follows blanks and comments.
const char* skipToStatement(const char* a_pText)
{
    for (;;) {
        a_pText += std::strspn(a_pText, " \t\r\n");
        const char* pEnd = nullptr;
        if (std::strncmp(a_pText, "--", 2) == 0) {
            pEnd = std::strchr(a_pText, '\n');
        } else if (std::strncmp(a_pText, "/*", 2) == 0) {
            pEnd = std::strstr(a_pText + 2, "*/");
            pEnd += pEnd == nullptr ? 0 : 2;
        }
        if (pEnd == nullptr) {
            return a_pText;
        }
        a_pText = pEnd;
    }
}

} // namespace

SqliteError::SqliteError(ECause a_eCause, const std::string& a_sText)
    : std::runtime_error(oneLine(a_sText)),
      m_eCause(a_eCause)
{
}

/// One prepared statement of a text.
class SqliteFile::Statement
{
public:
    /// Null, with a_pRest at the end, when only space and comments are left.
    Statement(const SqliteFile& a_oFile, const char* a_pText, const char** a_pRest = nullptr)
        : m_oFile(a_oFile)
    {
        sqlite3_stmt* pStatement = nullptr;
        const int iCode = sqlite3_prepare_v2(a_oFile.m_pDatabase.get(), a_pText, -1, &pStatement, a_pRest);
        m_pStatement.reset(pStatement);
        a_oFile.check(iCode);
    }

    bool isNull() const { return m_pStatement == nullptr; }
    sqlite3_stmt* get() const { return m_pStatement.get(); }

    /// True when there is a row.
    bool step()
    {
        const int iCode = sqlite3_step(get());
        if (iCode != SQLITE_ROW && iCode != SQLITE_DONE) {
            m_oFile.check(iCode);
        }
        return iCode == SQLITE_ROW;
    }

private:
    struct Finalize
    {
        void operator()(sqlite3_stmt* a_pStatement) const { sqlite3_finalize(a_pStatement); }
    };

    const SqliteFile& m_oFile;
    std::unique_ptr<sqlite3_stmt, Finalize> m_pStatement;
};

SqliteFile::Transaction::Transaction(SqliteFile& a_oFile) : m_oFile(a_oFile)
{
    m_oFile.run("BEGIN IMMEDIATE");
}

SqliteFile::Transaction::~Transaction()
{
    if (m_bOpen) { // fails when SQLite has rolled back already
        sqlite3_exec(m_oFile.m_pDatabase.get(), "ROLLBACK", nullptr, nullptr, nullptr);
    }
}

void SqliteFile::Transaction::commit()
{
    m_oFile.run("COMMIT");
    m_bOpen = false;
}

void SqliteFile::Close::operator()(sqlite3* a_pDatabase) const
{
    sqlite3_close(a_pDatabase);
}

SqliteFile::SqliteFile(std::uint64_t a_iMostBytes) : m_iMostBytes(a_iMostBytes)
{
    open(c_pInMemory, true);
    run("PRAGMA max_page_count = " + std::to_string(a_iMostBytes / c_iPageSize));
}

SqliteFile::SqliteFile(const std::string& a_sFile, EOpen a_eOpen)
{
    const bool bNew = a_eOpen == EOpen::New;
    if (bNew &&
        !zel::UniqueFd(::open(a_sFile.c_str(), O_WRONLY | O_CREAT | O_EXCL | O_CLOEXEC, S_IRUSR | S_IWUSR))) {
        throw SqliteError(SqliteError::ECause::Machine, a_sFile + ": " + std::strerror(errno));
    }
    open(a_sFile, bNew);
}

void SqliteFile::open(const std::string& a_sFile, bool a_bNew)
{
    sqlite3* pDatabase = nullptr;
    const int iCode = sqlite3_open_v2(a_sFile.c_str(), &pDatabase, SQLITE_OPEN_READWRITE, nullptr);
    m_pDatabase.reset(pDatabase);
    check(iCode);
    int* pIgnored = nullptr;
    sqlite3_db_config(pDatabase, SQLITE_DBCONFIG_DEFENSIVE, 1, pIgnored);
    sqlite3_db_config(pDatabase, SQLITE_DBCONFIG_TRUSTED_SCHEMA, 0, pIgnored);
    sqlite3_db_config(pDatabase, SQLITE_DBCONFIG_ENABLE_TRIGGER, 0, pIgnored);
    if (a_bNew) {
        run(c_pBuildSettings);
    }
}

void SqliteFile::check(int a_iCode) const
{
    if (a_iCode == SQLITE_OK) {
        return;
    }
    if (a_iCode == SQLITE_FULL && m_iMostBytes > 0) {
        throw SqliteError(SqliteError::ECause::Content,
                          "larger than " + std::to_string(m_iMostBytes / c_iMiB) + " MiB as a database");
    }
    const bool bMemory =
        a_iCode == SQLITE_NOMEM || sqlite3_extended_errcode(m_pDatabase.get()) == SQLITE_IOERR_NOMEM;
    if (bMemory && hasPassedMemoryLimit()) {
        throw SqliteError(SqliteError::ECause::Content,
                          "takes more than " +
                              std::to_string(memoryLimit() / static_cast<sqlite3_int64>(c_iMiB)) +
                              " MiB of memory");
    }
    throw SqliteError(causeOf(a_iCode), sqlite3_errmsg(m_pDatabase.get()));
}

bool SqliteFile::lock()
{
    const int iCode = sqlite3_exec(m_pDatabase.get(), "BEGIN EXCLUSIVE", nullptr, nullptr, nullptr);
    if (iCode == SQLITE_BUSY) {
        return false;
    }
    check(iCode);
    return true;
}

void SqliteFile::run(const std::string& a_sSql)
{
    check(sqlite3_exec(m_pDatabase.get(), a_sSql.c_str(), nullptr, nullptr, nullptr));
}

bool SqliteFile::isComplete(const std::string& a_sText)
{
    return sqlite3_complete(a_sText.c_str()) != 0;
}

void SqliteFile::limitMemory(std::uint64_t a_iMostBytes)
{
    sqlite3_hard_heap_limit64(static_cast<sqlite3_int64>(a_iMostBytes));
}

void SqliteFile::runForeign(const std::string& a_sText, std::size_t a_iFirstLine)
{
    const char* pText = a_sText.c_str();
    const char* pRefusal = nullptr;
    sqlite3_set_authorizer(m_pDatabase.get(), refuseControl, static_cast<void*>(&pRefusal));
    const std::unique_ptr<sqlite3, void (*)(sqlite3*)> pUntilTheEnd(
        m_pDatabase.get(),
        [](sqlite3* a_pDatabase) { sqlite3_set_authorizer(a_pDatabase, nullptr, nullptr); });
    try {
        while (*pText != '\0') {
            const char* pRest = nullptr;
            Statement oStatement(*this, pText, &pRest);
            while (!oStatement.isNull() && oStatement.step()) {
            }
            pText = pRest;
        }
    } catch (const SqliteError& oError) {
        pText = skipToStatement(pText);
        const auto iLine = a_iFirstLine + static_cast<std::size_t>(std::count(a_sText.c_str(), pText, '\n'));
        throw SqliteError(oError.isOfMachine() ? SqliteError::ECause::Machine : SqliteError::ECause::Content,
                          "line " + std::to_string(iLine) + ": " +
                              (pRefusal == nullptr ? oError.what() : pRefusal));
    }
}

std::vector<SqliteFile::Row> SqliteFile::select(const std::string& a_sSql) const
{
    std::vector<Row> lRows;
    Statement oStatement(*this, a_sSql.c_str());
    while (oStatement.step()) {
        Row& lRow = lRows.emplace_back();
        for (int i = 0; i < sqlite3_column_count(oStatement.get()); ++i) {
            const auto* pText = sqlite3_column_text(oStatement.get(), i);
            lRow.emplace_back(pText == nullptr ? "" : reinterpret_cast<const char*>(pText));
        }
    }
    return lRows;
}

std::optional<std::string> SqliteFile::checkIntegrity() const
{
    try {
        const std::string sFirst = select("PRAGMA integrity_check(1)").at(0).at(0);
        return sFirst == "ok" ? std::nullopt : std::optional(oneLine(sFirst));
    } catch (const SqliteError& oError) {
        if (oError.isOfMachine()) {
            throw;
        }
        return oError.what();
    }
}

SqliteFile::Copied SqliteFile::copyRows(const SqliteFile& a_oSource, const std::string& a_sSelect,
                                        const std::string& a_sInsert)
{
    Statement oSelect(a_oSource, a_sSelect.c_str());
    Statement oInsert(*this, a_sInsert.c_str());
    Copied oCopied;
    while (oSelect.step()) {
        for (int i = 0; i < sqlite3_column_count(oSelect.get()); ++i) {
            check(sqlite3_bind_value(oInsert.get(), i + 1, sqlite3_column_value(oSelect.get(), i)));
        }
        const int iCode = sqlite3_step(oInsert.get());
        if (iCode == SQLITE_CONSTRAINT || iCode == SQLITE_MISMATCH) {
            if (oCopied.m_iRefused++ == 0) {
                oCopied.m_sReason = oneLine(sqlite3_errmsg(m_pDatabase.get()));
            }
        } else if (iCode != SQLITE_DONE) {
            check(iCode);
        }
        sqlite3_reset(oInsert.get());
    }
    return oCopied;
}

void SqliteFile::copyTo(SqliteFile& a_oTarget) const
{
    sqlite3* pTarget = a_oTarget.m_pDatabase.get();
    sqlite3_backup* pBackup = sqlite3_backup_init(pTarget, "main", m_pDatabase.get(), "main");
    if (pBackup != nullptr) {
        sqlite3_backup_step(pBackup, -1);
        sqlite3_backup_finish(pBackup); // leaves the error with the target
    }
    a_oTarget.check(sqlite3_errcode(pTarget));
}

} // namespace systema
