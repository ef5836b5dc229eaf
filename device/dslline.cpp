#include "device/dslline.h"

#include "device/texts.h"

#include <charconv>

namespace zel::device {

namespace {

constexpr std::array c_aStates{"down", "idle", "handshake", "training", "showtime", "failed"};
static_assert(std::string_view(c_aStates[c_iDslShowtime]) == "showtime");

constexpr std::size_t c_iOctets = 8;

/// The bits of a range, counted from 1 as G.997.1 does.
constexpr std::uint64_t bits(unsigned a_iFirst, unsigned a_iLast)
{
    return (~0ULL << (a_iFirst - 1)) & (~0ULL >> (64 - a_iLast));
}

struct Mode
{
    std::uint64_t m_iBits;
    const char* m_pText;
};

/// A mode's number is its place, counted from 1. Newer ones come later.
constexpr Mode c_aModes[] = {
    {bits(1, 2), "ADSL"}, // regional standards
    {bits(3, 4), "ADSL Annex A"},
    {bits(5, 6), "ADSL Annex B"},
    {bits(7, 8), "ADSL Annex C"},
    {bits(9, 12), "ADSL Lite"},
    {bits(19, 20), "ADSL2 Annex A"},
    {bits(21, 22), "ADSL2 Annex B"},
    {bits(23, 24), "ADSL2 Annex C"},
    {bits(25, 26) | bits(33, 34), "ADSL2 Lite"},
    {bits(29, 30), "ADSL2 Annex I"},
    {bits(31, 32), "ADSL2 Annex J"},
    {bits(35, 38), "ADSL2 Annex L"},
    {bits(39, 40), "ADSL2 Annex M"},
    {bits(41, 42), "ADSL2+ Annex A"},
    {bits(43, 44), "ADSL2+ Annex B"},
    {bits(45, 46), "ADSL2+ Annex C"},
    {bits(47, 48), "ADSL2+ Annex I"},
    {bits(49, 50), "ADSL2+ Annex J"},
    {bits(51, 52), "ADSL2+ Annex M"},
    {bits(57, 57), "VDSL2 Annex A"},
    {bits(58, 58), "VDSL2 Annex B"},
    {bits(59, 59), "VDSL2 Annex C"},
};

const DslLine& fetch(ZEL_DSLAPI_Context& a_oContext)
{
    if (!a_oContext.m_oLine) {
        a_oContext.m_oLine = a_oContext.m_pRead();
    }
    return *a_oContext.m_oLine;
}

} // namespace

std::uint32_t dslStateOf(std::string_view a_sText)
{
    return static_cast<std::uint32_t>(numberOf(c_aStates, a_sText));
}

std::uint64_t parseTransmissionSystem(std::string_view a_sDigits)
{
    if (a_sDigits.size() != 2 * c_iOctets) {
        return 0;
    }
    std::uint64_t iSystem = 0;
    for (std::size_t i = 0; i < c_iOctets; ++i) {
        const char* pOctet = a_sDigits.data() + 2 * i;
        std::uint8_t iOctet = 0;
        if (std::from_chars(pOctet, pOctet + 2, iOctet, 16).ptr != pOctet + 2) {
            return 0;
        }
        iSystem |= std::uint64_t{iOctet} << (8 * i);
    }
    return iSystem;
}

} // namespace zel::device

using zel::device::fetch;

void ZEL_DSLAPI_Release::operator()(ZEL_DSLAPI_Context* a_pContext) const
{
    delete a_pContext;
}

void ZEL_DSLAPI_resetFetchState(ZEL_DSLAPI_Context& a_oContext)
{
    a_oContext.m_oLine.reset();
}

std::uint32_t ZEL_DSLAPI_getLineState(ZEL_DSLAPI_Context& a_oContext)
{
    return fetch(a_oContext).m_iState;
}

const char* ZEL_DSLAPI_getLineStateString(std::uint32_t a_iState)
{
    return zel::device::textOf(zel::device::c_aStates, a_iState, "unknown");
}

std::uint32_t ZEL_DSLAPI_getG997ActualDataRate(ZEL_DSLAPI_Context& a_oContext, EDslDirection a_eDirection)
{
    const auto& oLine = fetch(a_oContext);
    return a_eDirection == EDslDirection::Upstream ? oLine.m_iUpstream : oLine.m_iDownstream;
}

std::uint64_t ZEL_DSLAPI_getG997xTUTransmissionSystem(ZEL_DSLAPI_Context& a_oContext)
{
    return fetch(a_oContext).m_iTransmissionSystem;
}

/// The newest of the modes that any of the systems is of.
int ZEL_DSLAPI_getXDSLMode(std::uint64_t a_iTransmissionSystem)
{
    int iMode = static_cast<int>(std::size(zel::device::c_aModes));
    while (iMode > 0 && (zel::device::c_aModes[iMode - 1].m_iBits & a_iTransmissionSystem) == 0) {
        --iMode;
    }
    return iMode;
}

const char* ZEL_DSLAPI_getXDSLModeString(int a_iMode)
{
    const bool bKnown = a_iMode > 0 && a_iMode <= static_cast<int>(std::size(zel::device::c_aModes));
    return bKnown ? zel::device::c_aModes[a_iMode - 1].m_pText : "";
}
