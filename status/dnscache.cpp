#include "status/dnscache.h"

#include "dbus/dnsmasqdbusproxy.h"
#include "zel/convert.h"
#include "zel/log.h"
#include "zel/systempath.h"

#include <filesystem>
#include <iterator>
#include <optional>
#include <set>
#include <string>
#include <utility>

namespace zel {

using configmanager::serverlib::column;
using configmanager::serverlib::Column;
using systema::EResultCode;

namespace {

constexpr Column<CacheEntry> c_aColumns[] = {
    column<&CacheEntry::m_iId>("Id"),           column<&CacheEntry::m_iInstance>("Instance"),
    column<&CacheEntry::m_sHost>("Host"),       column<&CacheEntry::m_sAddress>("Address"),
    column<&CacheEntry::m_iExpires>("Expires"),
};

/// The names of the cache files that count: the first ones in the order of their bytes. Sets whether there
/// are more. Nothing when the directory cannot be read.
std::optional<std::set<std::string>> findFiles(const std::string& a_sDirectory, bool& a_bMore)
{
    a_bMore = false;
    std::set<std::string> lNames;
    std::error_code oError;
    for (std::filesystem::directory_iterator it(a_sDirectory, oError), itEnd; it != itEnd;
         it.increment(oError)) {
        std::string sName = it->path().filename();
        if (sName.find(".cache") != std::string::npos) {
            lNames.insert(std::move(sName));
        }
        if (lNames.size() > DnsCache::c_iMostFiles) {
            lNames.erase(std::prev(lNames.end()));
            a_bMore = true;
        }
    }
    if (oError) {
        return {};
    }
    return lNames;
}

} // namespace

CacheEntry makeCacheEntry(const FileParser::Line& a_lTokens)
{
    CacheEntry oEntry;
    if (!a_lTokens.empty()) {
        oEntry.m_iExpires = lowest32Bits(a_lTokens.back().c_str());
    }
    oEntry.m_sHost = FileParser::getToken(a_lTokens, 4);
    oEntry.m_sAddress = FileParser::getToken(a_lTokens, 5);
    return oEntry;
}

DnsCache::DnsCache(DnsMasqDBusProxy& a_oDnsMasq, BootClock a_oNow)
    : FrozenTable("DnsCache", c_aColumns),
      m_oDnsMasq(a_oDnsMasq),
      m_iModule(ZEL_Sysloglevel_registerModul("DnsCache")),
      m_sDirectory(systemPath("/tmp")),
      m_oInterval(a_oNow, c_iReadSeconds),
      m_oRetry(std::move(a_oNow), c_iRetrySeconds)
{
}

/// True when the table may be served, with new entries or with the old ones.
bool DnsCache::refresh()
{
    if (m_oLock.isTaken()) {
        return true;
    }
    m_oLock.lock();
    if (!m_oInterval.isOver() || !m_oRetry.isOver()) {
        return true;
    }
    bool bDone = false; // whatever the forwarder says: the files are what counts
    const auto oResult = m_oDnsMasq.DumpCache(bDone);
    const bool bTimedOut = oResult.m_eState == CallResult::EState::TimedOut;
    if (!oResult.isDone()) {
        m_oRetry.restart();
        if (!bTimedOut || oResult.m_bAsked) {
            ZEL_Sysloglevel_error(m_iModule, here(), "Could not dump cache: %s", oResult.m_sError.c_str());
        }
        if (!bTimedOut) {
            return true;
        }
    }
    const bool bRead = readFiles();
    if (bRead && !bTimedOut) {
        m_oInterval
            .restart(); // a late dump may be complete at any moment, so that the files are read soon again
    }
    return bRead;
}

/// Replaces the entries by those of the files. False when the directory of the files cannot be read.
bool DnsCache::readFiles()
{
    m_lRows.clear();
    bool bMoreFiles = false;
    const auto oNames = findFiles(m_sDirectory, bMoreFiles);
    if (!oNames) {
        return false;
    }
    bool bFull = false;
    std::size_t iBytesLeft = FileParser::c_iMostBytes;
    for (const auto& sName : *oNames) {
        const std::string sPath = m_sDirectory + "/" + sName;
        FileParser oParser(iBytesLeft);
        if (!oParser.parse(FileParser::EMode::PlainFile, sPath, "", ' ',
                           [&](const FileParser::Line& a_lTokens) { bFull = !append(a_lTokens); })) {
            ZEL_Sysloglevel_error(m_iModule, here(), "Error while parsing %s", sPath.c_str());
        }
        iBytesLeft -= oParser.getByteCount();
        bFull = bFull || oParser.isCut();
        if (bFull) {
            break;
        }
    }
    const bool bCut = bFull || bMoreFiles;
    if (!std::exchange(m_bCut, bCut) && bCut) {
        ZEL_Sysloglevel_error(m_iModule, here(),
                              "The cache is too large, only its first %zu entries are served",
                              m_lRows.size());
    }
    return true;
}

/// False when there is no room for the entry.
bool DnsCache::append(const FileParser::Line& a_lTokens)
{
    if (m_lRows.size() == c_iMostEntries) {
        return false;
    }
    m_lRows.push_back(makeCacheEntry(a_lTokens));
    m_lRows.back().m_iInstance = static_cast<std::int32_t>(m_lRows.size());
    return true;
}

} // namespace zel
