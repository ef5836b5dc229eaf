// Refuses a set or del by key when several rows of a stored table have the key's value, and finds the row of
// a key with a quote, which the daemon refuses in these tables.
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

namespace systema::cli {

class KeyCheck
{
public:
    explicit KeyCheck(client::Connection& a_oConnection) : m_oConnection(a_oConnection) {}

    /// Whether the write is to be checked: a set or del by key of a stored table, not of all matching rows
    /// unless the key has a quote.
    bool concerns(const Arguments& a_oArguments);
    /// Whether the daemon refuses the key for a quote in its value.
    bool isQuoted(const Arguments& a_oArguments);
    /// 0: at most one row has the value; a key with a quote is replaced by the Id of that row. 1: more have,
    /// or what the column holds cannot be read. 10: none has, or the database takes it for a value that is
    /// shown otherwise; 8: no such column.
    client::Status check(Arguments& a_oArguments);
    /// Drops the counts that the next write may change.
    void forget(const Arguments& a_oArguments);

private:
    using Texts = std::map<std::string, std::size_t>; // with the number of rows that have it
    /// By the text in lower case without blanks at its end, which no collation of the database tells apart.
    using Column = std::map<std::string, Texts>;

    bool isStored(const std::string& a_sTable);
    client::Status replaceQuoted(Arguments& a_oArguments);
    static bool isSurelyAlone(const Column& a_oColumn, const std::string& a_sText);
    client::Result<Column> readColumn(const std::string& a_sTable, const std::string& a_sColumn);
    client::Result<std::optional<std::string>> readFirst(const Arguments& a_oArguments,
                                                         const std::string& a_sText);

    client::Connection& m_oConnection;
    std::optional<NameList> m_oStored;
    std::map<std::pair<std::string, std::string>, Column> m_mColumns; // by table and column
};

} // namespace systema::cli
