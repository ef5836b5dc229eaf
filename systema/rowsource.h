// Bulk reading: what a plugin may offer besides the contract, so that reading many rows does not cost a
// query per row. The dispatcher asks for these interfaces once, when the plugin is attached.
#pragma once

#include "systema/lists.h"
#include "systema/protocol.h"

#include <chrono>
#include <cstddef>
#include <memory>
#include <string>
#include <string_view>

namespace systema {

/// Takes the cells of rows, left to right, row by row. Texts are copied before the call returns.
class IRowSink
{
public:
    virtual ~IRowSink() = default;

    virtual void addNull() = 0;
    virtual void addInteger(int a_iValue) = 0;
    virtual void addUnsigned(unsigned int a_iValue) = 0;
    virtual void addText(std::string_view a_sText) = 0;
    /// Adds the value as what it is.
    void addValue(const Value& a_oValue);
    /// Ends the row begun by the cells before it. False: this portion is full, fetch no more into it.
    virtual bool endRow() = 0;
};

/// Rows may take their time (a tool that runs for each of them): a fetch begins with no more of them after
/// this. Rows of a database do not.
constexpr std::chrono::milliseconds c_oFetchTime{50};

/// An open read over a range of rows that shows one state of the table from the first row to the last.
class IRowCursor
{
public:
    virtual ~IRowCursor() = default;

    /// The names of the columns of every row, in the order of the cells. Valid once the cursor is open.
    virtual const NameList& getColumns() const = 0;

    /// Hands rows to the sink until it is full, the range ends or c_oFetchTime is over.
    /// 0: there may be more; when the time was over, the sink may have got no row at all. 10: the range has
    /// ended. Pending: the source needs more time, the next fetch goes on. 2: a table that is read, or
    /// another of its database, was changed, or the database closed, since the cursor was opened; the rest
    /// cannot be had in the same state. 9: the next row lacks a column. 1: failure.
    virtual EResultCode fetch(IRowSink& a_oSink) = 0;

    /// Bytes of rows that the cursor keeps in memory.
    virtual std::size_t getKeptSize() const { return 0; }
};

/// Every row from the first to the last.
constexpr unsigned int c_iAllRows = 0xffffffff;

/// Offered by plugins that can yield a range of rows in one go, with the same rows, in the same order, as
/// selectRow position by position.
class IRowSource
{
public:
    virtual ~IRowSource() = default;

    /// Opens a read of at most a_iCount rows from position a_iFirst; a range beyond the end is empty, with 0.
    /// 0: the cursor is set; it may outlive the call but not the plugin. 0 without a cursor: read this table
    /// position by position. 8: no such table, or, in a stored one, no such column. 9: no such column. Else
    /// the code with which the source refuses to be read.
    virtual EResultCode openRows(std::unique_ptr<IRowCursor>& a_pCursor, const void* a_pHandle,
                                 const std::string& a_sTable, unsigned int a_iFirst, unsigned int a_iCount,
                                 const NameList& a_lColumns) = 0;
};

} // namespace systema
