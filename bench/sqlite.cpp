#include "bench/sqlite.h"

#include "bench/check.h"

#include <sqlite3.h>

namespace bench {

Sqlite::Sqlite(const std::filesystem::path& a_oFile)
{
    check(sqlite3_open_v2(a_oFile.c_str(), &m_pDatabase,
                          SQLITE_OPEN_READWRITE | SQLITE_OPEN_CREATE | SQLITE_OPEN_NOMUTEX,
                          nullptr) == SQLITE_OK,
          "SQLite opens no file");
    run("PRAGMA locking_mode = EXCLUSIVE");
    run("PRAGMA synchronous = OFF");
    run("PRAGMA foreign_keys = ON");
}

Sqlite::~Sqlite()
{
    sqlite3_close(m_pDatabase);
}

void Sqlite::run(const std::string& a_sSql) const
{
    check(sqlite3_exec(m_pDatabase, a_sSql.c_str(), nullptr, nullptr, nullptr) == SQLITE_OK,
          sqlite3_errmsg(m_pDatabase));
}

std::unique_ptr<Sqlite::Statement> Sqlite::prepare(const std::string& a_sSql) const
{
    sqlite3_stmt* pStatement = nullptr;
    const int iCode =
        sqlite3_prepare_v3(m_pDatabase, a_sSql.c_str(), -1, SQLITE_PREPARE_PERSISTENT, &pStatement, nullptr);
    check(iCode == SQLITE_OK, sqlite3_errmsg(m_pDatabase));
    return std::make_unique<Statement>(pStatement);
}

Sqlite::Statement::~Statement()
{
    sqlite3_finalize(m_pStatement);
}

void Sqlite::Statement::bind(int a_iParameter, int a_iValue)
{
    sqlite3_bind_int(m_pStatement, a_iParameter, a_iValue);
}

void Sqlite::Statement::bind(int a_iParameter, const std::string& a_sValue)
{
    sqlite3_bind_text(m_pStatement, a_iParameter, a_sValue.data(), static_cast<int>(a_sValue.size()),
                      SQLITE_TRANSIENT);
}

bool Sqlite::Statement::step()
{
    const int iCode = sqlite3_step(m_pStatement);
    if (iCode == SQLITE_ROW) {
        return true;
    }
    sqlite3_reset(m_pStatement);
    check(iCode == SQLITE_DONE, sqlite3_errstr(iCode));
    return false;
}

void Sqlite::Statement::run()
{
    while (step()) {
    }
}

int Sqlite::Statement::number(int a_iColumn) const
{
    return sqlite3_column_int(m_pStatement, a_iColumn);
}

std::string Sqlite::Statement::text(int a_iColumn) const
{
    const auto* pText = reinterpret_cast<const char*>(sqlite3_column_text(m_pStatement, a_iColumn));
    return {pText, static_cast<std::size_t>(sqlite3_column_bytes(m_pStatement, a_iColumn))};
}

Entry Sqlite::Statement::entry() const
{
    return {number(0), text(1), number(2), number(3), number(4), text(5), text(6), text(7)};
}

} // namespace bench
