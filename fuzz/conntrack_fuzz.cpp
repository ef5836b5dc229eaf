// Arbitrary bytes as the kernel's list of connections: each line's cells are those of its tokens, and none
// of another protocol than TCP and UDP passes the filter.
#include "fuzz/require.h"
#include "status/ipfilter.h"
#include "zel/lines.h"

#include <algorithm>
#include <sstream>
#include <vector>

namespace {

/// The texts of the tokens, taken apart in the plainest way.
std::vector<std::string> textsOf(std::string_view a_sLine)
{
    std::vector<std::string> lTexts;
    std::istringstream oLine(std::string(a_sLine.substr(0, a_sLine.rfind(' ') + 1)));
    for (std::string sToken; std::getline(oLine, sToken, ' ');) {
        if (!sToken.empty()) {
            lTexts.push_back(sToken.substr(sToken.find('=') + 1));
        }
    }
    lTexts.resize(std::max<std::size_t>(lTexts.size(), 15));
    return lTexts;
}

} // namespace

/// The first line is the LAN's addressing.
extern "C" int LLVMFuzzerTestOneInput(const unsigned char* a_pBytes, std::size_t a_iSize)
{
    std::vector<std::string> lAddressing;
    int iLine = 0;
    zel::LineCutter oCutter(512, [&](std::string_view a_sLine) {
        const auto lTexts = textsOf(a_sLine);
        if (++iLine == 1) {
            lAddressing = lTexts;
        }
        zel::Connection oConnection;
        const bool bKnown = oConnection.init(iLine, zel::splitConnection(a_sLine));
        const zel::IpFilter oFilter(lAddressing[0], lAddressing[1], lAddressing[2]);
        const bool bTcp = lTexts[2] == "tcp";
        require(bKnown == (bTcp || lTexts[2] == "udp"));
        require(bKnown || oFilter(oConnection));
        require(oConnection.m_iLine == iLine && oConnection.m_sProtocol == lTexts[2]);
        require(oConnection.m_sState == (bTcp ? lTexts[5] : ""));
        const std::size_t iAddress = bTcp ? 6 : 5;
        require(oConnection.m_sSrcAddress == (bKnown ? lTexts[iAddress] : ""));
        require(oConnection.m_sDstAddress == (bKnown ? lTexts[iAddress + 1] : ""));
        require(bKnown || oConnection.m_iSrcPort == 0);
        require(!oConnection.m_bAssured || lTexts[iAddress + 8] == "[ASSURED]");
    });
    oCutter.add({reinterpret_cast<const char*>(a_pBytes), a_iSize});
    oCutter.finish();
    return 0;
}
