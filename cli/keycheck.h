// Refuses a set or del by key when several rows of a stored table have the key's value.
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

    /// Whether the write is to be checked: a set or del by key, not of all matching rows, of a stored table.
    bool concerns(const Arguments& a_oArguments);
    /// 0: at most one row has the value. 1: more have, or what the column holds cannot be read. 10: none has,
    /// or the database takes it for a value that is shown otherwise; 8: no such column.
    client::Status check(const Arguments& a_oArguments);
    /// Drops the counts that the next write may change.
    void forget(const Arguments& a_oArguments);

private:
    using Texts = std::map<std::string, std::size_t>; // with the number of rows that have it
    /// By the text in lower case without blanks at its end, which no collation of the database tells apart.
    using Column = std::map<std::string, Texts>;

    static bool isSurelyAlone(const Column& a_oColumn, const std::string& a_sText);
    client::Result<Column> readColumn(const std::string& a_sTable, const std::string& a_sColumn);
    client::Result<std::optional<std::string>> readFirst(const Arguments& a_oArguments,
                                                         const std::string& a_sText);

    client::Connection& m_oConnection;
    std::optional<NameList> m_oStored;
    std::map<std::pair<std::string, std::string>, Column> m_mColumns; // by table and column
};

} // namespace systema::cli
