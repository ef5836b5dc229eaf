// The wire format of the configuration protocol; docs/protocol.md is its byte grammar.
//
// Used by server and client alike. A frame is a header of 12 bytes and a body; numbers are little-endian.
// Writer appends frames to a buffer, Reader takes a body apart without ever reading past its end.
#pragma once

#include "systema/lists.h"
#include "systema/protocol.h"
#include "systema/tabledescription.h"

#include <cstdint>
#include <optional>
#include <string>
#include <string_view>

namespace systema::wire {

constexpr std::uint32_t c_iMagic = 0x5244474c; // "LGDR" in the hello's body
constexpr std::uint16_t c_iVersion = 1;
constexpr std::size_t c_iHeaderSize = 12;
constexpr std::size_t c_iFrameLimit = 1024 * 1024; // header and body, bytes
constexpr std::size_t c_iPartSize = 64 * 1024;     // a part of a bulk reply ends after the row that fills it

enum class EKind : std::uint8_t
{
    Request = 1,
    Reply = 2, // the last frame of an answer, with its result code
    Part = 3,  // more of the same answer follows
    Event = 4, // not an answer
};

enum class EOperation : std::uint8_t
{
    Hello = 1,         // u32 magic, u16 version, text program  ->  u16 version, text server version
    Ping = 2,          // nothing  ->  nothing
    Info = 3,          // nothing  ->  values
    Explain = 4,       // nothing  ->  nothing; from then on refusals come with their reason
    GetTables = 10,    // u8 filter (ETableFilter)  ->  names
    GetSchema = 11,    // text table  ->  columns
    GetSize = 12,      // text table  ->  u32
    SelectRow = 13,    // text table, u32 position, names columns  ->  values
    SelectKey = 14,    // text table, text key column, text key value, names columns  ->  values
    SelectRows = 15,   // text table, u32 first, u32 count, names columns  ->  names columns, u32 rows, cells
    Describe = 16,     // text table  ->  description
    InsertRow = 20,    // text table, values  ->  nothing
    InsertKey = 21,    // text table, values  ->  i32 id
    UpdateRow = 22,    // text table, u32 position, values  ->  nothing
    UpdateKey = 23,    // text table, text key column, text key value, values  ->  nothing
    DeleteRow = 24,    // text table, u32 position  ->  nothing
    DeleteKey = 25,    // text table, text key column, text key value  ->  nothing
    DeleteAll = 26,    // text table  ->  nothing
    Begin = 30,        // u32 wait in milliseconds  ->  nothing
    Commit = 31,       // nothing  ->  nothing
    Rollback = 32,     // nothing  ->  nothing
    Subscribe = 40,    // names tables, u8 flags (c_iTellAtOnce)  ->  nothing
    Unsubscribe = 41,  // names tables, none for all  ->  nothing
    TableChanged = 60, // event: text table
    TransactionLost = 61, // event: text reason
};

/// Which tables GetTables names.
enum class ETableFilter : std::uint8_t
{
    All = 0,
    Stored = 1,     // kept in a database
    Persistent = 2, // kept across restarts
};

/// Subscribe: every table named is told once as changed right after the reply.
constexpr std::uint8_t c_iTellAtOnce = 1;

struct Header
{
    std::uint32_t m_iLength; // bytes that follow this field: 8 and the body
    EKind m_eKind;
    EOperation m_eOperation;
    std::uint16_t m_iCode; // result code in replies and parts, 0 elsewhere
    std::uint32_t m_iId;   // request id, 0 in events

    std::size_t frameSize() const { return m_iLength + sizeof m_iLength; }
    std::size_t bodySize() const { return frameSize() - c_iHeaderSize; }
    /// False when a frame of this length cannot be: shorter than a header or over the limit.
    bool isPossible() const { return frameSize() >= c_iHeaderSize && frameSize() <= c_iFrameLimit; }
};

/// Reads the header at the start of the bytes; nothing when there are fewer than c_iHeaderSize.
std::optional<Header> readHeader(std::string_view a_sBytes);

/// Appends frames and their fields to a buffer. One frame at a time: begin, fields, end.
class Writer
{
public:
    explicit Writer(std::string& a_sBuffer) : m_sBuffer(a_sBuffer) {}

    void begin(EKind a_eKind, EOperation a_eOperation, std::uint32_t a_iId, std::uint16_t a_iCode = 0);
    /// Writes the length into the header begun last and returns the frame's size; a frame over
    /// c_iFrameLimit is for the caller to discard().
    std::size_t end();
    /// Takes back what was written since begin.
    void discard() { m_sBuffer.resize(m_iStart); }
    /// Changes the kind of the frame begun last.
    void setKind(EKind a_eKind);
    /// Bytes written since begin.
    std::size_t size() const { return m_sBuffer.size() - m_iStart; }

    void u8(std::uint8_t a_iValue) { m_sBuffer.push_back(static_cast<char>(a_iValue)); }
    void u16(std::uint16_t a_iValue);
    void u32(std::uint32_t a_iValue);
    /// Writes a number where an earlier u32 stands; the position is size() as it was before that call.
    void patchU32(std::size_t a_iPosition, std::uint32_t a_iValue);
    void i32(std::int32_t a_iValue) { u32(static_cast<std::uint32_t>(a_iValue)); }
    void text(std::string_view a_sText);
    void names(const NameList& a_lNames);
    void columns(const ColumnList& a_lColumns);
    void values(const ValueList& a_lValues);
    void description(const TableDescription& a_oDescription);

    // One cell each: the type, then the content.
    void null() { u8(EDataType::Null); }
    void integer(std::int32_t a_iValue) { cell(EDataType::Integer, static_cast<std::uint32_t>(a_iValue)); }
    void unsignedInteger(std::uint32_t a_iValue) { cell(EDataType::Unsigned, a_iValue); }
    void textValue(std::string_view a_sText);
    void value(const Value& a_oValue);

private:
    /// The type and the number, or length, that follows it: one append, since bulk reads are made of these.
    void cell(std::uint8_t a_iType, std::uint32_t a_iNumber);

    std::string& m_sBuffer;
    std::size_t m_iStart = 0;
};

/// A cell as it stands in a frame; the text lives as long as the frame.
struct Cell
{
    std::uint8_t m_iType = EDataType::Null;
    std::uint32_t m_iNumber = 0;
    std::string_view m_sText;

    Value toValue() const;
};

/// Takes a body apart. After a read past the end, or of something that cannot be, ok() is false for good
/// and every further read gives an empty value.
class Reader
{
public:
    explicit Reader(std::string_view a_sBody) : m_sRest(a_sBody) {}

    bool ok() const { return m_bOk; }
    /// Everything was read and nothing is left over.
    bool complete() const { return m_bOk && m_sRest.empty(); }
    /// A text with a NUL byte in it was read.
    bool sawNul() const { return m_bNul; }

    std::uint8_t u8();
    std::uint16_t u16();
    std::uint32_t u32();
    std::int32_t i32() { return static_cast<std::int32_t>(u32()); }
    std::string_view text();
    Cell cell();
    NameList names();
    ColumnList columns();
    ValueList values();
    TableDescription description();

private:
    std::string_view take(std::size_t a_iSize);
    /// Reads the number of entries of a list whose entries take at least a_iLeast bytes each.
    std::uint32_t count(std::size_t a_iLeast);

    std::string_view m_sRest;
    bool m_bOk = true;
    bool m_bNul = false;
};

} // namespace systema::wire
