// A table as export and import need it: all its rows, also the one with Id 0, and its schema.
#pragma once

#include "client/connection.h"

#include <optional>
#include <string>

namespace systema::cli {

struct WholeTable
{
    ColumnList m_lSchema;
    client::Rows m_oRows;
    std::optional<ValueList> m_oZeroRow; // which no position and no bulk read shows
};

/// Reads a table. The codes are those of its requests; a table without a row with Id 0 is no failure.
client::Status readTable(client::Connection& a_oConnection, const std::string& a_sTable,
                         WholeTable& a_oTable);

/// What stands in front of the text of a table's failure.
std::string tableContext(const std::string& a_sTable);

} // namespace systema::cli
