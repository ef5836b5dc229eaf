// What an import has to do to a table: the rows of the file against those that are there. Free functions, so
// that it can be tested without a daemon.
#pragma once

#include "cli/json.h"
#include "cli/outcome.h"
#include "client/rows.h"
#include "systema/lists.h"

#include <optional>
#include <string>
#include <utility>
#include <vector>

namespace systema::cli {

/// Reads a JSON array of row objects into rows typed by the schema. 64: not an array of objects, a row
/// without a number as "Id", or two with the same; 7: a value that its column cannot take.
Outcome readRows(json_object* a_pRows, const ColumnList& a_lSchema, std::vector<ValueList>& a_lRows);

struct ImportPlan
{
    std::vector<std::string> m_lDeletes;                       // Ids
    std::vector<std::pair<std::string, ValueList>> m_lUpdates; // Id and the values that differ
    std::vector<ValueList> m_lInserts;                         // whole rows
    bool m_bZeroRowDiffers = false; // the row with Id 0 is another one, and nobody may write it

    std::size_t size() const { return m_lDeletes.size() + m_lUpdates.size() + m_lInserts.size(); }
};

/// What turns the current rows into the wanted ones. The row with Id 0 is hidden among the current ones and
/// given apart, if there is one.
ImportPlan planImport(const client::Rows& a_oCurrent, const std::optional<ValueList>& a_oZeroRow,
                      const std::vector<ValueList>& a_lWanted);

} // namespace systema::cli
