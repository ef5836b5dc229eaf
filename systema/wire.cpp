#include "systema/wire.h"

#include <cstring>

namespace systema::wire {

namespace {

template<typename Number>
void store(char* a_pTo, Number a_iValue)
{
    for (std::size_t i = 0; i < sizeof a_iValue; ++i) {
        a_pTo[i] = static_cast<char>(a_iValue >> (8 * i));
    }
}

template<typename Number>
Number load(const char* a_pFrom)
{
    Number iValue = 0;
    for (std::size_t i = 0; i < sizeof iValue; ++i) {
        iValue = static_cast<Number>(iValue | static_cast<Number>(static_cast<unsigned char>(a_pFrom[i]))
                                                  << (8 * i));
    }
    return iValue;
}

constexpr std::size_t c_iKindOffset = 4;
constexpr std::size_t c_iCodeOffset = 6;
constexpr std::size_t c_iIdOffset = 8;

} // namespace

std::optional<Header> readHeader(std::string_view a_sBytes)
{
    if (a_sBytes.size() < c_iHeaderSize) {
        return {};
    }
    const char* pBytes = a_sBytes.data();
    return Header{load<std::uint32_t>(pBytes), static_cast<EKind>(pBytes[c_iKindOffset]),
                  static_cast<EOperation>(pBytes[c_iKindOffset + 1]),
                  load<std::uint16_t>(pBytes + c_iCodeOffset), load<std::uint32_t>(pBytes + c_iIdOffset)};
}

void Writer::begin(EKind a_eKind, EOperation a_eOperation, std::uint32_t a_iId, std::uint16_t a_iCode)
{
    m_iStart = m_sBuffer.size();
    u32(0);
    u8(static_cast<std::uint8_t>(a_eKind));
    u8(static_cast<std::uint8_t>(a_eOperation));
    u16(a_iCode);
    u32(a_iId);
}

std::size_t Writer::end()
{
    patchU32(0, static_cast<std::uint32_t>(size() - sizeof(std::uint32_t)));
    return size();
}

void Writer::setKind(EKind a_eKind)
{
    m_sBuffer[m_iStart + c_iKindOffset] = static_cast<char>(a_eKind);
}

void Writer::u16(std::uint16_t a_iValue)
{
    char aBytes[sizeof a_iValue];
    store(aBytes, a_iValue);
    m_sBuffer.append(aBytes, sizeof aBytes);
}

void Writer::u32(std::uint32_t a_iValue)
{
    char aBytes[sizeof a_iValue];
    store(aBytes, a_iValue);
    m_sBuffer.append(aBytes, sizeof aBytes);
}

void Writer::patchU32(std::size_t a_iPosition, std::uint32_t a_iValue)
{
    store(m_sBuffer.data() + m_iStart + a_iPosition, a_iValue);
}

void Writer::text(std::string_view a_sText)
{
    u32(static_cast<std::uint32_t>(a_sText.size()));
    m_sBuffer.append(a_sText);
}

void Writer::names(const NameList& a_lNames)
{
    u32(static_cast<std::uint32_t>(a_lNames.size()));
    for (const auto& sName : a_lNames) {
        text(sName);
    }
}

void Writer::columns(const ColumnList& a_lColumns)
{
    u32(static_cast<std::uint32_t>(a_lColumns.size()));
    for (const auto& [sName, eType] : a_lColumns) {
        text(sName);
        u8(static_cast<std::uint8_t>(eType));
    }
}

void Writer::values(const ValueList& a_lValues)
{
    u32(static_cast<std::uint32_t>(a_lValues.size()));
    for (const auto& [sName, oValue] : a_lValues) {
        text(sName);
        value(oValue);
    }
}

void Writer::description(const TableDescription& a_oDescription)
{
    u8(static_cast<std::uint8_t>(a_oDescription.m_eKind));
    u8(a_oDescription.m_bWritable ? 1 : 0);
    u32(static_cast<std::uint32_t>(a_oDescription.m_lFacts.size()));
    for (const ColumnFact& oFact : a_oDescription.m_lFacts) {
        u8(static_cast<std::uint8_t>(oFact.m_eKind));
        names(oFact.m_lColumns);
        text(oFact.m_sText);
    }
}

void Writer::cell(std::uint8_t a_iType, std::uint32_t a_iNumber)
{
    char aBytes[1 + sizeof a_iNumber] = {static_cast<char>(a_iType)};
    store(aBytes + 1, a_iNumber);
    m_sBuffer.append(aBytes, sizeof aBytes);
}

void Writer::textValue(std::string_view a_sText)
{
    cell(EDataType::Text, static_cast<std::uint32_t>(a_sText.size()));
    m_sBuffer.append(a_sText);
}

void Writer::value(const Value& a_oValue)
{
    switch (a_oValue.getType()) {
    case EDataType::Integer:
        return integer(a_oValue.getInteger());
    case EDataType::Unsigned:
        return unsignedInteger(a_oValue.getUnsigned());
    case EDataType::Text:
        return textValue(a_oValue.getText());
    default:
        return null();
    }
}

Value Cell::toValue() const
{
    switch (m_iType) {
    case EDataType::Integer:
        return Value(m_iType, static_cast<int>(m_iNumber));
    case EDataType::Unsigned:
        return Value(m_iType, static_cast<int>(m_iNumber));
    case EDataType::Text:
        return Value(m_iType, std::string(m_sText));
    default:
        return Value(EDataType::Null);
    }
}

std::string_view Reader::take(std::size_t a_iSize)
{
    if (!m_bOk || a_iSize > m_sRest.size()) {
        m_bOk = false;
        return {};
    }
    std::string_view sTaken = m_sRest.substr(0, a_iSize);
    m_sRest.remove_prefix(a_iSize);
    return sTaken;
}

std::uint32_t Reader::count(std::size_t a_iLeast)
{
    std::uint32_t iCount = u32();
    if (iCount > m_sRest.size() / a_iLeast) {
        m_bOk = false;
        return 0;
    }
    return iCount;
}

std::uint8_t Reader::u8()
{
    std::string_view sBytes = take(1);
    return sBytes.empty() ? std::uint8_t{0} : static_cast<std::uint8_t>(sBytes[0]);
}

std::uint16_t Reader::u16()
{
    std::string_view sBytes = take(sizeof(std::uint16_t));
    return sBytes.empty() ? std::uint16_t{0} : load<std::uint16_t>(sBytes.data());
}

std::uint32_t Reader::u32()
{
    std::string_view sBytes = take(sizeof(std::uint32_t));
    return sBytes.empty() ? 0 : load<std::uint32_t>(sBytes.data());
}

std::string_view Reader::text()
{
    std::string_view sText = take(u32());
    m_bNul = m_bNul || sText.find('\0') != std::string_view::npos;
    return sText;
}

Cell Reader::cell()
{
    Cell oCell;
    oCell.m_iType = u8();
    switch (oCell.m_iType) {
    case EDataType::Null:
        break;
    case EDataType::Integer:
    case EDataType::Unsigned:
        oCell.m_iNumber = u32();
        break;
    case EDataType::Text:
        oCell.m_sText = text();
        break;
    default:
        m_bOk = false;
        break;
    }
    return oCell;
}

NameList Reader::names()
{
    NameList lNames;
    for (std::uint32_t i = count(sizeof(std::uint32_t)); i > 0 && m_bOk; --i) {
        lNames.add(std::string(text()));
    }
    return lNames;
}

ColumnList Reader::columns()
{
    ColumnList lColumns;
    for (std::uint32_t i = count(sizeof(std::uint32_t) + 1); i > 0 && m_bOk; --i) {
        std::string sName(text());
        lColumns.add(std::move(sName), u8());
    }
    return lColumns;
}

ValueList Reader::values()
{
    ValueList lValues;
    const std::uint32_t iCount = count(sizeof(std::uint32_t) + 1);
    lValues.reserve(iCount);
    for (std::uint32_t i = iCount; i > 0 && m_bOk; --i) {
        std::string sName(text());
        lValues.add(std::move(sName), cell().toValue());
    }
    return lValues;
}

TableDescription Reader::description()
{
    TableDescription oDescription;
    oDescription.m_eKind = static_cast<ETableKind>(u8());
    oDescription.m_bWritable = u8() != 0;
    for (std::uint32_t i = count(1 + 2 * sizeof(std::uint32_t)); i > 0 && m_bOk; --i) {
        const auto eKind = static_cast<ColumnFact::EKind>(u8());
        NameList lColumns = names();
        oDescription.m_lFacts.push_back({eKind, std::move(lColumns), std::string(text())});
    }
    return oDescription;
}

} // namespace systema::wire
