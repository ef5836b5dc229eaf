// The DSL line as plain data, for boards that can read all of it at once.
//
// Such a board defines ZEL_DSLAPI_construct, which gives the context a function that reads the line; the
// other functions of device/dslapi.h come from here. The function is called once for each reset of the fetch
// state, and throws nothing but std::bad_alloc.
#pragma once

#include "device/dslapi.h"

#include <optional>
#include <string_view>

namespace zel::device {

struct DslLine
{
    std::uint32_t m_iState = 0;      // see dslStateOf
    std::uint32_t m_iUpstream = 0;   // kbit/s
    std::uint32_t m_iDownstream = 0; // kbit/s
    std::uint64_t m_iTransmissionSystem = 0;

    bool operator==(const DslLine&) const = default;
};

/// The number of the text: "down" 0, "idle" 1, "handshake" 2, "training" 3, "showtime" 4, "failed" 5; 0 for a
/// text that is none.
std::uint32_t dslStateOf(std::string_view a_sText);

/// The transmission systems from 16 hexadecimal digits, the first octet first; 0 for any other text.
std::uint64_t parseTransmissionSystem(std::string_view a_sDigits);

} // namespace zel::device

struct ZEL_DSLAPI_Context
{
    zel::device::DslLine (*m_pRead)();
    std::optional<zel::device::DslLine> m_oLine{};
};
