// Arbitrary bytes as a cache file of the DNS forwarder: an entry's texts are the tokens in their places, or
// empty.
#include "fuzz/require.h"
#include "status/dnscache.h"
#include "zel/lines.h"

#include <sstream>

namespace {

/// The tokens, taken apart in the plainest way.
std::vector<std::string> tokensOf(std::string_view a_sLine)
{
    std::vector<std::string> lTokens;
    std::istringstream oLine{std::string(a_sLine)};
    for (std::string sToken; std::getline(oLine, sToken, ' ');) {
        if (!sToken.empty()) {
            lTokens.push_back(sToken);
        }
    }
    return lTokens;
}

} // namespace

extern "C" int LLVMFuzzerTestOneInput(const unsigned char* a_pBytes, std::size_t a_iSize)
{
    zel::LineCutter oLines(zel::FileParser::c_iLineBufferSize, [](std::string_view a_sLine) {
        const auto oEntry = zel::makeCacheEntry(zel::splitLine(a_sLine, ' '));
        const auto lTokens = tokensOf(a_sLine);
        require(oEntry.m_sHost == (lTokens.size() > 4 ? lTokens[4] : ""));
        require(oEntry.m_sAddress == (lTokens.size() > 5 ? lTokens[5] : ""));
        require(oEntry.m_iExpires == 0 || lTokens.back().find_first_of("123456789") != std::string::npos);
    });
    oLines.add({reinterpret_cast<const char*>(a_pBytes), a_iSize});
    oLines.finish();
    return 0;
}
