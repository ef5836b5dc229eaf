// The requests of the configuration protocol, one plain struct each: its fields in the order of the wire and
// the type of its answer.
//
// A request is written when it is called or submitted: the texts it refers to need to live until then and
// no longer. One object may be used again and again. The result codes are those of the plugin contract.
#pragma once

#include "client/rows.h"
#include "systema/lists.h"
#include "systema/wire.h"

#include <chrono>
#include <cstdint>
#include <string>
#include <string_view>
#include <tuple>

namespace systema::client {

/// The answer of requests that give nothing but a result code.
struct Nothing
{
};

struct Greeting
{
    std::uint16_t m_iVersion = 0; // of the protocol
    std::string m_sServerVersion;
};

namespace request {

using wire::EOperation;

/// The first request of every connection, which sends it by itself.
struct Hello
{
    using Answer = Greeting;
    static constexpr EOperation c_eOperation = EOperation::Hello;
    std::string_view m_sProgram;
    std::uint32_t m_iMagic = wire::c_iMagic;
    std::uint16_t m_iVersion = wire::c_iVersion;
    auto fields() const { return std::tie(m_iMagic, m_iVersion, m_sProgram); }
};

struct Ping
{
    using Answer = Nothing;
    static constexpr EOperation c_eOperation = EOperation::Ping;
    auto fields() const { return std::tie(); }
};

/// What the server says of itself: "Version", "Uptime" (seconds), "Clients" and more.
struct Info
{
    using Answer = ValueList;
    static constexpr EOperation c_eOperation = EOperation::Info;
    auto fields() const { return std::tie(); }
};

/// From now on the connection is told why its requests are refused. Sent by a connection whose options ask
/// for reasons; an older server answers 5.
struct Explain
{
    using Answer = Nothing;
    static constexpr EOperation c_eOperation = EOperation::Explain;
    auto fields() const { return std::tie(); }
};

struct GetTables
{
    using Answer = NameList;
    static constexpr EOperation c_eOperation = EOperation::GetTables;
    wire::ETableFilter m_eFilter = wire::ETableFilter::All;
    auto fields() const { return std::tie(m_eFilter); }
};

struct GetSchema
{
    using Answer = ColumnList;
    static constexpr EOperation c_eOperation = EOperation::GetSchema;
    std::string_view m_sTable;
    auto fields() const { return std::tie(m_sTable); }
};

/// What the table is besides its columns and their types. An older server answers 5.
struct Describe
{
    using Answer = TableDescription;
    static constexpr EOperation c_eOperation = EOperation::Describe;
    std::string_view m_sTable;
    auto fields() const { return std::tie(m_sTable); }
};

/// The number of rows.
struct GetSize
{
    using Answer = std::uint32_t;
    static constexpr EOperation c_eOperation = EOperation::GetSize;
    std::string_view m_sTable;
    auto fields() const { return std::tie(m_sTable); }
};

/// The row at a position, counted from 0. Without columns: all of them.
struct SelectRow
{
    using Answer = ValueList;
    static constexpr EOperation c_eOperation = EOperation::SelectRow;
    std::string_view m_sTable;
    std::uint32_t m_iPosition = 0;
    NameList m_lColumns{};
    auto fields() const { return std::tie(m_sTable, m_iPosition, m_lColumns); }
};

/// The row whose key column has the value.
struct SelectKey
{
    using Answer = ValueList;
    static constexpr EOperation c_eOperation = EOperation::SelectKey;
    std::string_view m_sTable;
    std::string_view m_sKeyColumn;
    std::string_view m_sKeyValue;
    NameList m_lColumns{};
    auto fields() const { return std::tie(m_sTable, m_sKeyColumn, m_sKeyValue, m_lColumns); }
};

/// A range of rows, by default all of them, in one consistent state. 2: a table of the same database was
/// changed meanwhile; what was received is void.
struct SelectRows
{
    using Answer = Rows;
    static constexpr EOperation c_eOperation = EOperation::SelectRows;
    std::string_view m_sTable;
    NameList m_lColumns{};
    std::uint32_t m_iFirst = 0;
    std::uint32_t m_iCount = 0xffffffff;
    auto fields() const { return std::tie(m_sTable, m_iFirst, m_iCount, m_lColumns); }
};

struct InsertRow
{
    using Answer = Nothing;
    static constexpr EOperation c_eOperation = EOperation::InsertRow;
    std::string_view m_sTable;
    ValueList m_lValues{};
    auto fields() const { return std::tie(m_sTable, m_lValues); }
};

/// Adds a row and answers its id.
struct InsertKey
{
    using Answer = std::int32_t;
    static constexpr EOperation c_eOperation = EOperation::InsertKey;
    std::string_view m_sTable;
    ValueList m_lValues{};
    auto fields() const { return std::tie(m_sTable, m_lValues); }
};

struct UpdateRow
{
    using Answer = Nothing;
    static constexpr EOperation c_eOperation = EOperation::UpdateRow;
    std::string_view m_sTable;
    std::uint32_t m_iPosition = 0;
    ValueList m_lValues{};
    auto fields() const { return std::tie(m_sTable, m_iPosition, m_lValues); }
};

struct UpdateKey
{
    using Answer = Nothing;
    static constexpr EOperation c_eOperation = EOperation::UpdateKey;
    std::string_view m_sTable;
    std::string_view m_sKeyColumn;
    std::string_view m_sKeyValue;
    ValueList m_lValues{};
    auto fields() const { return std::tie(m_sTable, m_sKeyColumn, m_sKeyValue, m_lValues); }
};

struct DeleteRow
{
    using Answer = Nothing;
    static constexpr EOperation c_eOperation = EOperation::DeleteRow;
    std::string_view m_sTable;
    std::uint32_t m_iPosition = 0;
    auto fields() const { return std::tie(m_sTable, m_iPosition); }
};

struct DeleteKey
{
    using Answer = Nothing;
    static constexpr EOperation c_eOperation = EOperation::DeleteKey;
    std::string_view m_sTable;
    std::string_view m_sKeyColumn;
    std::string_view m_sKeyValue;
    auto fields() const { return std::tie(m_sTable, m_sKeyColumn, m_sKeyValue); }
};

struct DeleteAll
{
    using Answer = Nothing;
    static constexpr EOperation c_eOperation = EOperation::DeleteAll;
    std::string_view m_sTable;
    auto fields() const { return std::tie(m_sTable); }
};

/// Begins a transaction, waiting for that of another connection to end. 0; 2: the wait is over; 1: this
/// connection has one already; 3: locked. The Transaction object is the safer way.
struct Begin
{
    using Answer = Nothing;
    static constexpr EOperation c_eOperation = EOperation::Begin;
    std::uint32_t m_iWaitMs = 0;
    auto fields() const { return std::tie(m_iWaitMs); }
    /// How much longer than any other answer this one may take.
    std::chrono::milliseconds extraTime() const { return std::chrono::milliseconds(m_iWaitMs); }
};

struct Commit
{
    using Answer = Nothing;
    static constexpr EOperation c_eOperation = EOperation::Commit;
    auto fields() const { return std::tie(); }
};

struct Rollback
{
    using Answer = Nothing;
    static constexpr EOperation c_eOperation = EOperation::Rollback;
    auto fields() const { return std::tie(); }
};

/// Sent by Connection::subscribe(), which also remembers the tables.
struct Subscribe
{
    using Answer = Nothing;
    static constexpr EOperation c_eOperation = EOperation::Subscribe;
    NameList m_lTables;
    std::uint8_t m_iFlags = 0;
    auto fields() const { return std::tie(m_lTables, m_iFlags); }
};

/// Sent by Connection::unsubscribe(). No names stand for all.
struct Unsubscribe
{
    using Answer = Nothing;
    static constexpr EOperation c_eOperation = EOperation::Unsubscribe;
    NameList m_lTables;
    auto fields() const { return std::tie(m_lTables); }
};

inline void writeField(wire::Writer& a_oTo, std::uint8_t a_iField)
{
    a_oTo.u8(a_iField);
}
inline void writeField(wire::Writer& a_oTo, std::uint16_t a_iField)
{
    a_oTo.u16(a_iField);
}
inline void writeField(wire::Writer& a_oTo, std::uint32_t a_iField)
{
    a_oTo.u32(a_iField);
}
inline void writeField(wire::Writer& a_oTo, wire::ETableFilter a_eField)
{
    a_oTo.u8(std::uint8_t(a_eField));
}
inline void writeField(wire::Writer& a_oTo, std::string_view a_sField)
{
    a_oTo.text(a_sField);
}
inline void writeField(wire::Writer& a_oTo, const NameList& a_lField)
{
    a_oTo.names(a_lField);
}
inline void writeField(wire::Writer& a_oTo, const ValueList& a_lField)
{
    a_oTo.values(a_lField);
}

/// Writes the body of a request.
template<typename Request>
void write(wire::Writer& a_oTo, const Request& a_oRequest)
{
    std::apply([&](const auto&... a_oFields) { (writeField(a_oTo, a_oFields), ...); }, a_oRequest.fields());
}

} // namespace request

inline void readField(wire::Reader&, Nothing&) {}
inline void readField(wire::Reader& a_oFrom, std::int32_t& a_iField)
{
    a_iField = a_oFrom.i32();
}
inline void readField(wire::Reader& a_oFrom, std::uint32_t& a_iField)
{
    a_iField = a_oFrom.u32();
}
inline void readField(wire::Reader& a_oFrom, NameList& a_lField)
{
    a_lField = a_oFrom.names();
}
inline void readField(wire::Reader& a_oFrom, ColumnList& a_lField)
{
    a_lField = a_oFrom.columns();
}
inline void readField(wire::Reader& a_oFrom, ValueList& a_lField)
{
    a_lField = a_oFrom.values();
}
inline void readField(wire::Reader& a_oFrom, TableDescription& a_oField)
{
    a_oField = a_oFrom.description();
}
inline void readField(wire::Reader& a_oFrom, Greeting& a_oField)
{
    a_oField.m_iVersion = a_oFrom.u16();
    a_oField.m_sServerVersion = a_oFrom.text();
}

/// Reads the body of an answer. False when it is not what it should be.
template<typename Answer>
bool readAnswer(std::string_view a_sBody, Answer& a_oAnswer)
{
    wire::Reader oReader(a_sBody);
    readField(oReader, a_oAnswer);
    return oReader.complete();
}

inline bool readAnswer(std::string_view a_sBody, Rows& a_oAnswer)
{
    return a_oAnswer.addBody(a_sBody);
}

} // namespace systema::client
