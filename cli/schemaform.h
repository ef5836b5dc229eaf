// A table's schema in the forms of the output: its columns, what each demands of a value and which columns
// refer to it, and what the table is. Free functions over what the daemon says; facts of a kind that is not
// known here are left out.
#pragma once

#include "cli/references.h"
#include "client/rows.h"
#include "systema/lists.h"
#include "systema/tabledescription.h"

#include <optional>
#include <ostream>
#include <string>
#include <vector>

namespace systema::cli {

/// "stored", "live" or "view".
const char* kindName(const TableDescription& a_oDescription);
/// "writable" or "read-only".
const char* accessName(const TableDescription& a_oDescription);
/// What the table is, in words: "stored in services.db, writable".
std::string tableText(const TableDescription& a_oDescription);

struct TableSchema
{
    ColumnList m_lColumns;
    std::optional<TableDescription> m_oDescription{}; // nothing from a daemon too old to describe tables
    std::vector<Reference> m_lReferrers{};
};

/// A row per column: its name, type, default and constraints; the last two are left out where no column has
/// any, unless a_bEveryColumn asks for them, and for what the table is, in each row.
client::Rows schemaRows(const TableSchema& a_oSchema, bool a_bEveryColumn);

/// An array with an object per column, which has members for what there is.
void writeSchemaJson(std::ostream& a_oStream, const TableSchema& a_oSchema);

} // namespace systema::cli
