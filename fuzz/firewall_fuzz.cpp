// Arbitrary bytes as the listing of a chain: only that chain's own listing counts, only for rules with the
// two targets, and the same whether it comes at once or byte by byte.
#include "fuzz/require.h"
#include "status/chainlisting.h"
#include "zel/lines.h"

namespace {

zel::ChainListing read(std::string_view a_sText, std::size_t a_iPiece)
{
    zel::ChainListing oListing("lanInput");
    zel::LineCutter oLines(256, [&](std::string_view a_sLine) { oListing.add(a_sLine); });
    for (std::size_t i = 0; i < a_sText.size(); i += a_iPiece) {
        oLines.add(a_sText.substr(i, a_iPiece));
    }
    oLines.finish();
    return oListing;
}

} // namespace

extern "C" int LLVMFuzzerTestOneInput(const unsigned char* a_pBytes, std::size_t a_iSize)
{
    const std::string_view sText(reinterpret_cast<const char*>(a_pBytes), a_iSize);
    const auto contains = [&](std::string_view a_sWord) {
        return sText.find(a_sWord) != std::string_view::npos;
    };
    const auto oListing = read(sText, a_iSize);
    require(!oListing.isOfChain() || contains("Chain lanInput"));
    require(oListing.getAccepted() == 0 || (oListing.isOfChain() && contains("ACCEPT")));
    require(oListing.getDropped() == 0 || (oListing.isOfChain() && contains("DROP")));
    const auto oSame = read(sText, 1);
    require(oSame.isOfChain() == oListing.isOfChain());
    require(oSame.getAccepted() == oListing.getAccepted() && oSame.getDropped() == oListing.getDropped());
    return 0;
}
