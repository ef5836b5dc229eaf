// Writes the results of the commands in the form that was asked for. Owned by the run of the program.
#pragma once

#include "cli/format.h"
#include "cli/outcome.h"
#include "cli/rowdiff.h"
#include "cli/schemaform.h"
#include "client/rows.h"
#include "systema/lists.h"
#include "systema/tabledescription.h"

#include <cstdint>
#include <optional>
#include <ostream>
#include <string>
#include <vector>

namespace systema::cli {

enum class EFormat
{
    Table,
    Json,
    Csv
};

/// What a check says of something; no fault: it is as it should be.
struct Finding
{
    std::string m_sName;
    std::optional<std::string> m_oFault;
};

/// What became of a command of a batch.
struct CommandResult
{
    enum class EState
    {
        NotRun,
        Done,
        Undone, // by the rollback after a failure
        Failed,
        Unknown // the connection broke
    };

    unsigned m_iLine; // where it begins
    EState m_eState = EState::NotRun;
    std::optional<std::int32_t> m_oId{}; // of the new row
    std::optional<Outcome> m_oFailure{};
};

class Printer
{
public:
    Printer(std::ostream& a_oStream, EFormat a_eFormat, EReader a_eReader = EReader::Program)
        : m_oStream(a_oStream),
          m_eFormat(a_eFormat),
          m_eReader(a_eReader)
    {
    }

    std::ostream& stream() { return m_oStream; }

    /// Names, one a line; in JSON an array of texts.
    void printNames(const std::string& a_sTitle, const NameList& a_lNames);
    /// The columns, and what else the daemon says of the table unless it is too old to.
    void printSchema(const TableSchema& a_oSchema);
    void printCount(std::uint32_t a_iCount);
    void printRows(const client::Rows& a_oRows);
    /// The values of rows, one a line. 1: a value of several lines among others.
    Outcome printValues(const client::Rows& a_oRows);
    /// The ids of new rows, one a line.
    void printIds(const std::vector<std::int32_t>& a_lIds);
    /// What became of the commands of a batch; in JSON an array of an object for each, in other formats the
    /// ids of new rows if all went well.
    void printResults(const std::vector<CommandResult>& a_lResults, bool a_bDone);
    /// Names with values; in JSON an object.
    void printRecord(const ValueList& a_lRecord);
    /// Names with their faults, "ok" where there is none; in JSON and CSV NULL.
    void printFindings(const std::string& a_sTitle, const std::vector<Finding>& a_lFindings);

    /// The head of a watch, which only CSV has.
    void printChangeHead(bool a_bRows);
    /// A table that changed, with what changed in its rows when that is known; and flushes.
    void printChange(const std::string& a_sTable, const RowDiff* a_pDiff = nullptr);

private:
    void printFlat(const client::Rows& a_oRows, bool a_bHeader);

    std::ostream& m_oStream;
    EFormat m_eFormat;
    EReader m_eReader;
};

} // namespace systema::cli
