// The bandwidths in the message that a PPP server sends once a connection is authenticated.
//
// A function without state; any thread. The message may hold any bytes; nothing throws but std::bad_alloc.
#pragma once

#include <string>

namespace zel {

/// As the numbers stand in the message, in whatever unit the server means; 0 without one.
struct PostAuthRates
{
    int m_iUpstream = 0;
    int m_iDownstream = 0;

    bool operator==(const PostAuthRates&) const = default;
};

/// Reads "UI-SBR:<downstream>,<upstream>;", else "SRU=<upstream>#SRD=<downstream>#", the two in any order. Of
/// a larger number the lowest 32 bits count, one beyond 64 bits is -1.
PostAuthRates parsePostAuthMessage(const std::string& a_sMessage);

} // namespace zel
