#include "systema/wire.h"

#include "tests/row.h"

#include <gtest/gtest.h>

#include <climits>
#include <memory>

using systema::ColumnList;
using systema::EDataType;
using systema::NameList;
using systema::Value;
using systema::ValueList;
using systema::wire::EKind;
using systema::wire::EOperation;
using systema::wire::Reader;
using systema::wire::readHeader;
using systema::wire::Writer;
using tests::row;

namespace {

/// One of everything that a body may hold.
struct Everything
{
    std::uint8_t m_iByte = 0;
    std::uint16_t m_iShort = 0;
    std::uint32_t m_iUnsigned = 0;
    std::int32_t m_iInteger = 0;
    std::string m_sText;
    NameList m_lNames;
    ColumnList m_lColumns;
    ValueList m_lValues;
    std::vector<Value> m_lCells;

    bool operator==(const Everything&) const = default;
};

Everything sample()
{
    Everything oAll{0xff, 0xfffe, 0xfffffffd, INT_MIN, "Gr\xc3\xbc\xc3\x9f", {"", "Id", "Name"}, {}, {}, {}};
    oAll.m_lColumns.add("Id", EDataType::Integer);
    oAll.m_lColumns.add("Name", EDataType::Text);
    oAll.m_lValues = row({{"Id", -1}, {"Name", "lan1"}, {"", ""}});
    oAll.m_lValues.add("Count", Value(EDataType::Unsigned, -1));
    oAll.m_lValues.add("None", Value(EDataType::Null));
    oAll.m_lCells = {Value(EDataType::Null), Value(EDataType::Integer, INT_MAX),
                     Value(EDataType::Unsigned, -2), Value(EDataType::Text, "x")};
    return oAll;
}

std::string write(const Everything& a_oAll)
{
    std::string sFrame;
    Writer oWriter(sFrame);
    oWriter.begin(EKind::Part, EOperation::SelectRows, 0x12345678, 10);
    oWriter.u8(a_oAll.m_iByte);
    oWriter.u16(a_oAll.m_iShort);
    oWriter.u32(a_oAll.m_iUnsigned);
    oWriter.i32(a_oAll.m_iInteger);
    oWriter.text(a_oAll.m_sText);
    oWriter.names(a_oAll.m_lNames);
    oWriter.columns(a_oAll.m_lColumns);
    oWriter.values(a_oAll.m_lValues);
    for (const auto& oCell : a_oAll.m_lCells) {
        oWriter.value(oCell);
    }
    EXPECT_EQ(oWriter.end(), sFrame.size());
    return sFrame;
}

Everything readFrom(Reader& a_oReader)
{
    Everything oAll;
    oAll.m_iByte = a_oReader.u8();
    oAll.m_iShort = a_oReader.u16();
    oAll.m_iUnsigned = a_oReader.u32();
    oAll.m_iInteger = a_oReader.i32();
    oAll.m_sText = a_oReader.text();
    oAll.m_lNames = a_oReader.names();
    oAll.m_lColumns = a_oReader.columns();
    oAll.m_lValues = a_oReader.values();
    while (oAll.m_lCells.size() < sample().m_lCells.size()) {
        oAll.m_lCells.push_back(a_oReader.cell().toValue());
    }
    return oAll;
}

std::string body(void (*a_pWrite)(Writer&))
{
    std::string sBytes;
    Writer oWriter(sBytes);
    a_pWrite(oWriter);
    return sBytes;
}

template<typename Read>
bool isRefused(const std::string& a_sBody, Read a_oRead)
{
    Reader oReader(a_sBody);
    const auto oResult = a_oRead(oReader);
    return !oReader.ok() && !oReader.complete() && oResult.empty();
}

const auto c_oText = [](Reader& a_oReader) { return a_oReader.text(); };
const auto c_oNames = [](Reader& a_oReader) { return a_oReader.names(); };
const auto c_oColumns = [](Reader& a_oReader) { return a_oReader.columns(); };
const auto c_oValues = [](Reader& a_oReader) { return a_oReader.values(); };

} // namespace

TEST(Wire, WhatIsWholeIsReadAndEveryTruncationRefused)
{
    const std::string sFrame = write(sample());
    for (std::size_t iSize = 0; iSize < systema::wire::c_iHeaderSize; ++iSize) {
        EXPECT_FALSE(readHeader({sFrame.data(), iSize}));
    }
    const std::string_view sBody = std::string_view(sFrame).substr(systema::wire::c_iHeaderSize);
    Reader oWhole(sBody);
    EXPECT_EQ(readFrom(oWhole), sample());
    EXPECT_TRUE(oWhole.complete());
    for (std::size_t iSize = 0; iSize < sBody.size(); ++iSize) {
        // A copy of just this size, so that the address sanitizer sees a read past its end.
        const auto pBytes = std::make_unique<char[]>(iSize);
        sBody.copy(pBytes.get(), iSize);
        Reader oReader({pBytes.get(), iSize});
        EXPECT_NE(readFrom(oReader), sample());
        EXPECT_FALSE(oReader.ok()) << iSize;
        EXPECT_FALSE(oReader.complete()) << iSize;
    }
}

TEST(Wire, LyingLengthsAndCountsAreRefused)
{
    for (const std::uint32_t iLie : {2U, 0x7fffffffU, 0x80000000U, 0xffffffffU}) {
        std::string sOne;
        Writer oWriter(sOne);
        oWriter.u32(iLie);
        oWriter.u8('x'); // one byte, of whatever there should be
        EXPECT_TRUE(isRefused(sOne, c_oText)) << iLie;
        EXPECT_TRUE(isRefused(sOne, c_oNames)) << iLie;
        EXPECT_TRUE(isRefused(sOne, c_oColumns)) << iLie;
        EXPECT_TRUE(isRefused(sOne, c_oValues)) << iLie;
    }
    // A count that the bytes behind it could hold, but do not.
    const std::string sNames = body([](Writer& a_oWriter) {
        a_oWriter.u32(2);
        a_oWriter.text("four");
    });
    Reader oReader(sNames);
    oReader.names();
    EXPECT_FALSE(oReader.ok());
}
