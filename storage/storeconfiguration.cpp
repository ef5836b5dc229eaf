#include "storage/storeconfiguration.h"

#include "zel/lines.h"

#include <algorithm>
#include <cctype>
#include <charconv>
#include <stdexcept>
#include <unistd.h>

namespace systema {

namespace {

constexpr std::size_t c_iMostBytes = 64 * 1024;

std::string trim(std::string_view a_sText)
{
    constexpr const char* c_pBlanks = " \t\r";
    const auto iBegin = a_sText.find_first_not_of(c_pBlanks);
    return std::string(iBegin == std::string_view::npos
                           ? ""
                           : a_sText.substr(iBegin, a_sText.find_last_not_of(c_pBlanks) + 1 - iBegin));
}

std::string unquoted(const std::string& a_sValue)
{
    const bool bQuoted = a_sValue.size() >= 2 && a_sValue.front() == '"' && a_sValue.back() == '"';
    return bQuoted ? a_sValue.substr(1, a_sValue.size() - 2) : a_sValue;
}

} // namespace

bool isPlainPath(std::string_view a_sPath)
{
    return std::ranges::all_of(a_sPath, [](char a_cOne) {
        return std::isalnum(static_cast<unsigned char>(a_cOne)) != 0 ||
               std::string_view(c_pPathCharacters).find(a_cOne) != std::string_view::npos;
    });
}

StoreConfiguration::StoreConfiguration(const std::string& a_sFile)
    : m_mDirectories{{c_pDumps, "/flash/sql"},
                     {c_pStore, "/flash/store"},
                     {c_pDatabases, "/tmp/db"},
                     {c_pFactory, "/usr/share/ledgerd/factory"}}
{
    const auto oText = zel::readFile(a_sFile, c_iMostBytes);
    if (!oText) {
        if (::access(a_sFile.c_str(), F_OK) == 0) {
            m_lFaults.push_back({"", a_sFile + ": cannot be read"});
        }
        return;
    }
    std::size_t iLine = 0;
    for (std::string_view sRest = *oText; !sRest.empty();) {
        const auto iEnd = std::min(sRest.find('\n'), sRest.size());
        const std::string sLine = trim(sRest.substr(0, iEnd));
        sRest.remove_prefix(std::min(iEnd + 1, sRest.size()));
        ++iLine;
        if (sLine.empty() || sLine.front() == '#') {
            continue;
        }
        const std::string sKey = trim(sLine.substr(0, sLine.find('=')));
        try {
            if (sLine.find('=') == std::string::npos) {
                throw std::runtime_error("is not of the form KEY=VALUE: " + sLine);
            }
            set(sKey, unquoted(trim(sLine.substr(sLine.find('=') + 1))));
        } catch (const std::runtime_error& oError) {
            m_lFaults.push_back({sKey, a_sFile + ": line " + std::to_string(iLine) + ": " + oError.what()});
        }
    }
}

void StoreConfiguration::set(const std::string& a_sKey, const std::string& a_sValue)
{
    if (a_sKey == c_pLimit) {
        const char* pEnd = a_sValue.data() + a_sValue.size();
        std::uint64_t iValue = 0;
        const auto [pRest, eError] = std::from_chars(a_sValue.data(), pEnd, iValue);
        if (eError != std::errc() || pRest != pEnd || iValue < 1 || iValue > c_iGreatestLimitMiB) {
            throw std::runtime_error(a_sKey + " is no number from 1 to " +
                                     std::to_string(c_iGreatestLimitMiB) + ": " + a_sValue);
        }
        m_iLimitMiB = iValue;
        return;
    }
    const auto it = m_mDirectories.find(a_sKey);
    if (it == m_mDirectories.end()) {
        throw std::runtime_error("unknown key " + a_sKey);
    }
    if (!a_sValue.starts_with('/')) {
        throw std::runtime_error(a_sKey + " is no absolute path: " + a_sValue);
    }
    if (!isPlainPath(a_sValue)) {
        throw std::runtime_error(a_sKey + " is no path of letters, digits and " + c_pPathCharacters + ": " +
                                 a_sValue);
    }
    it->second = a_sValue;
}

std::string StoreConfiguration::directory(const std::string& a_sKey) const
{
    const auto it = m_mDirectories.find(a_sKey);
    return it == m_mDirectories.end() ? "" : zel::systemPath(it->second);
}

std::optional<std::string> StoreConfiguration::faultOf(std::string_view a_sKey) const
{
    const auto it = std::ranges::find_if(m_lFaults, [&](const Fault& a_oFault) {
        return a_oFault.m_sKey.empty() || a_oFault.m_sKey == a_sKey;
    });
    return it == m_lFaults.end() ? std::nullopt : std::optional(it->m_sText);
}

} // namespace systema
