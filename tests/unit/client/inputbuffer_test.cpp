#include "client/inputbuffer.h"

#include <gtest/gtest.h>

#include <algorithm>
#include <string>

namespace systema::client {

namespace {

void append(std::string& a_sBytes, std::uint32_t a_iId, std::size_t a_iBody)
{
    wire::Writer oWriter(a_sBytes);
    oWriter.begin(wire::EKind::Reply, wire::EOperation::Ping, a_iId);
    a_sBytes.append(a_iBody, static_cast<char>('a' + a_iId % 26));
    oWriter.end();
}

/// Receives as much as there is room for, at most so many bytes.
std::size_t receive(InputBuffer& a_oBuffer, std::string_view a_sBytes, std::size_t a_iMost)
{
    const auto lRoom = a_oBuffer.room();
    EXPECT_FALSE(lRoom.empty());
    const std::size_t iSize = std::min({lRoom.size(), a_sBytes.size(), a_iMost});
    std::copy_n(a_sBytes.data(), iSize, lRoom.data());
    a_oBuffer.add(iSize);
    return iSize;
}

} // namespace

TEST(InputBuffer, GivesFramesOfAnySizeWholeHoweverTheyArrive)
{
    const std::size_t lSizes[] = {0, 5,    1000, 60000, 130000, 1, wire::c_iFrameLimit - wire::c_iHeaderSize,
                                  0, 70000};
    for (const std::size_t iMost : {7u, 4096u, 100000u, 5000000u}) {
        std::string sBytes;
        std::uint32_t iId = 0;
        for (const std::size_t iSize : lSizes) {
            append(sBytes, ++iId, iSize);
        }
        InputBuffer oBuffer;
        std::uint32_t iSeen = 0;
        for (std::string_view sRest = sBytes; !sRest.empty();) {
            sRest.remove_prefix(receive(oBuffer, sRest, iMost));
            wire::Header oHeader{};
            std::string_view sBody;
            while (oBuffer.next(oHeader, sBody) == InputBuffer::ENext::Frame) {
                ASSERT_EQ(oHeader.m_iId, ++iSeen);
                ASSERT_EQ(sBody, std::string(lSizes[iSeen - 1], static_cast<char>('a' + iSeen % 26)));
            }
        }
        EXPECT_EQ(iSeen, std::size(lSizes));
    }
}

} // namespace systema::client
