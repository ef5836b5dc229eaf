// Many connections in little memory: 64 bytes each. An address is kept as its bytes and any other text once,
// so that what comes out is byte for byte what went in.
//
// A value on one thread; nothing throws but std::bad_alloc.
#pragma once

#include "status/connection.h"

#include <array>
#include <cstddef>
#include <cstdint>
#include <deque>
#include <string>
#include <unordered_map>
#include <vector>

namespace zel {

class ConnectionList
{
public:
    void add(const Connection& a_oConnection);
    std::size_t size() const { return m_lConnections.size(); }
    /// Forgets all of them. Who still has the list can tell by isGone().
    void discard();
    bool isGone() const { return m_bGone; }

private:
    friend class ConnectionRow;

    enum class EForm : std::uint8_t
    {
        IPv4, // as 192.0.2.1
        IPv6, // as the kernel writes it: eight groups of four lower-case digits
        Text  // anything else: the number of the text stands in place of the address
    };
    using Address = std::array<unsigned char, 16>;

    struct Packed
    {
        Address m_aSource;
        Address m_aDestination;
        std::uint32_t m_iProtocol; // number of a text, as the state
        std::uint32_t m_iState;
        std::int32_t m_iLine;
        std::int32_t m_iProtocolNumber;
        std::int32_t m_iExpires;
        std::int32_t m_iSrcPort;
        std::int32_t m_iDstPort;
        EForm m_eSource;
        EForm m_eDestination;
        bool m_bUnreplied;
        bool m_bAssured;
    };
    static_assert(sizeof(Packed) == 64);

    std::uint32_t numberOf(const std::string& a_sText);
    EForm pack(Address& a_aAddress, const std::string& a_sText);
    std::string unpack(const Address& a_aAddress, EForm a_eForm) const;
    const std::string& text(std::uint32_t a_iNumber) const { return *m_lTexts[a_iNumber]; }

    std::deque<Packed> m_lConnections; // grows without a copy of what is there
    std::unordered_map<std::string, std::uint32_t> m_mNumbers;
    std::vector<const std::string*> m_lTexts; // by their numbers; the map has them
    bool m_bGone = false;
};

/// One connection of a list, as what was added. Lives as long as the list has it.
class ConnectionRow
{
public:
    ConnectionRow(const ConnectionList& a_oList, std::size_t a_iPosition)
        : m_oList(a_oList),
          m_oPacked(a_oList.m_lConnections[a_iPosition])
    {
    }

    std::int32_t getLine() const { return m_oPacked.m_iLine; }
    const std::string& getProtocol() const { return m_oList.text(m_oPacked.m_iProtocol); }
    std::int32_t getProtocolNumber() const { return m_oPacked.m_iProtocolNumber; }
    std::int32_t getExpires() const { return m_oPacked.m_iExpires; }
    const std::string& getState() const { return m_oList.text(m_oPacked.m_iState); }
    std::string getSrcAddress() const { return m_oList.unpack(m_oPacked.m_aSource, m_oPacked.m_eSource); }
    std::string getDstAddress() const
    {
        return m_oList.unpack(m_oPacked.m_aDestination, m_oPacked.m_eDestination);
    }
    std::int32_t getSrcPort() const { return m_oPacked.m_iSrcPort; }
    std::int32_t getDstPort() const { return m_oPacked.m_iDstPort; }
    bool isUnreplied() const { return m_oPacked.m_bUnreplied; }
    bool isAssured() const { return m_oPacked.m_bAssured; }

private:
    const ConnectionList& m_oList;
    const ConnectionList::Packed& m_oPacked;
};

} // namespace zel
