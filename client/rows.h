// The rows of a bulk read: one row as a view, and a collection that keeps the cells as they were received.
//
// Plain data without a thread of its own; nothing here builds a Value unless asked to.
#pragma once

#include "systema/wire.h"

#include <deque>
#include <functional>
#include <optional>
#include <span>
#include <string>
#include <string_view>
#include <utility>
#include <vector>

namespace systema::client {

/// One row: its cells in the order of the columns. In a row handler it lives for the call only.
struct RowView
{
    const NameList& m_lColumns;
    std::span<const wire::Cell> m_lCells;

    /// The cell of the first column with the name, null when there is none.
    const wire::Cell* find(std::string_view a_sColumn) const;
};

using RowHandler = std::function<void(const RowView&)>;

/// What stands in front of the cells of each body: the columns, in the first body only, and the number of
/// rows.
class BodyHead
{
public:
    /// The number of rows; nothing when the head is not what it should be, or counts more rows than the body
    /// can hold. Rows without columns take no room: of those a body may count as many as a frame may
    /// have bytes.
    std::optional<std::size_t> read(wire::Reader& a_oReader, NameList& a_lColumns, std::size_t a_iBodySize);

private:
    bool m_bColumnsRead = false;
};

/// Takes the bodies of the answer to a bulk read apart, one after the other.
class RowParser
{
public:
    /// Hands each row of the body to the handler. False when the body is not what it should be.
    bool parse(std::string_view a_sBody, const RowHandler& a_oHandler);

private:
    BodyHead m_oHead;
    NameList m_lColumns;
    std::vector<wire::Cell> m_lCells;
};

/// Rows that share their columns, of which there may be none. Movable, not copyable: the cells refer to the
/// bytes kept beside them.
class Rows
{
public:
    Rows() = default;
    explicit Rows(NameList a_lColumns) : m_lColumns(std::move(a_lColumns)) {}
    /// A single row.
    explicit Rows(const ValueList& a_lRow);
    Rows(Rows&&) = default;
    Rows& operator=(Rows&&) = default;

    const NameList& columns() const { return m_lColumns; }
    std::size_t size() const { return m_iRows; }
    bool empty() const { return m_iRows == 0; }
    /// The row at the position, which must be less than size(). Lives until the collection is changed.
    RowView operator[](std::size_t a_iRow) const
    {
        return {m_lColumns, std::span(m_lCells).subspan(a_iRow * m_lColumns.size(), m_lColumns.size())};
    }

    /// Appends a row, a cell for each column in their order.
    void add(const std::vector<Value>& a_lCells);
    /// Appends the rows of one body of the answer to a bulk read. False when it is not what it should be.
    bool addBody(std::string_view a_sBody);

private:
    void addRows(wire::Reader& a_oReader, std::size_t a_iRows);

    BodyHead m_oHead;
    NameList m_lColumns;
    std::size_t m_iRows = 0;
    std::deque<std::string> m_lBytes; // a deque, because the cells refer into its elements
    std::vector<wire::Cell> m_lCells;
};

} // namespace systema::client
