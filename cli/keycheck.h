// Finds the keys by which the daemon makes a set or del by key. Refuses one when several rows of a stored
// table have the key's value. The daemon takes no NULL as a key: such rows are found by reading the table,
// and written by their Ids. In a key of a stored table it takes quotes doubled.
//
// Made by a command, which checks within the transaction of the write, so that the count still holds when the
// write is made. Virtual tables are not checked: their writes act on one row.
#pragma once

#include "cli/arguments.h"
#include "client/connection.h"

#include <cstddef>
#include <map>
#include <optional>
#include <string>
#include <utility>
#include <vector>

namespace systema::cli {

class KeyCheck
{
public:
    explicit KeyCheck(client::Connection& a_oConnection) : m_oConnection(a_oConnection) {}

    /// Whether the keys of the write are to be found: a set or del by key of a stored table, not of all
    /// matching rows unless the daemon takes the key only in another form.
    bool concerns(const Arguments& a_oArguments);
    /// Whether the daemon does not take the key, so that its rows are found by reading.
    bool needsRows(const Arguments& a_oArguments);
    /// The value of a key as the daemon takes it: for a stored table with each single quote doubled.
    std::string sentValue(const std::string& a_sTable, const std::string& a_sText);
    /// The keys of the write, each for one row. 1: several rows have the value and not all matching ones are
    /// meant, or what the column holds cannot be read. 10: none has it, or the database takes it for a value
    /// that is shown otherwise; 8: no such column.
    client::Result<std::vector<Assignment>> find(const Arguments& a_oArguments);
    /// Drops the counts that the next write may change.
    void forget(const Arguments& a_oArguments);

private:
    using Texts = std::map<std::string, std::size_t>; // with the number of rows that have it
    struct Column
    {
        /// By the text in lower case without blanks at its end, which no collation of the database tells
        /// apart.
        std::map<std::string, Texts> m_mTexts;
        bool m_bDistinct = false; // no two rows have the same, also of those that are not in the texts
    };

    bool isStored(const std::string& a_sTable);
    client::Result<std::vector<Assignment>> findIds(const Arguments& a_oArguments);
    bool canShowNull(const std::string& a_sTable, const std::string& a_sColumn);
    client::Status checkAlone(const std::string& a_sTable, const Assignment& a_oKey, const char* a_pAdvice);
    bool isDistinct(const std::string& a_sTable, const std::string& a_sColumn);
    static bool isSurelyAlone(const Column& a_oColumn, const std::string& a_sText);
    client::Result<Column> readColumn(const std::string& a_sTable, const std::string& a_sColumn);
    client::Result<std::optional<std::string>>
    readFirst(const std::string& a_sTable, const std::string& a_sColumn, const std::string& a_sText);

    client::Connection& m_oConnection;
    std::optional<NameList> m_oStored;
    std::map<std::pair<std::string, std::string>, Column> m_mColumns; // by table and column
};

} // namespace systema::cli
