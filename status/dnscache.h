// The table "DnsCache": the entries of the DNS forwarder's cache.
//
// Owned by the status host, which owns the wrapper of dnsmasq as well. Main thread only. A count or a read
// has the forwarder write its cache files and reads them, once in a client's transaction and at most every
// five seconds. While the forwarder cannot be asked, the entries stay. A forwarder that does not answer in
// time may write the files all the same, so they are read then too. Anyone may write into /tmp: the files are
// bounded, and none is a link.
#pragma once

#include "status/frozentable.h"
#include "status/readinterval.h"
#include "zel/fileparser.h"

#include <cstddef>
#include <cstdint>
#include <string>
#include <vector>

namespace zel {

class DnsMasqDBusProxy;

struct CacheEntry
{
    std::int32_t m_iId = 0; // see rows.h; 0 for a new row
    std::int32_t m_iInstance = 0;
    std::string m_sHost;
    std::string m_sAddress;
    std::int32_t m_iExpires = 0;
};

/// What a line of a cache file says: host and address are its fifth and sixth token, the expiry its last one.
/// What is missing is empty or 0.
CacheEntry makeCacheEntry(const FileParser::Line& a_lTokens);

class DnsCache : public FrozenTable<CacheEntry>
{
public:
    using Cache = CacheEntry;

    static constexpr std::time_t c_iReadSeconds = 5;
    static constexpr std::time_t c_iRetrySeconds = 1;
    /// Files that are read, and entries of all of them, at most; of all bytes FileParser::c_iMostBytes are.
    static constexpr std::size_t c_iMostFiles = 256;
    static constexpr std::size_t c_iMostEntries = 65536;

    /// The wrapper must outlive it.
    DnsCache(DnsMasqDBusProxy& a_oDnsMasq, BootClock a_oNow);

    void init() override {}
    void update(systema::NameList&) override {}
    bool announces(const std::string&) const override { return false; }

private:
    /// False when the directory of the files cannot be read.
    bool refresh() override;
    bool readFiles();
    bool append(const FileParser::Line& a_lTokens);

    DnsMasqDBusProxy& m_oDnsMasq;
    const int m_iModule;
    const std::string m_sDirectory;
    ReadInterval m_oInterval;
    ReadInterval m_oRetry; // since the forwarder could not be asked
    bool m_bCut = false;   // at the last read, which was logged
};

} // namespace zel
