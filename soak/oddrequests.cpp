#include "soak/oddrequests.h"

#include "client/request.h"
#include "systema/wire.h"

#include <array>
#include <memory>
#include <string_view>
#include <utility>

namespace soak {

namespace {

using systema::EDataType;
using systema::NameList;
using systema::Value;
using systema::ValueList;
using systema::wire::EOperation;
namespace request = systema::client::request;
namespace wire = systema::wire;

constexpr std::size_t c_iLongestText = 9000; // longer than any statement may be
constexpr std::size_t c_iMostNoise = 300;
constexpr std::size_t c_iMostDamage = 4;
constexpr std::uint32_t c_iLongestWaitMs = 50;
constexpr std::size_t c_iOperationAt = 5; // in a frame

using namespace std::string_view_literals;

constexpr std::array c_aTexts = {
    ""sv,
    "0"sv,
    "1"sv,
    "-1"sv,
    "2147483648"sv,
    "-9223372036854775809"sv,
    "1e999"sv,
    "NULL"sv,
    "lan"sv,
    "br0"sv,
    "192.168.1.1"sv,
    "::1/128"sv,
    "'"sv,
    "\"; DROP TABLE FirewallZones; --"sv,
    "x' OR Id != 0 OR 'a' = 'a"sv,
    "%s%n%x"sv,
    "../../../etc/passwd"sv,
    "CET-1CEST,M3.5.0,M10.5.0/3"sv,
    "a\nb\r\tc"sv,
    "\xff\xfe"sv,
    "\xed\xa0\x80"sv,
    "\xf0\x9f\x98\x80"sv,
    "a\0b"sv,
    "\x1b[2J"sv,
    "/com/kestrane/network"sv,
    ".1.3.6"sv,
    "a b"sv,
    "-L"sv,
    "$(reboot)"sv,
};
constexpr std::array c_aNumbers = {0U, 1U, 2U, 100U, 0x7fffffffU, 0x80000000U, 0xfffffffeU, 0xffffffffU};
constexpr std::array c_aColumns = {"Id"sv, "rowid"sv,  "oid"sv,         "_rowid_"sv,
                                   "*"sv,  "Id, Id"sv, "NoSuchColumn"sv};

template<typename Request>
OddRequest oddRequest(std::uint32_t a_iId, const Request& a_oRequest)
{
    OddRequest oMade{Request::c_eOperation};
    if constexpr (requires { a_oRequest.m_sTable; }) {
        oMade.m_sTable = a_oRequest.m_sTable;
    }
    wire::Writer oWriter(oMade.m_sFrame);
    oWriter.begin(wire::EKind::Request, Request::c_eOperation, a_iId);
    request::write(oWriter, a_oRequest);
    oWriter.end();
    oMade.m_oRead = [pAnswer = std::make_shared<typename Request::Answer>()](std::string_view a_sBody) {
        return systema::client::readAnswer(a_sBody, *pAnswer);
    };
    return oMade;
}

/// How often each operation comes in relation to the others.
constexpr std::pair<std::size_t, EOperation> c_aOperations[] = {
    {1, EOperation::Hello},        {20, EOperation::Ping},
    {20, EOperation::Info},        {20, EOperation::GetTables},
    {40, EOperation::GetSchema},   {60, EOperation::GetSize},
    {80, EOperation::SelectRow},   {80, EOperation::SelectKey},
    {80, EOperation::SelectRows},  {80, EOperation::InsertRow},
    {80, EOperation::InsertKey},   {80, EOperation::UpdateRow},
    {80, EOperation::UpdateKey},   {40, EOperation::DeleteRow},
    {40, EOperation::DeleteKey},   {2, EOperation::DeleteAll},
    {30, EOperation::Begin},       {20, EOperation::Commit},
    {10, EOperation::Explain},     {40, EOperation::Describe},
    {20, EOperation::Rollback},    {30, EOperation::Subscribe},
    {20, EOperation::Unsubscribe}, {1, EOperation(99)}, // one that does not exist
};

} // namespace

std::string OddRequests::tableName(const Table& a_oTable)
{
    return m_oRandom.oneIn(30) ? text() : a_oTable.m_sName;
}

std::string OddRequests::column(const Table& a_oTable)
{
    if (m_oRandom.oneIn(40)) {
        return text();
    }
    if (a_oTable.m_lColumns.empty() || m_oRandom.oneIn(30)) {
        return std::string(m_oRandom.pick(c_aColumns));
    }
    return m_oRandom.pick(a_oTable.m_lColumns).first;
}

std::string OddRequests::text()
{
    switch (m_oRandom.below(8)) {
    case 0:
        return makeNoise();
    case 1:
        return std::string(m_oRandom.below(c_iLongestText), static_cast<char>(m_oRandom.below(256)));
    case 2:
        return std::to_string(m_oRandom.below(20));
    default:
        return std::string(m_oRandom.pick(c_aTexts));
    }
}

std::uint32_t OddRequests::number()
{
    return m_oRandom.oneIn(3) ? m_oRandom.pick(c_aNumbers) : static_cast<std::uint32_t>(m_oRandom.below(20));
}

NameList OddRequests::columns(const Table& a_oTable)
{
    NameList lColumns;
    for (std::size_t i = m_oRandom.below(4); i > 0; --i) {
        lColumns.add(column(a_oTable));
    }
    return lColumns;
}

NameList OddRequests::tableNames()
{
    NameList lNames;
    for (std::size_t i = m_oRandom.below(4); i > 0; --i) {
        lNames.add(tableName(table()));
    }
    return lNames;
}

Value OddRequests::value()
{
    switch (m_oRandom.below(6)) {
    case 0:
        return Value(EDataType::Null);
    case 1:
        return Value(EDataType::Integer, static_cast<int>(number()));
    case 2:
        return Value(EDataType::Unsigned, static_cast<int>(number()));
    default:
        return Value(EDataType::Text, text());
    }
}

ValueList OddRequests::values(const Table& a_oTable)
{
    ValueList lValues;
    for (std::size_t i = m_oRandom.below(5); i > 0; --i) {
        lValues.add(column(a_oTable), value());
    }
    return lValues;
}

OddRequest OddRequests::make(std::uint32_t a_iId)
{
    const Table& oTable = table();
    const std::string sTable = tableName(oTable);
    const std::string sColumn = column(oTable);
    const std::string sKey = text();
    const auto eOperation = m_oRandom.pickByWeight(c_aOperations).second;
    switch (eOperation) {
    case EOperation::Hello:
        return oddRequest(a_iId, request::Hello{sKey});
    case EOperation::Ping:
        return oddRequest(a_iId, request::Ping{});
    case EOperation::Info:
        return oddRequest(a_iId, request::Info{});
    case EOperation::Explain:
        return oddRequest(a_iId, request::Explain{});
    case EOperation::GetTables:
        return oddRequest(a_iId, request::GetTables{static_cast<wire::ETableFilter>(m_oRandom.below(3))});
    case EOperation::GetSchema:
        return oddRequest(a_iId, request::GetSchema{sTable});
    case EOperation::Describe:
        return oddRequest(a_iId, request::Describe{sTable});
    case EOperation::GetSize:
        return oddRequest(a_iId, request::GetSize{sTable});
    case EOperation::SelectRow:
        return oddRequest(a_iId, request::SelectRow{sTable, number(), columns(oTable)});
    case EOperation::SelectKey:
        return oddRequest(a_iId, request::SelectKey{sTable, sColumn, sKey, columns(oTable)});
    case EOperation::SelectRows:
        return oddRequest(a_iId, request::SelectRows{sTable, columns(oTable), number(), number()});
    case EOperation::InsertRow:
        return oddRequest(a_iId, request::InsertRow{sTable, values(oTable)});
    case EOperation::InsertKey:
        return oddRequest(a_iId, request::InsertKey{sTable, values(oTable)});
    case EOperation::UpdateRow:
        return oddRequest(a_iId, request::UpdateRow{sTable, number(), values(oTable)});
    case EOperation::UpdateKey:
        return oddRequest(a_iId, request::UpdateKey{sTable, sColumn, sKey, values(oTable)});
    case EOperation::DeleteRow:
        return oddRequest(a_iId, request::DeleteRow{sTable, number()});
    case EOperation::DeleteKey:
        return oddRequest(a_iId, request::DeleteKey{sTable, sColumn, sKey});
    case EOperation::DeleteAll:
        return oddRequest(a_iId, request::DeleteAll{sTable});
    case EOperation::Begin:
        return oddRequest(a_iId, request::Begin{m_oRandom.oneIn(2) ? 0 : c_iLongestWaitMs});
    case EOperation::Commit:
        return oddRequest(a_iId, request::Commit{});
    case EOperation::Rollback:
        return oddRequest(a_iId, request::Rollback{});
    case EOperation::Subscribe:
        return oddRequest(a_iId,
                          request::Subscribe{tableNames(), static_cast<std::uint8_t>(m_oRandom.below(256))});
    case EOperation::Unsubscribe:
        return oddRequest(a_iId, request::Unsubscribe{tableNames()});
    case EOperation::TableChanged:
    case EOperation::TransactionLost:
        break;
    }
    OddRequest oUnknown = oddRequest(a_iId, request::Ping{});
    oUnknown.m_eOperation = eOperation;
    oUnknown.m_sFrame[c_iOperationAt] = static_cast<char>(eOperation);
    return oUnknown;
}

std::string OddRequests::makeDamaged(std::uint32_t a_iId)
{
    std::string sFrame = make(a_iId).m_sFrame;
    for (std::size_t i = 1 + m_oRandom.below(c_iMostDamage); i > 0; --i) {
        const std::size_t iAt = m_oRandom.below(sFrame.size());
        switch (m_oRandom.below(4)) {
        case 0:
            sFrame[iAt] = static_cast<char>(m_oRandom.below(256));
            break;
        case 1:
            sFrame[iAt] = static_cast<char>(sFrame[iAt] ^ (1 << m_oRandom.below(8)));
            break;
        case 2:
            sFrame.erase(iAt, 1 + m_oRandom.below(4));
            break;
        default:
            sFrame.insert(iAt, makeNoise());
        }
        if (sFrame.empty()) {
            return makeNoise();
        }
    }
    return sFrame;
}

std::string OddRequests::makeNoise()
{
    std::string sNoise(1 + m_oRandom.below(c_iMostNoise), '\0');
    for (char& cByte : sNoise) {
        cByte = static_cast<char>(m_oRandom.below(256));
    }
    return sNoise;
}

} // namespace soak
