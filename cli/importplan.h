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

struct ImportRow
{
    std::string m_sWhere; // "rows[6], Id 7": the place counts from 0, as in JSON
    std::string m_sId;    // empty when the row gives none
    ValueList m_lValues;
};

/// Reads a JSON array of row objects into rows typed by the schema; columns get the letter case of it. 64:
/// not an array of objects, an "Id" that is no number or that two rows have, a column given twice; 7: a value
/// that its column cannot take; 8: no such column. The text of a failure names row and column.
Outcome readRows(json_object* a_pRows, const ColumnList& a_lSchema, std::vector<ImportRow>& a_lRows);

struct ImportPlan
{
    std::vector<std::string> m_lDeletes; // Ids
    std::vector<ImportRow> m_lUpdates;   // with the values that differ
    std::vector<ImportRow> m_lInserts;   // whole rows

    std::size_t size() const { return m_lDeletes.size() + m_lUpdates.size() + m_lInserts.size(); }
};

/// Plans what turns the current rows into the wanted ones. The row with Id 0 is hidden among the current ones
/// and given apart, if there is one. A row without Id is added with the next one that neither has. 4: the row
/// with Id 0 is to be another one; 64: no Id is left.
Outcome planImport(const client::Rows& a_oCurrent, const std::optional<ValueList>& a_oZeroRow,
                   std::vector<ImportRow> a_lWanted, ImportPlan& a_oPlan);

} // namespace systema::cli
