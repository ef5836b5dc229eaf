// What happened to the rows of a table between two reads of it.
#pragma once

#include "client/rows.h"

#include <vector>

namespace systema::cli {

struct RowChange
{
    client::RowView m_oBefore;
    client::RowView m_oAfter;
};

/// Views into the rows compared.
struct RowDiff
{
    std::vector<client::RowView> m_lAdded;
    std::vector<client::RowView> m_lRemoved;
    std::vector<RowChange> m_lChanged;
};

/// Compares the rows by their "Id". Rows of a table without that column, or whose columns are others now,
/// are never changed, only removed and added.
RowDiff diffRows(const client::Rows& a_oBefore, const client::Rows& a_oAfter);

} // namespace systema::cli
