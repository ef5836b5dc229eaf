#include "systema/refusal.h"

#include <utility>

namespace systema {

namespace {

constexpr std::string_view c_sCut = "...";

struct Refusal
{
    unsigned m_iCode = EResultCode::Success;
    std::size_t m_iSize = 0;
    char m_aReason[c_iReasonLimit] = {};
};

constinit thread_local Refusal s_oRefusal;

/// The longest beginning of the text that fits and does not split a UTF-8 character.
std::string_view cut(std::string_view a_sText, std::size_t a_iRoom)
{
    const auto isInside = [&](std::size_t a_iAt) {
        return (static_cast<unsigned char>(a_sText[a_iAt]) & 0xc0) == 0x80;
    };
    while (a_iRoom > 0 && isInside(a_iRoom)) {
        --a_iRoom;
    }
    return a_sText.substr(0, a_iRoom);
}

} // namespace

EResultCode noteRefusal(EResultCode a_eCode, std::string_view a_sReason)
{
    const bool bCut = a_sReason.size() > c_iReasonLimit;
    const std::string_view sKept = bCut ? cut(a_sReason, c_iReasonLimit - c_sCut.size()) : a_sReason;
    s_oRefusal.m_iCode = a_eCode;
    s_oRefusal.m_iSize = sKept.copy(s_oRefusal.m_aReason, sKept.size());
    if (bCut) {
        s_oRefusal.m_iSize += c_sCut.copy(s_oRefusal.m_aReason + s_oRefusal.m_iSize, c_sCut.size());
    }
    return a_eCode;
}

std::string takeRefusal(EResultCode a_eCode)
{
    const unsigned iCode = std::exchange(s_oRefusal.m_iCode, EResultCode::Success);
    return iCode == a_eCode ? std::string(s_oRefusal.m_aReason, s_oRefusal.m_iSize) : std::string();
}

} // namespace systema
