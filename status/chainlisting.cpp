#include "status/chainlisting.h"

#include <array>
#include <cstdio>

namespace zel {

void ChainListing::add(std::string_view a_sLine)
{
    const std::string sLine(a_sLine);
    ++m_iLines;
    if (m_iLines == 1) {
        m_bOfChain = (sLine + ' ').find(m_sHead) != std::string::npos;
    } else if (m_iLines > 2 && m_bOfChain) { // the second names the columns
        addRule(sLine);
    }
}

void ChainListing::addRule(const std::string& a_sRule)
{
    unsigned iPackets = 0;
    unsigned iBytes = 0;
    std::array<char, 256> aTarget;
    if (std::sscanf(a_sRule.c_str(), "%u %u %255s", &iPackets, &iBytes, aTarget.data()) != 3) {
        return;
    }
    const std::string_view sTarget(aTarget.data());
    if (sTarget == "ACCEPT") {
        m_iAccepted += iPackets;
    } else if (sTarget == "DROP") {
        m_iDropped += iPackets;
    }
}

} // namespace zel
