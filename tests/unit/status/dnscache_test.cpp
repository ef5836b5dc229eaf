#include "status/dnscache.h"

#include "tests/logof.h"
#include "tests/unit/status/forwarder.h"
#include "tests/unit/status/tablereader.h"

#include <algorithm>

namespace {

class DnsCache : public testing::Test
{
protected:
    void write(const std::string& a_sName, const std::string& a_sText)
    {
        writeFile(m_oForwarder.path(a_sName), a_sText);
    }
    std::string hosts() { return m_oRead.all({"Host"}); }
    /// The same after the forwarder was asked once.
    std::string freshHosts()
    {
        std::string sHosts;
        m_oForwarder.answer([&] { sHosts = hosts(); });
        return sHosts;
    }
    Forwarder m_oForwarder;
    std::time_t m_iNow = 1000;
    zel::DnsCache m_oTable{m_oForwarder.m_oDnsMasq, [this] { return m_iNow; }};
    TableReader m_oRead{m_oTable, ""};
};

zel::CacheEntry parse(std::string_view a_sLine)
{
    return zel::makeCacheEntry(zel::splitLine(a_sLine, ' '));
}

} // namespace

TEST_F(DnsCache, ReadsEveryFileInTheOrderOfTheirNames)
{
    write("b.cache", "1 A 0 F b1 192.0.2.1 60\n1 A 0 F b2 192.0.2.2 61");
    write("a.cache.old", "1 A 0 F a 192.0.2.3 62\n");
    write("B.cache", "\n");
    write("cache", "1 A 0 F not 192.0.2.4 63\n");
    std::filesystem::create_directory(m_oForwarder.path("b.cached"));
    EXPECT_EQ(logOf([&] { EXPECT_EQ(freshHosts(), " a b1 b2 "); }),
              "error DnsCache Error while parsing " + m_oForwarder.path("b.cached") + "\n");
    EXPECT_EQ(m_oRead.find("Address", "192.0.2.2", {"Id", "Instance", "Host", "Expires"}), "4,4,b2,61");
}

TEST_F(DnsCache, IsReadAgainAfterFiveSecondsAndFoundByItsNumbersAtOnce)
{
    write("x.cache", "1 A 0 F old 192.0.2.1 60");
    EXPECT_EQ(freshHosts(), "old ");
    write("x.cache", "1 A 0 F new 192.0.2.1 60\n1 A 0 F more 192.0.2.2 60");
    m_iNow += 5;
    EXPECT_EQ(logOf([&] { EXPECT_EQ(hosts(), "old "); }), "");
    m_iNow += 1;
    m_oForwarder.answer([&] { EXPECT_EQ(m_oRead.find("Id", "2", {"Id", "Host"}), "2,more"); });
}

TEST_F(DnsCache, StaysAsItIsUntilATransactionIsRolledBack)
{
    write("x.cache", "1 A 0 F first 192.0.2.1 60");
    EXPECT_EQ(freshHosts(), "first ");
    m_oTable.startTransaction();
    EXPECT_EQ(hosts(), "first ") << "not read, for it is not time, and not later either";
    write("x.cache", "1 A 0 F second 192.0.2.1 60");
    m_iNow += 100;
    EXPECT_EQ(logOf([&] { EXPECT_EQ(hosts(), "first "); }), "");
    m_oTable.rollbackTransaction();
    EXPECT_EQ(freshHosts(), "second ");
}

TEST_F(DnsCache, EntriesStayWhileTheForwarderCannotBeAsked)
{
    write("x.cache", "1 A 0 F kept 192.0.2.1 60");
    EXPECT_EQ(freshHosts(), "kept ");
    m_oForwarder.leave();
    m_iNow += 6;
    for (int i = 0; i < 2; ++i) {
        const std::string sLog = logOf([&] {
            EXPECT_EQ(hosts(), "kept ");
            m_iNow += 1;
            EXPECT_EQ(hosts(), "kept ");
        });
        EXPECT_TRUE(sLog.starts_with("error DnsCache Could not dump cache: The name uk.org")) << sLog;
        EXPECT_EQ(std::ranges::count(sLog, '\n'), 1)
            << "it is asked again a second later, and not at each read";
        m_iNow += 1;
    }
}

TEST_F(DnsCache, AForwarderThatDumpsSlowlyIsReadAllTheSame)
{
    write("x.cache", "1 A 0 F before 192.0.2.1 60");
    EXPECT_EQ(logOf([&] { EXPECT_EQ(hosts(), "before "); }),
              "error DnsCache Could not dump cache: uk.org.thekelleys.dnsmasq does not answer\n");
    write("x.cache", "1 A 0 F dumped 192.0.2.1 60");
    m_iNow += 2;
    EXPECT_EQ(logOf([&] { EXPECT_EQ(hosts(), "dumped "); }), "")
        << "it is not asked again so soon, and its files need not wait for that";
}

TEST_F(DnsCache, WithoutItsDirectoryEveryReadFails)
{
    write("x.cache", "1 A 0 F lost 192.0.2.1 60");
    EXPECT_EQ(freshHosts(), "lost ");
    std::filesystem::remove_all(m_oForwarder.path(""));
    m_iNow += 6;
    EXPECT_EQ(freshHosts(), "code 1");
    m_oForwarder.answer([&] { EXPECT_EQ(m_oRead.at(0), "code 1"); });
    m_oForwarder.answer([&] { EXPECT_EQ(m_oRead.find("Host", "lost"), "code 1"); });
}

TEST_F(DnsCache, HasBoundsForAllFilesTogetherAndLogsOnceThatEntriesAreLeftOut)
{
    const auto count = [&] {
        std::string sCount;
        const std::string sLog = logOf([&] { m_oForwarder.answer([&] { sCount = m_oRead.count(); }); });
        m_iNow += 6;
        return sCount + " " + sLog;
    };
    const auto cutAt = [](std::size_t a_iCount) {
        const std::string sCount = std::to_string(a_iCount);
        return sCount + " error DnsCache The cache is too large, only its first " + sCount +
               " entries are served\n";
    };
    const auto lines = [](std::size_t a_iCount, std::size_t a_iSize) {
        std::string sLines;
        for (const std::string sLine = std::string(a_iSize - 1, 'x') + "\n"; a_iCount > 0; --a_iCount) {
            sLines += sLine;
        }
        return sLines;
    };
    write("1.cache", lines(40000, 20));
    write("2.cache", lines(zel::DnsCache::c_iMostEntries - 40000, 20));
    const std::string sFull = std::to_string(zel::DnsCache::c_iMostEntries) + " ";
    EXPECT_EQ(count(), sFull);
    write("2.cache", lines(40000, 20));
    EXPECT_EQ(count(), cutAt(zel::DnsCache::c_iMostEntries));
    EXPECT_EQ(count(), sFull);
    write("1.cache", "");
    EXPECT_EQ(count(), "40000 ");
    write("1.cache", lines(20000, 200));
    write("2.cache", lines(20000, 200));
    write("3.cache", lines(1, 20));
    EXPECT_EQ(count(), cutAt(zel::FileParser::c_iMostBytes / 200));
    std::filesystem::remove(m_oForwarder.path("1.cache"));
    EXPECT_EQ(count(), "20001 ");

    for (std::size_t i = 0; i < zel::DnsCache::c_iMostFiles; ++i) {
        write("0.cache." + std::to_string(i), "1 A 0 F host 192.0.2.1 60\n");
    }
    EXPECT_EQ(count(), cutAt(zel::DnsCache::c_iMostFiles)) << "the first ones by name";
}

TEST_F(DnsCache, FollowsNoLinkThatSomeonePutsThere)
{
    write("secret", "1 A 0 F secret 192.0.2.1 60");
    std::filesystem::create_symlink(m_oForwarder.path("secret"), m_oForwarder.path("x.cache"));
    EXPECT_EQ(logOf([&] { EXPECT_EQ(freshHosts(), ""); }),
              "error DnsCache Error while parsing " + m_oForwarder.path("x.cache") + "\n");
}

TEST(DnsCacheLine, MayLackAnyToken)
{
    EXPECT_EQ(parse(" 1  A 0 F host").m_iExpires, 0) << "the last token, whatever it is";
    EXPECT_EQ(parse("7").m_iExpires, 7);
    EXPECT_EQ(parse("").m_iExpires, 0);
    EXPECT_EQ(parse("a b c d host addr 4294967297").m_iExpires, 1);
    EXPECT_EQ(parse("a b c d host addr 9 -5 ").m_iExpires, -5);
}
