// The two codes of the configuration protocol: types of values and results of operations.
#pragma once

#include <iosfwd>

namespace systema::protocol {

/// Type of a column or value.
class EDataType
{
public:
    enum ECode : unsigned
    {
        Null = 1,
        Integer = 2,
        Unsigned = 3,
        Text = 4
    };

    constexpr EDataType(unsigned a_iCode) : m_iCode(a_iCode) {}
    constexpr operator unsigned() const { return m_iCode; }

private:
    unsigned m_iCode;
};

/// Result of a table operation.
class EResultCode
{
public:
    enum ECode : unsigned
    {
        Success = 0,
        Failure = 1,    // general failure
        Busy = 2,       // busy, or the write is refused because another connection holds the write lock
        Locked = 3,     // the configuration is locked
        ReadOnly = 4,   // read-only, or the operation is not supported
        Protocol = 5,   // protocol error
        Constraint = 6, // a constraint is violated
        Mismatch = 7,   // type mismatch
        NoTable = 8,    // no such table or column, or another SQL error
        NoKey = 9,      // unknown key column
        NoRow = 10,     // no such row

        /// Never sent: the answer takes longer than others are to be kept waiting. The same request, made
        /// again in the connection's next turn, goes on with it.
        Pending = 0x10000,
    };

    constexpr EResultCode(unsigned a_iCode = Success) : m_iCode(a_iCode) {}
    constexpr operator unsigned() const { return m_iCode; }

    /// The message text of the code; "unknown result code" for a number without a meaning. Static text.
    const char* strerror() const;

    /// Prints the code and its text, as in "8 (no such table or column)".
    void put(std::ostream& a_oStream) const;

private:
    unsigned m_iCode;
};

} // namespace systema::protocol

namespace systema {
using protocol::EDataType;
using protocol::EResultCode;
} // namespace systema
