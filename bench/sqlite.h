// The limit of everything that is stored: SQLite in this process, with the daemon's pragmas and statements
// that are prepared once.
//
// Every failure ends the measurement.
#pragma once

#include "bench/testtable.h"

#include <filesystem>
#include <memory>
#include <string>
#include <vector>

struct sqlite3;
struct sqlite3_stmt;

namespace bench {

class Sqlite
{
public:
    class Statement
    {
    public:
        /// Takes the prepared statement.
        explicit Statement(sqlite3_stmt* a_pStatement) : m_pStatement(a_pStatement) {}
        ~Statement();
        Statement(const Statement&) = delete;
        Statement& operator=(const Statement&) = delete;

        void bind(int a_iParameter, int a_iValue);
        /// The text is copied.
        void bind(int a_iParameter, const std::string& a_sValue);
        /// True when there is a row, false at the end, which also makes it ready to run again.
        bool step();
        /// Runs to the end.
        void run();
        int number(int a_iColumn) const;
        std::string text(int a_iColumn) const;
        /// The row it stands on, when all columns of a test table were asked for.
        Entry entry() const;

    private:
        sqlite3_stmt* m_pStatement;
    };

    explicit Sqlite(const std::filesystem::path& a_oFile);
    ~Sqlite();
    Sqlite(const Sqlite&) = delete;
    Sqlite& operator=(const Sqlite&) = delete;

    void run(const std::string& a_sSql) const;
    std::unique_ptr<Statement> prepare(const std::string& a_sSql) const;

private:
    sqlite3* m_pDatabase = nullptr;
};

} // namespace bench
