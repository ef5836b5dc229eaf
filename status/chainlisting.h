// What the listing of a chain by "iptables -L CHAIN -v" says of its packets, line by line.
//
// One thread. The lines may hold any bytes; nothing throws but std::bad_alloc.
#pragma once

#include <cstddef>
#include <cstdint>
#include <string>
#include <string_view>

namespace zel {

class ChainListing
{
public:
    /// The chain that the listing should be of.
    explicit ChainListing(const std::string& a_sChain) : m_sHead("Chain " + a_sChain + " ") {}

    /// The next line, without its newline.
    void add(std::string_view a_sLine);

    /// True when the first line says that it is.
    bool isOfChain() const { return m_bOfChain; }
    /// Packets that rules with the target "ACCEPT" and "DROP" counted; the sums wrap. A rule whose packets or
    /// bytes are written short, as "10K", adds nothing.
    std::uint32_t getAccepted() const { return m_iAccepted; }
    std::uint32_t getDropped() const { return m_iDropped; }

private:
    void addRule(const std::string& a_sRule);

    const std::string m_sHead; // how the listing begins
    std::size_t m_iLines = 0;
    bool m_bOfChain = false;
    std::uint32_t m_iAccepted = 0;
    std::uint32_t m_iDropped = 0;
};

} // namespace zel
