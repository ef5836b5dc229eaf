// The DSL line of a board whose driver tells of it in one line of a file, "5 1024 16000 v":
// the driver's own number for the state, the rates up and down in kbit/s, and a letter for the standard.
#include "device/dslline.h"
#include "zel/fileparser.h"
#include "zel/systempath.h"

#include <array>
#include <charconv>

namespace {

using zel::FileParser;
using zel::device::DslLine;
using zel::device::dslStateOf;

/// The driver's states, from 0.
constexpr std::array c_aStates{"down", "idle", "handshake", "handshake", "training", "showtime"};

constexpr std::uint64_t c_iVdsl2AnnexB = 1ULL << 57U; // bit 58 of G.997.1
constexpr std::uint64_t c_iAdsl2PlusAnnexB = 1ULL << 42U;

/// 0 for a text that is no number.
std::uint32_t number(const std::string& a_sText)
{
    std::uint32_t iNumber = 0;
    std::from_chars(a_sText.data(), a_sText.data() + a_sText.size(), iNumber);
    return iNumber;
}

DslLine readDriver()
{
    FileParser oFile;
    oFile.parse(FileParser::EMode::File, zel::systemPath("/proc/driver/dsl0"), "", ' ');
    const auto* pFields = oFile.getLines().empty() ? nullptr : &oFile.getLines().front();
    const std::uint32_t iState = pFields == nullptr ? 0 : number(FileParser::getToken(*pFields, 0));
    if (iState >= c_aStates.size()) {
        return {};
    }
    DslLine oLine{dslStateOf(c_aStates[iState])};
    if (oLine.m_iState == c_iDslShowtime) {
        oLine.m_iUpstream = number(FileParser::getToken(*pFields, 1));
        oLine.m_iDownstream = number(FileParser::getToken(*pFields, 2));
        oLine.m_iTransmissionSystem =
            FileParser::getToken(*pFields, 3) == "v" ? c_iVdsl2AnnexB : c_iAdsl2PlusAnnexB;
    }
    return oLine;
}

} // namespace

ZEL_DSLAPI_Handle ZEL_DSLAPI_construct()
{
    return ZEL_DSLAPI_Handle(new ZEL_DSLAPI_Context{&readDriver});
}
