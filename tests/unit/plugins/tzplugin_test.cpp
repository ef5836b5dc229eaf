#include "plugins/tzplugin.h"

#include "tests/logof.h"
#include "tests/row.h"
#include "tests/unit/device/systemroot.h"

#include <gmock/gmock.h>

#include <csignal>
#include <sys/resource.h>
#include <sys/stat.h>
#include <unistd.h>
#include <utility>

using systema::EResultCode;
using systema::Value;
using systema::ValueList;
using testing::AllOf;
using testing::ElementsAre;
using testing::EndsWith;
using testing::StartsWith;
using tests::row;

namespace {

const std::string c_sTable = "Tz";
const std::string c_sBerlin = "CET-1CEST,M3.5.0,M10.5.0/3\n";

Value text(std::string a_sText)
{
    return Value(systema::EDataType::Text, std::move(a_sText));
}

class TzPlugin : public testing::Test
{
protected:
    TzPlugin()
    {
        setFile(c_sBerlin);
        std::filesystem::create_directories(m_oRoot.path("/var/run"));
    }
    void setFile(const std::string& a_sText) const { m_oRoot.write("/etc/TZ", a_sText); }
    std::string file() const { return readFile(m_oRoot.path("/etc/TZ")); }
    /// What the kernel was told last: minutes west, and whether there is daylight saving.
    std::string kernel() const { return readFile(m_oRoot.path("/var/run/ledgerd-zone")); }

    unsigned select() { return m_oPlugin.selectRow(m_lRow, this, c_sTable, 0, {}); }
    unsigned update(const ValueList& a_lValues) { return m_oPlugin.updateRow(this, c_sTable, 0, a_lValues); }
    /// Whether the row in memory has the key.
    unsigned updateBy(const std::string& a_sColumn, const std::string& a_sValue)
    {
        return m_oPlugin.updateKey(this, c_sTable, a_sColumn, a_sValue, {});
    }

    const SystemRoot m_oRoot;
    ValueList m_lRow;
    zel::TzPlugin m_oPlugin;
};

} // namespace

TEST_F(TzPlugin, ReadsAWholeLineCutAtItsFirstTwoCommas)
{
    const std::string sLongest(127, 'x');
    const std::vector<std::pair<std::string, ValueList>> lLines{
        {"UTC0\nmore\n", row({{"Id", 1}, {"Name", "UTC0"}, {"Start", ""}, {"End", ""}})},
        {c_sBerlin, row({{"Id", 1}, {"Name", "CET-1CEST"}, {"Start", "M3.5.0"}, {"End", "M10.5.0/3"}})},
        {"A,b\n", row({{"Id", 1}, {"Name", "A"}, {"Start", "b"}, {"End", ""}})},
        {",,c,d,\n", row({{"Id", 1}, {"Name", ""}, {"Start", ""}, {"End", "c,d,"}})},
        {"\n", row({{"Id", 1}, {"Name", ""}, {"Start", ""}, {"End", ""}})},
        {sLongest + "\n", row({{"Id", 1}, {"Name", text(sLongest)}, {"Start", ""}, {"End", ""}})},
    };
    for (const auto& [sLine, lRow] : lLines) {
        setFile(sLine);
        m_lRow.clear();
        EXPECT_EQ(select(), EResultCode::Success) << sLine;
        EXPECT_EQ(m_lRow, lRow) << sLine;
    }
    for (const std::string& sNoLine : {std::string(), std::string("UTC0"), sLongest + "x\n"}) {
        setFile(sNoLine);
        EXPECT_THAT(logLinesOf([&] { EXPECT_EQ(select(), EResultCode::Failure); }),
                    ElementsAre(StartsWith("error   TzPlugin tzplugin:424: Could not read timezone: ")))
            << sNoLine;
        EXPECT_EQ(update(row({{"Name", "UTC0"}})), EResultCode::Failure);
        EXPECT_EQ(file(), sNoLine);
    }
}

TEST_F(TzPlugin, OnlySelectionByKeyReadsTheFileBeforeItLooksAtTheKey)
{
    EXPECT_EQ(updateBy("Name", "CET-1CEST"), EResultCode::NoKey);
    EXPECT_EQ(m_oPlugin.deleteKey(this, c_sTable, "Name", "CET-1CEST"), EResultCode::NoKey);
    EXPECT_EQ(m_oPlugin.updateKey(this, "tz", "Id", "2", {}), EResultCode::NoKey) << "nor at the table";
    EXPECT_EQ(m_oPlugin.deleteKey(this, "tz", "Id", "2"), EResultCode::NoKey);
    EXPECT_EQ(m_oPlugin.selectKey(m_lRow, this, c_sTable, "Name", "CET-1CEST", {"End", "Id"}),
              EResultCode::Success);
    EXPECT_EQ(m_lRow, row({{"End", "M10.5.0/3"}, {"Id", 1}}));
    EXPECT_EQ(updateBy("Name", "CET-1CEST"), EResultCode::Success);
    EXPECT_EQ(updateBy("Id", "01"), EResultCode::NoKey);
    EXPECT_EQ(updateBy("NoColumn", ""), EResultCode::NoKey);
    EXPECT_EQ(m_oPlugin.selectKey(m_lRow, this, c_sTable, "Name", "cet-1cest", {}), EResultCode::NoKey);
    EXPECT_EQ(m_oPlugin.deleteKey(this, c_sTable, "Start", "M3.5.0"), EResultCode::Success);
    EXPECT_EQ(file(), "\n");
}

TEST_F(TzPlugin, AnyTextLeavesTheOldOrTheNewLine)
{
    struct Case
    {
        ValueList m_lValues;
        unsigned m_iCode;
        std::string m_sFile;
    };
    const std::vector<Case> lCases{
        {row({{"Name", "EST5EDT"}}), EResultCode::Success, "EST5EDT,M3.5.0,M10.5.0/3\n"},
        {row({{"Start", ""}, {"End", ""}}), EResultCode::Success, "CET-1CEST\n"},
        {row({{"Start", "J60"}, {"End", ""}}), EResultCode::Failure, c_sBerlin},
        {row({{"Start", ""}}), EResultCode::Failure, c_sBerlin},
        {row({{"Name", "A,b"}}), EResultCode::Constraint, c_sBerlin},
        {row({{"Start", "M3.5.0,M10.5.0/3"}}), EResultCode::Constraint, c_sBerlin},
        {row({{"End", text(std::string(1 << 20, 'x'))}}), EResultCode::Failure, c_sBerlin},
        {row({{"Name", "UTC0\nCET-1"}}), EResultCode::Failure, c_sBerlin},
        {row({{"Name", text(std::string("A\0B", 3))}}), EResultCode::Failure, c_sBerlin},
        {row({{"End", "\x7f"}}), EResultCode::Failure, c_sBerlin},
        {row({{"Name", "UTC0"}, {"Id", 1}}), EResultCode::NoKey, c_sBerlin},
        {row({{"Name", "UTC0"}, {"Start", 1}}), EResultCode::Constraint, c_sBerlin},
    };
    for (const auto& oCase : lCases) {
        setFile(c_sBerlin);
        EXPECT_EQ(update(oCase.m_lValues), oCase.m_iCode) << oCase.m_sFile;
        EXPECT_EQ(file(), oCase.m_sFile);
    }
    EXPECT_EQ(updateBy("Name", "UTC0"), EResultCode::Success)
        << "a text before one that is refused stays in memory";

    std::filesystem::remove_all(m_oRoot.path("/etc"));
    EXPECT_THAT(logLinesOf([this] { EXPECT_EQ(m_oPlugin.deleteAll(this, c_sTable), EResultCode::Failure); }),
                ElementsAre(StartsWith("error   TzPlugin tzplugin:478: Could not write timezone: ")));
}

TEST_F(TzPlugin, WhatIsNoPosixZoneIsRefusedForItWouldCountAsUtc)
{
    const std::string sLog = "error TzPlugin Could not write timezone: ";
    const auto codeOf = [&](const std::string& a_sName, const std::string& a_sStart,
                            const std::string& a_sEnd) {
        setFile(c_sBerlin);
        unsigned iCode = 0;
        const std::string sLogged = logOf([&] {
            iCode = update(row({{"Name", text(a_sName)}, {"Start", text(a_sStart)}, {"End", text(a_sEnd)}}));
        });
        EXPECT_EQ(sLogged.substr(0, sLog.size()), iCode == 0 ? "" : sLog);
        EXPECT_EQ(file() == c_sBerlin, iCode != 0);
        return iCode;
    };
    for (const char* pName : {"",          "foo!",           "Berlin",    "Europe/Berlin",   ":Europe/Berlin",
                              "CET",       "CE-1",           "CET-1CE",   "CET-1CEST-",      "CET -1",
                              "CET--1",    "CET-25",         "CET-24:01", "CET-1:6",         "CET-1:60",
                              "CET-1:00:", "CET-1:00:00:00", "CET-001",   "<CET-1",          "<>0",
                              "<A_B>0",    "CE7-1",          "SEVENTH0",  "CET-1CEST-2CEMT", "%n%s"}) {
        EXPECT_EQ(codeOf(pName, "", ""), EResultCode::Constraint) << pName;
    }
    for (const char* pDate :
         {"foo", "M0.5.0", "M13.5.0", "M3.0.0", "M3.6.0", "M3.5.7", "M3.5", "M3.5.0/", "M3.5.0/168",
          "M3.5.0/2:60", "M3.5.0 ", "J0", "J366", "366", "-1", "m3.5.0", "M3.5.0/2,"}) {
        EXPECT_EQ(codeOf("CET-1CEST", "M4.5.0", pDate), EResultCode::Constraint) << pDate;
    }
    for (const char* pDate :
         {"M12.1.6", "J1", "J365", "0", "365", "M3.5.0/2:30:15", "M3.4.4/26", "M3.5.0/-167"}) {
        EXPECT_EQ(codeOf("CET-1CEST", pDate, "M4.5.0"), EResultCode::Success) << pDate;
    }
    EXPECT_EQ(codeOf("UTC0", "M3.5.0", "M10.5.0"), EResultCode::Constraint)
        << "dates without daylight saving";
}

TEST_F(TzPlugin, AnInsertNeedsAllThreeTextsOrChangesNothing)
{
    int iId = 0;
    const auto insert = [&](const ValueList& a_lValues) {
        iId = 0;
        return static_cast<unsigned>(m_oPlugin.insertKey(iId, this, c_sTable, a_lValues));
    };
    select();
    EXPECT_EQ(insert(row({{"Name", "UTC0"}, {"Start", ""}})), EResultCode::Constraint);
    EXPECT_EQ(insert(row({{"Name", 1}, {"Start", ""}, {"End", ""}})), EResultCode::Constraint);
    EXPECT_EQ(insert(row({{"Id", 1}, {"Name", "UTC0"}, {"Start", ""}, {"End", ""}})), EResultCode::NoKey);
    EXPECT_EQ(iId, 1) << "even then";
    EXPECT_EQ(file(), c_sBerlin);
    EXPECT_EQ(updateBy("Name", "CET-1CEST"), EResultCode::Success);
    const std::string sFile = m_oRoot.path("/etc/TZ");
    const auto expectInserted = [&](unsigned a_iMode) {
        EXPECT_EQ(insert(row({{"End", ""}, {"Start", ""}, {"Name", "UTC0"}})), EResultCode::Success);
        EXPECT_EQ(file(), "UTC0\n");
        EXPECT_EQ(std::filesystem::status(sFile).permissions(), std::filesystem::perms(a_iMode));
    };
    const mode_t iMask = ::umask(0077);
    std::filesystem::permissions(sFile, std::filesystem::perms(0640));
    expectInserted(0640); // whose it is decides
    std::filesystem::remove(sFile);
    expectInserted(0644); // every program has a zone
    ::umask(iMask);
}

TEST_F(TzPlugin, ADeleteClearsTheMemoryBeforeTheUnknownTableIsReported)
{
    update(row({{"Name", "EST5EDT"}}));
    EXPECT_EQ(m_oPlugin.deleteRow(this, "tz", 0), EResultCode::NoTable);
    EXPECT_EQ(file(), "EST5EDT,M3.5.0,M10.5.0/3\n");
    EXPECT_EQ(updateBy("Name", "EST5EDT"), EResultCode::NoKey);
    EXPECT_EQ(m_oPlugin.deleteRow(this, c_sTable, 4000000000), EResultCode::Success);
    EXPECT_EQ(file(), "\n");
    EXPECT_EQ(kernel(), "240 1\n") << "it keeps the zone that it had";
    EXPECT_EQ(select(), EResultCode::Success);
    EXPECT_EQ(m_lRow, row({{"Id", 1}, {"Name", ""}, {"Start", ""}, {"End", ""}}));
}

TEST_F(TzPlugin, TheKernelIsToldTheZoneThatWasWritten)
{
    const std::vector<std::pair<std::string, std::string>> lZones{
        {"CET-1CEST", "-120 1\n"}, {"NST3:30NDT", "150 1\n"}, {"EST5EDT4:00:00", "240 1\n"},
        {"UTC0", "0 0\n"},         {"<-03>3", "180 0\n"},     {"<+0530>-5:30", "-330 0\n"},
        {"XST5:59:59", "359 0\n"}, {"XST+24", "1440 0\n"},    {"<+1245>-12:45<+1345>", "-825 1\n"},
    };
    for (const auto& [sName, sKernel] : lZones) {
        EXPECT_EQ(update(row({{"Name", text(sName)}, {"Start", ""}, {"End", ""}})), EResultCode::Success);
        EXPECT_EQ(kernel(), sKernel) << sName;
    }
    std::filesystem::remove_all(m_oRoot.path("/var/run"));
    EXPECT_THAT(
        logLinesOf([&] { EXPECT_EQ(update({}), EResultCode::Success); }),
        ElementsAre("error   TzPlugin tzplugin:622: settimeofday() failed: No such file or directory"));
}

TEST_F(TzPlugin, AWriteThatFindsNoRoomLeavesTheOldLine)
{
    const auto withRoom = [&](rlim_t a_iBytes, const auto& a_oWrite) {
        const auto pOld = std::signal(SIGXFSZ, SIG_IGN);
        rlimit oLimit{};
        ::getrlimit(RLIMIT_FSIZE, &oLimit);
        const rlimit oLow{a_iBytes, oLimit.rlim_max};
        ::setrlimit(RLIMIT_FSIZE, &oLow);
        const unsigned iCode = a_oWrite();
        ::setrlimit(RLIMIT_FSIZE, &oLimit);
        std::signal(SIGXFSZ, pOld);
        return iCode;
    };
    const auto remove = [&] { return unsigned(m_oPlugin.deleteRow(this, c_sTable, 0)); };
    const auto replace = [&] { return update(row({{"Name", "<+0530>-5:30<+0630>"}})); };
    EXPECT_EQ(withRoom(0, replace), EResultCode::Failure);
    EXPECT_EQ(file(), c_sBerlin);
    EXPECT_EQ(withRoom(4, replace), EResultCode::Failure) << "a part of the new line was written";
    EXPECT_EQ(file(), c_sBerlin);
    EXPECT_EQ(withRoom(0, remove), EResultCode::Failure);
    EXPECT_EQ(file(), c_sBerlin);
    EXPECT_FALSE(std::filesystem::exists(m_oRoot.path("/var/run/ledgerd-zone"))) << "nor is the kernel told";

    std::filesystem::remove(m_oRoot.path("/etc/TZ"));
    EXPECT_EQ(withRoom(4, remove), EResultCode::Success);
    EXPECT_EQ(file(), "\n");
    std::filesystem::remove(m_oRoot.path("/etc/TZ"));
    EXPECT_EQ(withRoom(0, remove), EResultCode::Failure);
    EXPECT_FALSE(std::filesystem::exists(m_oRoot.path("/etc/TZ"))) << "none without a line is left";
}

TEST_F(TzPlugin, WhatAnotherUserPutsWhereALinkLeadsIsNeitherReadNorWritten)
{
    constexpr uid_t c_iOther = 4711;
    const std::string sLink = m_oRoot.path("/etc/TZ");
    const std::string sPlace = m_oRoot.path("/tmp/TZ");
    std::filesystem::remove(sLink);
    std::filesystem::create_symlink("../tmp/TZ", sLink);
    m_oRoot.write("/tmp/TZ", c_sBerlin);
    std::filesystem::permissions(m_oRoot.path("/tmp"), std::filesystem::perms(01777));
    EXPECT_EQ(update(row({{"Name", "EST5EDT"}})), EResultCode::Success) << "its own file";
    EXPECT_EQ(readFile(sPlace), "EST5EDT,M3.5.0,M10.5.0/3\n");
    EXPECT_TRUE(std::filesystem::is_symlink(sLink));

    std::filesystem::remove(sPlace);
    EXPECT_EQ(m_oPlugin.deleteAll(this, c_sTable), EResultCode::Success) << "is made behind the link";
    EXPECT_EQ(readFile(sPlace), "\n");

    std::filesystem::remove(sPlace);
    ::mkfifo(sPlace.c_str(), 0666); // who opened it would wait
    EXPECT_EQ(select(), EResultCode::Failure);
    std::filesystem::remove(sPlace);

    const std::string sSecret = m_oRoot.path("/etc/secret");
    m_oRoot.write("/etc/secret", "secret\n");
    std::filesystem::create_symlink(sSecret, sPlace);
    if (::lchown(sPlace.c_str(), c_iOther, c_iOther) != 0) {
        GTEST_SKIP() << "giving files away takes root";
    }
    const auto expectRefused = [&] {
        EXPECT_THAT(logLinesOf([&] { EXPECT_EQ(select(), EResultCode::Failure); }),
                    ElementsAre(AllOf(StartsWith("error   TzPlugin tzplugin:424: Could not read timezone: "),
                                      EndsWith(": Permission denied"))));
        EXPECT_EQ(m_oPlugin.deleteAll(this, c_sTable), EResultCode::Failure);
    };
    expectRefused();
    EXPECT_EQ(readFile(sSecret), "secret\n");

    std::filesystem::remove(sPlace);
    m_oRoot.write("/tmp/TZ", c_sBerlin);
    ::lchown(sPlace.c_str(), c_iOther, c_iOther);
    expectRefused();
    EXPECT_EQ(readFile(sPlace), c_sBerlin);
}
