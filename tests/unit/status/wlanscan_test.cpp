#include "status/wlanscan.h"

#include "tests/logof.h"
#include "tests/row.h"
#include "tests/unit/device/systemroot.h"

#include <gtest/gtest.h>

using systema::EResultCode;
using systema::ValueList;
using tests::row;

namespace {

const std::string c_sTable = "WlanScan";

class WlanScan : public testing::Test
{
protected:
    /// Access points, in JSON, of a radio that is up.
    void radioHas(const std::string& a_sAccessPoints)
    {
        m_oRoot.write("/var/run/ledgerd-sim.json",
                      R"({"wlan":{"availability":2,"access-points":[)" + a_sAccessPoints + "]}}");
    }
    /// From now on the radio sees one network.
    void radioSees(const std::string& a_sSsid)
    {
        radioHas(R"({"networks":[{"ssid":")" + a_sSsid + R"(","mac":"02:00:00:00:00:07","channel":1}]})");
    }
    EResultCode count()
    {
        unsigned iCount = 0;
        return m_oTable.getRowCount(c_sTable, iCount);
    }
    /// The network's name in the first row.
    std::string ssid()
    {
        ValueList lRow;
        const EResultCode eCode = m_oTable.getRow(c_sTable, lRow, 0, {"Ssid"});
        return eCode == EResultCode::Success ? lRow.getValue("Ssid").getText() : std::to_string(eCode);
    }

    /// Two access points, the second of which has its turn in the next second.
    static constexpr int c_iCallsInFirstSecond = 4;
    void slowRadioSees(const std::string& a_sFirst, const std::string& a_sSecond)
    {
        radioHas(R"({"ssid":"own","mac":"01","channel":1,"mode":4,"networks":[)" + a_sFirst +
                 R"(]},{"ssid":"own2","mac":"02","channel":1,"mode":4,"networks":[)" + a_sSecond + "]}");
    }
    /// The networks after a pass that begins at the time.
    std::string slowPass(std::time_t a_iTime)
    {
        m_iNow = a_iTime;
        m_iCalls = 0;
        m_oSlowTable.startTransaction();
        std::string sNames;
        ValueList lRow;
        for (unsigned i = 0; m_oSlowTable.getRow(c_sTable, lRow, i, {"Ssid"}) == EResultCode::Success; ++i) {
            sNames += lRow.getValue("Ssid").getText() + " ";
            lRow.clear();
        }
        m_oSlowTable.commitTransaction();
        return sNames;
    }

    SystemRoot m_oRoot;
    std::time_t m_iNow = 1000;
    int m_iCalls = 0;
    zel::WlanScan m_oTable{[this] { return m_iNow; }};
    zel::WlanScan m_oSlowTable{[this] { return m_iNow + (++m_iCalls > c_iCallsInFirstSecond ? 1 : 0); }};
};

} // namespace

TEST_F(WlanScan, ShowsOwnAccessPointsAndNeighbours)
{
    radioHas(R"({"ssid":"home","mac":"02:00:00:00:00:01","channel":36,"channel2":-1,"mode":240,"networks":[
                 {"ssid":"bar","mac":"02:00:00:00:00:07","channel":1,"channel2":5,"signal":-60,"mode":5}]})");
    m_oTable.startTransaction();
    EXPECT_EQ(logOf([&] { count(); }), "warning WlanScan Could not activate AP2\n");
    ValueList lRow;
    m_oTable.getRow(c_sTable, lRow, 0, {});
    EXPECT_EQ(lRow, row({{"Id", 1},
                         {"Ssid", "home"},
                         {"MacAddress", "02:00:00:00:00:01"},
                         {"Channel", 36},
                         {"Channel2", 0},
                         {"Signal", 100},
                         {"Standard", "802.11anacax"},
                         {"OwnAP", 1}}));
    lRow.clear();
    for (const char* pNumber : {"", "60", "0x64"}) {
        EXPECT_EQ(m_oTable.getRowByKey(c_sTable, lRow, "Signal", pNumber, {}), EResultCode::NoRow) << pNumber;
    }
    EXPECT_EQ(m_oTable.getRowByKey(c_sTable, lRow, "Signal", " -60dBm", {}), EResultCode::Success);
    EXPECT_EQ(lRow, row({{"Id", 2},
                         {"Ssid", "bar"},
                         {"MacAddress", "02:00:00:00:00:07"},
                         {"Channel", 1},
                         {"Channel2", 5},
                         {"Signal", -60},
                         {"Standard", "unknown"},
                         {"OwnAP", 0}}));
}

TEST_F(WlanScan, AnAccessPointThatFailsDoesNotHideTheOther)
{
    radioHas(R"({"ssid":"home","mac":"02:00:00:00:00:01","channel":1,"mode":4},
                {"mac":"02:00:00:00:00:02","channel":1,
                 "networks":[{"ssid":"neighbour","mac":"02:00:00:00:00:07"}]})");
    unsigned iCount = 0;
    EXPECT_EQ(logOf([&] { m_oTable.getRowCount(c_sTable, iCount); }),
              "warning WlanScan Could not retrieve scan results!\n"
              "warning WlanScan Could not get own AP data!Skip!\n"
              "info WlanScan Retrieved AP2 data: SSID: '(null)', MAC: '02:00:00:00:00:02', CH: 1, CH2: -1, "
              "Mode: 0\n");
    EXPECT_EQ(iCount, 2U);
}

TEST_F(WlanScan, AnOwnAccessPointThatLacksAnythingIsLeftOut)
{
    for (const char* pIncomplete :
         {R"({"mac":"01","channel":1,"mode":4})", R"({"ssid":"a","channel":1,"mode":4})",
          R"({"ssid":"a","mac":"01","mode":4})", R"({"ssid":"a","mac":"01","channel":1})"}) {
        radioHas(pIncomplete);
        unsigned iCount = 1;
        EXPECT_EQ(m_oTable.getRowCount(c_sTable, iCount), EResultCode::Success);
        EXPECT_EQ(iCount, 0U) << pIncomplete;
    }
}

TEST_F(WlanScan, ANetworkIsMissedFromItsOwnSecondToTheBeginOfAPass)
{
    const char* const pEarly = R"({"ssid":"early","mac":"07"})";
    const char* const pLate = R"({"ssid":"late","mac":"08"})";
    slowRadioSees(pEarly, pLate);
    EXPECT_EQ(slowPass(1000), "own early own2 late ");
    slowRadioSees("", "");
    for (int i = 1; i <= 9; ++i) {
        EXPECT_EQ(slowPass(1000 + 10 * i), "own early own2 late ") << i;
    }
    EXPECT_EQ(slowPass(1100), "own early own2 ") << "one of a later second leaves a pass earlier";
    EXPECT_EQ(slowPass(1110), "own own2 ");

    slowRadioSees(pEarly, pLate);
    slowPass(2000);
    slowRadioSees("", "");
    EXPECT_EQ(slowPass(2180), "own own2 early late ");
    EXPECT_EQ(slowPass(2181), "own own2 late ");
    EXPECT_EQ(slowPass(2182), "own own2 ");
}

TEST_F(WlanScan, WithoutARadioEveryRequestFailsAndTheLogIsNotFlooded)
{
    radioSees("neighbour");
    EXPECT_EQ(ssid(), "neighbour");
    m_oRoot.write("/var/run/ledgerd-sim.json", "");
    const std::string sWarning = "warning WlanScan AP isn't up yet!Skip!\n";
    EXPECT_EQ(logOf([&] { EXPECT_EQ(count(), EResultCode::Failure); }), sWarning);
    m_iNow += 59;
    ValueList lRow;
    EXPECT_EQ(logOf([&] {
                  EXPECT_EQ(ssid(), "1");
                  EXPECT_EQ(m_oTable.getRowByKey(c_sTable, lRow, "Id", "1", {}), EResultCode::Failure);
              }),
              "");
    m_iNow += 1;
    EXPECT_EQ(logOf([&] { count(); }), sWarning);

    // In a transaction the first request alone is told, the others get what was seen last.
    m_oTable.startTransaction();
    EXPECT_EQ(ssid(), "1");
    EXPECT_EQ(ssid(), "neighbour");
    m_oTable.commitTransaction();

    m_oRoot.write("/var/run/ledgerd-sim.json", R"({"wlan":{"availability":-1}})");
    EXPECT_EQ(logOf([&] { EXPECT_EQ(count(), EResultCode::Failure); }),
              "warning WlanScan Could not construct WlanApi\n");
}

TEST_F(WlanScan, ATransactionScansOnceAndIsEndedOnlyByACommit)
{
    m_oTable.startTransaction();
    radioSees("first");
    EXPECT_EQ(ssid(), "first");
    radioSees("second");
    EXPECT_EQ(ssid(), "first");
    m_oTable.rollbackTransaction();
    m_oTable.startTransaction();
    EXPECT_EQ(ssid(), "first");
    m_oTable.commitTransaction();
    EXPECT_EQ(ssid(), "second");
}

TEST_F(WlanScan, EveryRequestScansUnlessTheClockIsBeforeTheLastScan)
{
    radioSees("first");
    EXPECT_EQ(ssid(), "first");
    radioSees("second");
    EXPECT_EQ(ssid(), "second") << "in the same second";
    radioSees("third");
    for (const std::time_t iTime : {999, -1}) {
        m_iNow = iTime;
        EXPECT_EQ(ssid(), "second");
    }
    m_iNow = 1000;
    EXPECT_EQ(ssid(), "third");
}
