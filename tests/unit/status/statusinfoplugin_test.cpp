#include "status/statusinfoplugin.h"

#include "status/singletable.h"
#include "systema/configdispatcher.h"
#include "tests/logof.h"
#include "tests/unit/device/systemroot.h"
#include "tests/unit/status/fakeip.h"
#include "tests/unit/status/network.h"
#include "tests/unit/systema/rowtexts.h"
#include "zel/assert.h"

#include <gtest/gtest.h>

#include <ctime>
#include <functional>
#include <stdexcept>
#include <sys/syscall.h>
#include <unistd.h>

// The machine's clocks as this program sees them.
namespace {

time_t s_iWallClockOff = 0;
time_t s_iBootClockOff = 0;

int askClock(clockid_t a_iClock, timespec* a_pTime)
{
    const auto iResult = static_cast<int>(::syscall(SYS_clock_gettime, a_iClock, a_pTime));
    a_pTime->tv_sec += a_iClock == CLOCK_REALTIME ? s_iWallClockOff : 0;
    a_pTime->tv_sec += a_iClock == CLOCK_BOOTTIME ? s_iBootClockOff : 0;
    return iResult;
}

} // namespace

// The library's parameters have reserved names.
// NOLINTNEXTLINE(readability-inconsistent-declaration-parameter-name)
extern "C" int clock_gettime(clockid_t a_iClock, timespec* a_pTime) noexcept
{
    return askClock(a_iClock, a_pTime);
}

// NOLINTNEXTLINE(readability-inconsistent-declaration-parameter-name)
extern "C" time_t time(time_t* a_pTime) noexcept
{
    timespec oNow{};
    askClock(CLOCK_REALTIME, &oNow);
    if (a_pTime != nullptr) {
        *a_pTime = oNow.tv_sec;
    }
    return oNow.tv_sec;
}

using systema::EResultCode;
using systema::NameList;
using systema::ValueList;
using zel::StatusInfoPlugin;
using zel::error::AssertionError;

namespace {

using Calls = std::vector<std::string>;

/// Serves one table without rows, and writes down what it is called for.
class SubPlugin : public zel::SingleTable<int>
{
public:
    SubPlugin(std::string a_sTable, Calls& a_lCalls, std::string a_sFails)
        : SingleTable(std::move(a_sTable), {}),
          m_lCalls(a_lCalls),
          m_sFails(std::move(a_sFails))
    {
    }
    ~SubPlugin() override { call("gone"); }

    void init() override { callOrThrow("init"); }
    EResultCode getRowByKey(const std::string&, ValueList&, const std::string&, const std::string&,
                            const NameList&) override
    {
        return call("key");
    }
    void update(NameList& a_lChangedTables) override
    {
        callOrThrow("update");
        a_lChangedTables.add(getTableName());
    }
    EResultCode startTransaction() override { return call("start"); }
    EResultCode commitTransaction() override { return call("commit"); }
    EResultCode rollbackTransaction() override { return call("rollback"); }

private:
    EResultCode call(const std::string& a_sOperation)
    {
        m_lCalls.push_back(getTableName() + "." + a_sOperation);
        return a_sOperation == m_sFails ? EResultCode::Busy : EResultCode::Success;
    }
    void callOrThrow(const std::string& a_sOperation)
    {
        if (call(a_sOperation) != EResultCode::Success) {
            throw std::runtime_error("out of order");
        }
    }

    Calls& m_lCalls;
    const std::string m_sFails;
};

/// Serves three rows, which are others each time that its source is read.
class Readings : public zel::SingleTable<int>
{
public:
    Readings() : SingleTable("Readings", c_aColumns) {}

    void init() override {}
    void update(NameList&) override {}

    static inline int s_iReadings = 0;

private:
    static constexpr configmanager::serverlib::Column<int> c_aColumns[] = {
        {"Reading", systema::EDataType::Integer,
         [](const int& a_iRow) { return systema::Value(systema::EDataType::Integer, a_iRow); }}};

    bool refresh() override
    {
        m_lRows.assign(3, ++s_iReadings);
        return true;
    }
};

class StatusInfo : public testing::Test
{
protected:
    /// Adds a sub-plugin whose operation of the second name throws or gives 2.
    void add(const std::string& a_sTable, const std::string& a_sFails = "")
    {
        m_pPlugin->add(std::make_unique<SubPlugin>(a_sTable, m_lCalls, a_sFails));
    }
    Calls takeCalls() { return std::exchange(m_lCalls, {}); }
    Calls tickAt(std::time_t a_iNow)
    {
        m_iNow = a_iNow;
        m_pPlugin->tick(m_lChanged);
        return takeCalls();
    }
    /// The results of the four reads.
    std::vector<unsigned> read(const std::string& a_sTable)
    {
        systema::ColumnList lColumns;
        unsigned iSize = 0;
        ValueList lRow;
        return {m_pPlugin->getSchema(lColumns, this, a_sTable), m_pPlugin->getSize(iSize, this, a_sTable),
                m_pPlugin->selectRow(lRow, this, a_sTable, 0, {}),
                m_pPlugin->selectKey(lRow, this, a_sTable, "Id", "1", {})};
    }

    FakeIp m_oIp;
    Network m_oNetwork;
    zel::SystemBus m_oBus;
    Calls m_lCalls;
    NameList m_lChanged;
    std::time_t m_iNow = 1000;
    std::unique_ptr<StatusInfoPlugin> m_pPlugin = std::make_unique<StatusInfoPlugin>(
        std::vector<std::string>{}, m_oBus, false, nullptr, [this] { return m_iNow; });
};

} // namespace

TEST_F(StatusInfo, UpdatesAtMostEveryTwoSecondsOfItsClock)
{
    add("A");
    EXPECT_EQ(tickAt(1000), Calls{"A.update"});
    m_lChanged = {"before"};
    EXPECT_EQ(tickAt(1000), Calls());
    EXPECT_EQ(tickAt(1001), Calls());
    EXPECT_EQ(tickAt(10), Calls()) << "a clock that jumps back";
    EXPECT_EQ(m_lChanged, NameList{"before"});
    EXPECT_EQ(tickAt(1002), Calls{"A.update"});
    EXPECT_EQ(m_lChanged, (NameList{"before", "A"}));
}

TEST_F(StatusInfo, AWallClockSetBackDoesNotHaltTheLiveTables)
{
    m_pPlugin = std::make_unique<StatusInfoPlugin>(std::vector<std::string>{}, m_oBus, false, nullptr);
    add("A");
    m_pPlugin->tick(m_lChanged);
    EXPECT_EQ(takeCalls(), Calls{"A.update"});
    s_iWallClockOff = -3600;
    s_iBootClockOff = StatusInfoPlugin::c_iUpdateSeconds;
    m_pPlugin->tick(m_lChanged);
    EXPECT_EQ(takeCalls(), Calls{"A.update"});
    s_iWallClockOff = s_iBootClockOff = 0;
}

TEST_F(StatusInfo, StartsOnceAndGoesOnWithoutThoseThatThrow)
{
    add("A", "init");
    add("B", "update");
    add("C");
    EXPECT_EQ(logOf([&] { EXPECT_TRUE(m_pPlugin->initialize()); }),
              "error NetifCnt Could not get size of table StatusNetifConfig\n"
              "error StatusInfo init of A failed: out of order\n");
    EXPECT_TRUE(m_pPlugin->initialize());
    EXPECT_EQ(takeCalls(), (Calls{"A.init", "B.init", "C.init"}));
    EXPECT_EQ(logOf([&] {
                  EXPECT_EQ(tickAt(1000), (Calls{"A.update", "B.update", "C.update"}));
              }),
              "error StatusInfo update of B failed: out of order\n");
    EXPECT_EQ(tickAt(1001), Calls()) << "it was an update all the same";
    EXPECT_TRUE(m_lChanged.hasName("C"));
}

TEST_F(StatusInfo, TheEndOfATransactionIsToldToAllEvenIfItsStartWasNot)
{
    add("A");
    add("B", "start");
    add("C", "commit");
    add("D", "rollback");
    EXPECT_EQ(m_pPlugin->startTransaction(this), EResultCode::Busy);
    EXPECT_EQ(takeCalls(), (Calls{"A.start", "B.start"}));
    EXPECT_EQ(m_pPlugin->commitTransaction(this), EResultCode::Success);
    EXPECT_EQ(takeCalls(), (Calls{"A.commit", "B.commit", "C.commit", "D.commit"}));
    EXPECT_EQ(m_pPlugin->rollbackTransaction(this), EResultCode::Success);
    EXPECT_EQ(takeCalls(), (Calls{"A.rollback", "B.rollback", "C.rollback", "D.rollback"}));
}

TEST_F(StatusInfo, AFreezeEndsWithItsTransactionHoweverThatEnds)
{
    using systema::ConfigDispatcher;
    const SystemRoot oRoot;
    const auto radioSees = [&](const std::string& a_sSsid) {
        oRoot.write("/var/run/ledgerd-sim.json",
                    R"({"wlan":{"availability":2,"access-points":[{"networks":[{"mac":"01","ssid":")" +
                        a_sSsid + R"("}]}]}})");
    };
    ConfigDispatcher::Clock::time_point oNow{};
    ConfigDispatcher oDispatcher([&] { return oNow; });
    oDispatcher.attachTables(*m_pPlugin);
    const auto ssid = [&] {
        ValueList lRow;
        oDispatcher.selectRow(lRow, &oNow, "WlanScan", 0, {"Ssid"}); // by another client
        return lRow.toText("Ssid");
    };
    const std::pair<const char*, std::function<void()>> aEnds[] = {
        {"commit", [&] { oDispatcher.commitTransaction(this); }},
        {"rollback", [&] { oDispatcher.rollbackTransaction(this); }},
        {"disconnection", [&] { oDispatcher.disconnect(this); }},
        {"time-out",
         [&] {
             oNow += std::chrono::hours(2);
             oDispatcher.checkTransactionTimeout();
         }},
        {"hold", [&] { oDispatcher.close(this); }},
    };
    for (const auto& [pEnd, oEnd] : aEnds) {
        radioSees("before");
        ASSERT_EQ(oDispatcher.startTransaction(this), EResultCode::Success) << pEnd;
        EXPECT_EQ(ssid(), "before") << pEnd;
        radioSees("after");
        EXPECT_EQ(ssid(), "before") << pEnd;
        oEnd();
        EXPECT_EQ(ssid(), "after") << pEnd;
    }
}

TEST_F(StatusInfo, TheFirstThatClaimsATableServesIt)
{
    add("A", "key");
    add("A");
    add("NetifCounter");
    using Results = std::vector<unsigned>;
    EXPECT_EQ(read("A"), (Results{0, 0, 10, 2}));
    EXPECT_EQ(takeCalls(), Calls{"A.key"});
    EXPECT_EQ(read("NetifCounter"), (Results{0, 0, 10, 10}));
    EXPECT_EQ(takeCalls(), Calls());
    EXPECT_EQ(read("a"), (Results{8, 8, 8, 8}));
    NameList lTables;
    m_pPlugin->getTables(lTables, this);
    ASSERT_GT(lTables.size(), 3U);
    EXPECT_EQ(std::vector<std::string>(lTables.end() - 3, lTables.end()),
              (std::vector<std::string>{"A", "A", "NetifCounter"}));
}

TEST_F(StatusInfo, ABulkReadReadsItsTableOnceAndShowsOneState)
{
    m_pPlugin->add(std::make_unique<Readings>());
    systema::ConfigDispatcher oDispatcher;
    oDispatcher.attachTables(*m_pPlugin);
    std::unique_ptr<systema::IRowCursor> pRows;
    ASSERT_EQ(oDispatcher.openRows(pRows, this, "Readings", 0, systema::c_iAllRows, {}),
              EResultCode::Success);
    const int iReading = Readings::s_iReadings;
    RowTexts oFirst(1);
    EXPECT_EQ(pRows->fetch(oFirst), EResultCode::Success);
    EXPECT_EQ(read("Readings"), (std::vector<unsigned>{0, 0, 0, 10})); // by another client, meanwhile
    EXPECT_EQ(Readings::s_iReadings, iReading + 3) << "other requests read it again";
    RowTexts oOthers;
    EXPECT_EQ(pRows->fetch(oOthers), EResultCode::NoRow);
    const std::string sRow = std::to_string(iReading) + " ";
    EXPECT_EQ(oFirst.m_lRows, Calls{sRow});
    EXPECT_EQ(oOthers.m_lRows, (Calls{sRow, sRow}));
    EXPECT_GT(pRows->getKeptSize(), 0U) << "of which the session tells the manager";

    pRows.reset();
    ASSERT_EQ(oDispatcher.openRows(pRows, this, "Readings", 1, 1, {"Reading"}), EResultCode::Success);
    EXPECT_EQ(Readings::s_iReadings, iReading + 4);
    pRows.reset();
    EXPECT_EQ(oDispatcher.openRows(pRows, this, "Readings", 0, 1, {"Nonsense"}), EResultCode::NoKey);
}

TEST_F(StatusInfo, ACallWithoutAHandleIsAFailedAssertion)
{
    EXPECT_THROW(m_pPlugin->startTransaction(nullptr), AssertionError);
    try {
        unsigned iSize = 0;
        m_pPlugin->getSize(iSize, nullptr, "A");
        FAIL() << "not asserted";
    } catch (const AssertionError& oError) {
        EXPECT_TRUE(std::string(oError.what()).starts_with("0 != a_handle (statusinfoplugin:"))
            << oError.what();
    }
}

TEST_F(StatusInfo, SubPluginsGoInTheirOrder)
{
    add("A");
    add("B");
    m_pPlugin.reset();
    EXPECT_EQ(m_lCalls, (Calls{"A.gone", "B.gone"}));
}
