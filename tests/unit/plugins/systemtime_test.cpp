#include "plugins/systemtime.h"

#include "tests/logof.h"
#include "tests/row.h"
#include "tests/unit/device/systemroot.h"

#include <gmock/gmock.h>

#include <ctime>

using systema::EResultCode;
using systema::NameList;
using systema::ValueList;
using testing::ElementsAre;
using testing::IsEmpty;
using tests::row;

namespace {

const std::string c_sTable = "SystemTime";

class SystemTime : public testing::Test
{
protected:
    SystemTime() { std::filesystem::create_directories(m_oRoot.path("/var/run")); }

    EResultCode write(const ValueList& a_lValues)
    {
        return m_oPlugin.updateRow(this, c_sTable, 0, a_lValues);
    }
    EResultCode writeBy(const std::string& a_sColumn, const std::string& a_sValue)
    {
        return m_oPlugin.updateKey(this, c_sTable, a_sColumn, a_sValue, row({{"Time", 1700000000}}));
    }
    /// What the next tick sets the clock to.
    std::string tick()
    {
        const std::string sClock = m_oRoot.path("/var/run/ledgerd-clock");
        std::filesystem::remove(sClock);
        NameList lChanged;
        m_oPlugin.tick(lChanged);
        EXPECT_TRUE(lChanged.empty());
        return readFile(sClock);
    }
    std::vector<std::string> logOfTick()
    {
        return logLinesOf([this] { EXPECT_EQ(tick(), ""); });
    }

    const SystemRoot m_oRoot;
    zel::SystemTime m_oPlugin;
};

} // namespace

TEST_F(SystemTime, AWrittenTimeIsSetOnceByTheNextTick)
{
    EXPECT_EQ(tick(), "");
    EXPECT_EQ(write(row({{"Id", 7}, {"Time", 1700000000}, {"Time", 5}})), EResultCode::Success);
    EXPECT_FALSE(std::filesystem::exists(m_oRoot.path("/var/run/ledgerd-clock")));
    EXPECT_EQ(tick(), "1700000000\n");
    EXPECT_EQ(tick(), "");

    EXPECT_EQ(write(row({{"Time", "1700000000"}})), EResultCode::Failure);
    EXPECT_EQ(write(row({{"Id", 1}})), EResultCode::Failure);
    EXPECT_EQ(writeBy("Id", "2"), EResultCode::NoKey);
    EXPECT_EQ(writeBy("Id", "01"), EResultCode::NoKey);
    EXPECT_EQ(writeBy("time", "1"), EResultCode::NoKey);
    EXPECT_EQ(tick(), "");
    EXPECT_EQ(writeBy("Time", "no number at all"), EResultCode::Success);
    EXPECT_EQ(tick(), "1700000000\n");
    EXPECT_EQ(writeBy("Id", "1"), EResultCode::Success);
    EXPECT_EQ(tick(), "1700000000\n");
}

TEST_F(SystemTime, ATimeThatCannotBeSetIsRefusedOrLoggedAndGivenUp)
{
    for (const int iTime : {0, -1, -2147483647 - 1}) {
        EXPECT_THAT(logLinesOf([&] {
                        EXPECT_EQ(write(row({{"Time", iTime}})), EResultCode::Failure);
                    }),
                    ElementsAre("error   SysTime systemtime:314: Failed to set system time."));
        EXPECT_THAT(logOfTick(), IsEmpty());
    }
    EXPECT_EQ(write(row({{"Time", 1700000000}})), EResultCode::Success);
    std::filesystem::remove(m_oRoot.path("/var/run"));
    EXPECT_THAT(logOfTick(), ElementsAre("error   SysTime systemtime:323: Failed to set system time."));
    EXPECT_THAT(logOfTick(), IsEmpty()) << "it is not tried again";
}

TEST_F(SystemTime, AReadTakesThePlaceOfATimeThatWaits)
{
    EXPECT_EQ(write(row({{"Time", 1700000000}})), EResultCode::Success);
    const std::time_t iBefore = std::time(nullptr);
    ValueList lRow;
    EXPECT_EQ(m_oPlugin.selectKey(lRow, this, c_sTable, "Id", "1", {}), EResultCode::Success);
    const int iRead = lRow.getValue("Time").getInteger();
    EXPECT_LE(iBefore, iRead);
    EXPECT_LE(iRead, std::time(nullptr));
    EXPECT_EQ(tick(), std::to_string(iRead) + "\n");
}

TEST_F(SystemTime, NeitherPositionNorColumnsAreLookedAt)
{
    ValueList lRow;
    EXPECT_EQ(m_oPlugin.selectRow(lRow, this, c_sTable, 4000000000, {"Time", "NoColumn"}),
              EResultCode::Success);
    ASSERT_EQ(lRow.size(), 2U);
    EXPECT_EQ(lRow.begin()->first, "Id");
    EXPECT_EQ(lRow.getValue("Id").getInteger(), 1);
}

TEST_F(SystemTime, InsertsAndDeletesSucceedAndChangeNothing)
{
    const ValueList lValues = row({{"Time", 1700000000}});
    const auto all = [&](const std::string& a_sTable) {
        int iId = 4711;
        const std::vector<unsigned> lCodes{
            m_oPlugin.insertRow(this, a_sTable, lValues), m_oPlugin.insertKey(iId, this, a_sTable, lValues),
            m_oPlugin.deleteRow(this, a_sTable, 0), m_oPlugin.deleteKey(this, a_sTable, "Id", "2"),
            m_oPlugin.deleteAll(this, a_sTable)};
        EXPECT_EQ(iId, 4711);
        EXPECT_EQ(tick(), "");
        return lCodes;
    };
    EXPECT_EQ(all(c_sTable), std::vector<unsigned>(5, EResultCode::Success));
    EXPECT_EQ(all("systemtime"), std::vector<unsigned>(5, EResultCode::NoTable));
}
