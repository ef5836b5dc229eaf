// What happened to the rows of a table between two reads of it.
#pragma once

#include "client/rows.h"

#include <string>
#include <vector>

namespace systema::cli {

/// What tells the rows of a table apart, and which of their differences count.
struct RowIdentity
{
    /// The Id is a position, as in live tables: rows are told apart by their Name or, without that column, by
    /// their contents, and a row that has only moved has not changed. Otherwise rows are told apart by Id.
    bool m_bIdIsPosition = false;
    std::vector<std::string> m_lColumns{}; // whose changes count, all when empty; letter case is ignored
};

struct RowChange
{
    client::RowView m_oBefore;
    client::RowView m_oAfter;
};

/// Views into the rows compared.
struct RowDiff
{
    bool empty() const { return m_lAdded.empty() && m_lRemoved.empty() && m_lChanged.empty(); }
    /// Whether the cells of a changed row differ in a column that counts.
    bool differs(const RowChange& a_oChange, std::size_t a_iColumn) const;

    RowIdentity m_oIdentity{};
    std::vector<client::RowView> m_lAdded{};
    std::vector<client::RowView> m_lRemoved{};
    std::vector<RowChange> m_lChanged{};
};

/// Compares the rows. Rows without an Id, or whose columns are others now, are never changed, only removed
/// and added; but where the Id is a position, a single row before and after is the same one.
RowDiff diffRows(const client::Rows& a_oBefore, const client::Rows& a_oAfter, RowIdentity a_oIdentity = {});

} // namespace systema::cli
