// A database outside of the daemon: built from a text, looked into, copied.
//
// Owned by who builds or checks a database and used on one thread. Unlike SqliteConnection it may change the
// schema; triggers do not fire and references are not enforced, so that rows come back as they were saved.
// Nothing waits for a lock. Every failure is an SqliteError. What passes the size of a database in memory, or
// the limit of limitMemory(), is at fault itself (Content); a disk or a memory that is full is a fault of the
// machine.
#pragma once

#include <cstddef>
#include <cstdint>
#include <memory>
#include <optional>
#include <stdexcept>
#include <string>
#include <vector>

struct sqlite3;

namespace systema {

class SqliteError : public std::runtime_error
{
public:
    enum class ECause
    {
        Content, // of the text or of the file
        Machine, // no space, no memory, no permission: the content may be good
    };

    SqliteError(ECause a_eCause, const std::string& a_sText);

    bool isOfMachine() const { return m_eCause == ECause::Machine; }

private:
    ECause m_eCause;
};

class SqliteFile
{
public:
    enum class EOpen
    {
        New,      // the file must not exist; its owner alone may read it, for databases hold passwords
        Existing, // a journal that belongs to the file is rolled back at the first use
    };

    /// What is neither committed nor rolled back by the end of its life is rolled back.
    class Transaction
    {
    public:
        explicit Transaction(SqliteFile& a_oFile);
        ~Transaction();
        Transaction(const Transaction&) = delete;
        Transaction& operator=(const Transaction&) = delete;

        void commit();

    private:
        SqliteFile& m_oFile;
        bool m_bOpen = true;
    };

    struct Copied
    {
        std::size_t m_iRefused = 0; // rows that break a constraint
        std::string m_sReason{};    // of the first of them
    };

    using Row = std::vector<std::string>; // NULL is an empty text

    /// A database in memory of at most so many bytes.
    explicit SqliteFile(std::uint64_t a_iMostBytes);
    SqliteFile(const std::string& a_sFile, EOpen a_eOpen);

    /// Locks the file against every other process until this object goes; false when another uses it. Any
    /// other error, as for a file that is no database, throws.
    bool lock();

    /// Runs statements of the program's own.
    void run(const std::string& a_sSql);
    /// Runs the statements of a text from outside up to the first that fails, whose line is in the error; the
    /// text begins with line a_iFirstLine. It belongs into a Transaction; the text itself can neither begin
    /// nor end one, attach a file or change a setting, and computes no recursive queries.
    void runForeign(const std::string& a_sText, std::size_t a_iFirstLine = 1);
    /// True when the text ends with the end of a statement.
    static bool isComplete(const std::string& a_sText);
    /// Limits what SQLite takes of the memory, over all databases of the process.
    static void limitMemory(std::uint64_t a_iMostBytes);
    std::vector<Row> select(const std::string& a_sSql) const;
    /// What the integrity check finds first.
    std::optional<std::string> checkIntegrity() const;

    /// Runs a_sInsert, with a parameter for each column, for every row of a_sSelect in the source.
    Copied copyRows(const SqliteFile& a_oSource, const std::string& a_sSelect, const std::string& a_sInsert);
    /// Makes the target, whatever it holds, a copy of the whole database.
    void copyTo(SqliteFile& a_oTarget) const;

private:
    struct Close
    {
        void operator()(sqlite3* a_pDatabase) const;
    };
    class Statement;

    void open(const std::string& a_sFile, bool a_bNew);
    void check(int a_iCode) const;

    std::uint64_t m_iMostBytes = 0; // of a database in memory, 0 for a file
    std::unique_ptr<sqlite3, Close> m_pDatabase;
};

} // namespace systema
