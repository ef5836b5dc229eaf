#include "status/connectionlist.h"

#include <charconv>
#include <cstdio>
#include <cstring>
#include <string_view>

namespace zel {

namespace {

constexpr std::size_t c_iIPv4Size = 4;
constexpr std::size_t c_iGroups = 8;
constexpr std::size_t c_iIPv6Text = c_iGroups * 5 - 1;
constexpr std::string_view c_sDigits = "0123456789abcdef";

/// Writes the address of a text that is printed from it in exactly that form. False for any other text.
bool parseIPv4(unsigned char* a_pAddress, std::string_view a_sText)
{
    for (std::size_t i = 0; i < c_iIPv4Size; ++i) {
        const bool bPoint = !a_sText.empty() && a_sText.front() == '.';
        if (bPoint != (i > 0)) {
            return false;
        }
        a_sText.remove_prefix(bPoint ? 1 : 0);
        const auto oResult = std::from_chars(a_sText.data(), a_sText.data() + a_sText.size(), a_pAddress[i]);
        const auto iSize = static_cast<std::size_t>(oResult.ptr - a_sText.data());
        if (oResult.ec != std::errc() || (iSize > 1 && a_sText.front() == '0')) {
            return false;
        }
        a_sText.remove_prefix(iSize);
    }
    return a_sText.empty();
}

bool parseIPv6(unsigned char* a_pAddress, std::string_view a_sText)
{
    if (a_sText.size() != c_iIPv6Text) {
        return false;
    }
    std::size_t iNibble = 0;
    for (std::size_t i = 0; i < a_sText.size(); ++i) {
        if (i % 5 == 4) {
            if (a_sText[i] != ':') {
                return false;
            }
            continue;
        }
        const auto iDigit = c_sDigits.find(a_sText[i]);
        if (iDigit == std::string_view::npos) {
            return false;
        }
        unsigned char& iByte = a_pAddress[iNibble / 2];
        iByte = static_cast<unsigned char>(iNibble % 2 == 0 ? iDigit << 4U : iByte | iDigit);
        ++iNibble;
    }
    return true;
}

std::string printIPv4(const unsigned char* a_pAddress)
{
    std::array<char, sizeof "255.255.255.255"> aText;
    std::snprintf(aText.data(), aText.size(), "%u.%u.%u.%u", a_pAddress[0], a_pAddress[1], a_pAddress[2],
                  a_pAddress[3]);
    return aText.data();
}

std::string printIPv6(const unsigned char* a_pAddress)
{
    std::string sText;
    sText.reserve(c_iIPv6Text);
    for (std::size_t i = 0; i < c_iGroups * 2; ++i) {
        if (i > 0 && i % 2 == 0) {
            sText += ':';
        }
        sText += c_sDigits[a_pAddress[i] >> 4U];
        sText += c_sDigits[a_pAddress[i] & 15U];
    }
    return sText;
}

} // namespace

void ConnectionList::add(const Connection& a_oConnection)
{
    Packed oPacked{};
    oPacked.m_eSource = pack(oPacked.m_aSource, a_oConnection.m_sSrcAddress);
    oPacked.m_eDestination = pack(oPacked.m_aDestination, a_oConnection.m_sDstAddress);
    oPacked.m_iProtocol = numberOf(a_oConnection.m_sProtocol);
    oPacked.m_iState = numberOf(a_oConnection.m_sState);
    oPacked.m_iLine = a_oConnection.m_iLine;
    oPacked.m_iProtocolNumber = a_oConnection.m_iProtocolNumber;
    oPacked.m_iExpires = a_oConnection.m_iExpires;
    oPacked.m_iSrcPort = a_oConnection.m_iSrcPort;
    oPacked.m_iDstPort = a_oConnection.m_iDstPort;
    oPacked.m_bUnreplied = a_oConnection.m_bUnreplied;
    oPacked.m_bAssured = a_oConnection.m_bAssured;
    m_lConnections.push_back(oPacked);
}

void ConnectionList::discard()
{
    m_bGone = true;
    std::deque<Packed>().swap(m_lConnections);
    std::vector<const std::string*>().swap(m_lTexts);
    std::unordered_map<std::string, std::uint32_t>().swap(m_mNumbers);
}

/// The number under which the text is kept, from now on if it was not yet.
std::uint32_t ConnectionList::numberOf(const std::string& a_sText)
{
    const auto [it, bNew] = m_mNumbers.try_emplace(a_sText, static_cast<std::uint32_t>(m_lTexts.size()));
    if (bNew) {
        m_lTexts.push_back(&it->first);
    }
    return it->second;
}

ConnectionList::EForm ConnectionList::pack(Address& a_aAddress, const std::string& a_sText)
{
    if (parseIPv4(a_aAddress.data(), a_sText)) {
        return EForm::IPv4;
    }
    if (parseIPv6(a_aAddress.data(), a_sText)) {
        return EForm::IPv6;
    }
    const std::uint32_t iNumber = numberOf(a_sText);
    std::memcpy(a_aAddress.data(), &iNumber, sizeof iNumber);
    return EForm::Text;
}

std::string ConnectionList::unpack(const Address& a_aAddress, EForm a_eForm) const
{
    if (a_eForm != EForm::Text) {
        return a_eForm == EForm::IPv4 ? printIPv4(a_aAddress.data()) : printIPv6(a_aAddress.data());
    }
    std::uint32_t iNumber = 0;
    std::memcpy(&iNumber, a_aAddress.data(), sizeof iNumber);
    return text(iNumber);
}

} // namespace zel
