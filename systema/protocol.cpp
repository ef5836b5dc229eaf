#include "systema/protocol.h"

#include <array>
#include <ostream>

namespace systema::protocol {

namespace {
constexpr std::array<const char*, 11> c_aTexts = {
    "success",
    "general failure",
    "busy or write refused",
    "locked",
    "read-only or not supported",
    "protocol error",
    "constraint violated",
    "type mismatch",
    "no such table or column",
    "unknown key column",
    "no such row",
};
} // namespace

const char* EResultCode::strerror() const
{
    return m_iCode < c_aTexts.size() ? c_aTexts[m_iCode] : "unknown result code";
}

void EResultCode::put(std::ostream& a_oStream) const
{
    a_oStream << m_iCode << " (" << strerror() << ")";
}

} // namespace systema::protocol
