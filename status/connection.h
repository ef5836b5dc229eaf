// One connection of the kernel's connection tracker, as a line of its list tells of it.
//
// A plain value with the functions that make it from text, which may hold any bytes: nothing throws, and
// nothing is kept.
#pragma once

#include <array>
#include <cstdint>
#include <string>
#include <string_view>

namespace zel {

/// The tokens of a line that matter; those that the line lacks are empty.
using ConnectionTokens = std::array<std::string_view, 15>;

/// What stands before each space, without what is empty: the end of the line is no token. The tokens live as
/// long as the line.
ConnectionTokens splitConnection(std::string_view a_sLine);

struct Connection
{
    std::int32_t m_iLine = 0; // number of its line, counted from 1
    std::string m_sProtocol{};
    std::int32_t m_iProtocolNumber = 0;
    std::int32_t m_iExpires = 0; // seconds from when it was read
    std::string m_sState{};
    // of the packets that go in the direction of the first one
    std::string m_sSrcAddress{};
    std::string m_sDstAddress{};
    std::int32_t m_iSrcPort = 0;
    std::int32_t m_iDstPort = 0;
    bool m_bUnreplied = false;
    bool m_bAssured = false;

    /// Fills a new connection. False for another protocol than TCP and UDP: it has no more than its protocol
    /// and the time then. Of numbers beyond 32 bits the lowest 32 are taken.
    bool init(std::int32_t a_iLine, const ConnectionTokens& a_aTokens);

    bool operator==(const Connection&) const = default;
};

} // namespace zel
