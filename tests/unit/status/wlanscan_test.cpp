#include "status/wlanscan.h"

#include "tests/logof.h"
#include "tests/unit/device/systemroot.h"
#include "tests/unit/status/tablereader.h"

#include <gmock/gmock.h>

using testing::Each;
using testing::HasSubstr;
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
    /// The network's name in the first row.
    std::string ssid() { return m_oRead.at(0, {"Ssid"}); }

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
        const std::string sNames = TableReader(m_oSlowTable, c_sTable).all({"Ssid"});
        m_oSlowTable.commitTransaction();
        return sNames;
    }

    SystemRoot m_oRoot;
    std::time_t m_iNow = 1000;
    int m_iCalls = 0;
    zel::WlanScan m_oTable{[this] { return m_iNow; }};
    TableReader m_oRead{m_oTable, c_sTable};
    zel::WlanScan m_oSlowTable{[this] { return m_iNow + (++m_iCalls > c_iCallsInFirstSecond ? 1 : 0); }};
};

} // namespace

TEST_F(WlanScan, ShowsOwnAccessPointsAndNeighbours)
{
    radioHas(R"({"ssid":"home","mac":"02:00:00:00:00:01","channel":36,"channel2":-1,"mode":240,"networks":[
                 {"ssid":"bar","mac":"02:00:00:00:00:07","channel":1,"channel2":5,"signal":-60,"mode":5}]})");
    m_oTable.startTransaction();
    EXPECT_EQ(logOf([&] { m_oRead.count(); }), "warning WlanScan Could not activate AP2\n");
    EXPECT_EQ(m_oRead.at(0), "1,home,02:00:00:00:00:01,36,0,100,802.11anacax,1");
    for (const char* pNumber : {"", "60", "0x64"}) {
        EXPECT_EQ(m_oRead.find("Signal", pNumber), "code 10") << pNumber;
    }
    EXPECT_EQ(m_oRead.find("Signal", "-60"), "2");
    EXPECT_EQ(m_oRead.at(1), "2,bar,02:00:00:00:00:07,1,5,-60,unknown,0");
}

TEST_F(WlanScan, AnAccessPointThatFailsDoesNotHideTheOther)
{
    radioHas(R"({"ssid":"home","mac":"02:00:00:00:00:01","channel":1,"mode":4},
                {"mac":"02:00:00:00:00:02","channel":1,
                 "networks":[{"ssid":"neighbour","mac":"02:00:00:00:00:07"}]})");
    EXPECT_EQ(logOf([&] { EXPECT_EQ(m_oRead.count(), "2"); }),
              "warning WlanScan Could not retrieve scan results!\n"
              "warning WlanScan Could not get own AP data!Skip!\n"
              "info WlanScan Retrieved AP2 data: SSID: '(null)', MAC: '02:00:00:00:00:02', CH: 1, CH2: -1, "
              "Mode: 0\n");
}

TEST_F(WlanScan, AnOwnAccessPointThatLacksAnythingIsLeftOut)
{
    for (const char* pIncomplete :
         {R"({"mac":"01","channel":1,"mode":4})", R"({"ssid":"a","channel":1,"mode":4})",
          R"({"ssid":"a","mac":"01","mode":4})", R"({"ssid":"a","mac":"01","channel":1})"}) {
        radioHas(pIncomplete);
        EXPECT_EQ(m_oRead.count(), "0") << pIncomplete;
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
    EXPECT_EQ(logOf([&] { EXPECT_EQ(m_oRead.count(), "code 1"); }), sWarning);
    m_iNow += 59;
    EXPECT_EQ(logOf([&] {
                  EXPECT_EQ(ssid(), "code 1");
                  EXPECT_EQ(m_oRead.find("Id", "1"), "code 1");
              }),
              "");
    m_iNow += 1;
    EXPECT_EQ(logOf([&] { m_oRead.count(); }), sWarning);

    // In a transaction the first request alone is told, the others get what was seen last.
    m_oTable.startTransaction();
    EXPECT_EQ(ssid(), "code 1");
    EXPECT_EQ(ssid(), "neighbour");
    m_oTable.commitTransaction();

    m_oRoot.write("/var/run/ledgerd-sim.json", R"({"wlan":{"availability":-1}})");
    EXPECT_EQ(logOf([&] { EXPECT_EQ(m_oRead.count(), "code 1"); }),
              "warning WlanScan Could not construct WlanApi\n");
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

TEST_F(WlanScan, LinesNameTheSourceFileWithItsExtension)
{
    radioHas("{}");
    EXPECT_THAT(logLinesOf([&] { m_oRead.count(); }), Each(HasSubstr(" WlanScan wlanscan.cpp:")));
}
