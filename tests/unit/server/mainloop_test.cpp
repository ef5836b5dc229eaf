#include "server/mainloop.h"

#include "tests/logof.h"
#include "tests/unit/systema/dispatcherfixture.h"
#include "tests/unit/systema/recordingplugin.h"
#include "zel/memory.h"

#include <gmock/gmock.h>

#include <list>
#include <sys/socket.h>
#include <unistd.h>

namespace zel::cfg {
namespace {

using namespace std::chrono_literals;
using systema::ConfigDispatcher;
using testing::Contains;

constexpr int c_iMostEvents = 500; // more than any pass handles; then the test's events end

class MainLoopTest : public testing::Test, public PersistScript::IHook, public systema::net::IEventHandler
{
protected:
    MainLoopTest() { m_oDispatcher.attachTables(m_oPlugin); }
    ~MainLoopTest() override { ConfigDispatcher::instance().setPersistScript(nullptr); }

    void persist(PersistScript::EPersistMode) override {}
    std::optional<bool> getResult(bool) override { return true; }

    /// An event takes its time; it comes again and again.
    void handleEvent(int a_iFd) override
    {
        m_oNow += m_oEventTime;
        m_lHandled.push_back(a_iFd);
        if (m_bEventsEndPass) {
            m_oEvents.endPass();
        }
        if (m_lHandled.size() >= static_cast<std::size_t>(m_iMostEvents)) {
            m_oEvents.unregisterHandler(a_iFd);
        }
    }

    /// Descriptors that are always ready.
    void addEvents(int a_iCount, std::chrono::milliseconds a_oTime)
    {
        m_oEventTime = a_oTime;
        for (int i = 0; i < a_iCount; ++i) {
            int aFds[2] = {-1, -1};
            EXPECT_EQ(0, ::socketpair(AF_UNIX, SOCK_STREAM, 0, aFds));
            EXPECT_EQ(1, ::write(aFds[1], "x", 1));
            EXPECT_TRUE(m_oEvents.registerHandler(aFds[0], 0, this));
            m_lSockets.emplace_back(aFds[0]);
            m_lSockets.emplace_back(aFds[1]);
        }
    }

    /// Time that the pass takes by the test's clock.
    std::chrono::milliseconds timeOfPass()
    {
        const auto oStart = m_oNow;
        m_lCalls.clear();
        m_oLoop.runPass();
        return m_oNow - oStart;
    }

    MainLoop::Clock::time_point now() const { return MainLoop::Clock::time_point(m_oNow); }

    std::chrono::milliseconds m_oNow{0};
    std::chrono::milliseconds m_oEventTime{0};
    std::vector<int> m_lHandled; // descriptors
    int m_iMostEvents = c_iMostEvents;
    bool m_bEventsEndPass = false;
    std::list<UniqueFd> m_lSockets;
    RecordingPlugin::Calls m_lCalls;
    RecordingPlugin m_oPlugin{"plugin", {"Table"}, m_lCalls};
    systema::net::EventDispatcher m_oEvents{[this] { return now(); }};
    ConfigDispatcher m_oDispatcher{[this] { return now(); }};
    PersistScript m_oScript{*this, 0, PersistScript::c_ePersistDefault, [this] { return now(); }};
    MainLoop m_oLoop{m_oEvents, m_oDispatcher, m_oScript, [] { return false; }, [this] { return now(); }};
};

TEST_F(MainLoopTest, APassEndsTwoSecondsAfterItsStartWhateverArrives)
{
    addEvents(1, 90ms); // 51 of them would take 4.6 s
    EXPECT_LE(timeOfPass(), 2090ms);
    EXPECT_THAT(m_lCalls, Contains("plugin.tick"));
    m_oDispatcher.startTransaction(this);
    EXPECT_LE(timeOfPass(), 2090ms);
    EXPECT_THAT(m_lCalls, Contains("plugin.tick"));
    // Nor does one call handle whatever has come by then.
    addEvents(63, 90ms);
    EXPECT_LE(timeOfPass(), 2090ms);
}

TEST_F(MainLoopTest, APassWaitsOnlyForTheRestOfItsTime)
{
    m_iMostEvents = 1;
    addEvents(1, 1999ms);
    const auto oStart = std::chrono::steady_clock::now();
    timeOfPass();
    EXPECT_LT(std::chrono::steady_clock::now() - oStart, 1500ms);
}

TEST_F(MainLoopTest, EventsThatEndThePassKeepNoOtherWaiting)
{
    addEvents(64, 60ms);
    m_bEventsEndPass = true;
    for (int i = 0; i < 64; ++i) {
        ASSERT_EQ(60ms, timeOfPass());
    }
    std::ranges::sort(m_lHandled);
    EXPECT_THAT(m_lHandled, testing::SizeIs(64));
    EXPECT_EQ(m_lHandled.end(), std::ranges::adjacent_find(m_lHandled))
        << "one came twice before another once";
}

TEST_F(MainLoopTest, TimersKeepEventsWaitingForTheirTimeAtMost)
{
    for (int i = 0; i < 100; ++i) {
        m_oEvents.startTimer(0ms, [this] { m_oNow += 30ms; });
    }
    m_iMostEvents = 1;
    addEvents(1, 1ms);
    m_oEvents.handleEvents(0);
    EXPECT_EQ(1U, m_lHandled.size());
    EXPECT_LE(m_oNow, 100ms);
}

TEST_F(MainLoopTest, WantOfMemoryEndsAPartOfThePassAndNotTheDaemon)
{
    struct Kept : Cache
    {
        void dropCache() override { ++m_iDropped; }
        int m_iDropped = 0;
    } oKept;
    int iRuns = 0;
    m_oEvents.startTimer(0ms, [&] {
        if (++iRuns == 1) {
            throw std::bad_alloc();
        }
    });
    Subscriber oSubscriber;
    oSubscriber.m_oWhenTold = [&] {
        if (oKept.m_iDropped < 2) {
            throw std::bad_alloc();
        }
    };
    m_oDispatcher.subscribe(oSubscriber, {"Table"});
    m_oDispatcher.callWhenFree([] { throw std::bad_alloc(); });
    m_oDispatcher.insertRow(this, "Table", {});
    const auto lLog = logLinesOf([&] {
        timeOfPass();
        EXPECT_EQ(1, oKept.m_iDropped);
        EXPECT_THAT(m_lCalls, Contains("plugin.tick"));
        timeOfPass();
        timeOfPass(); // told at last
        m_oNow += 1s;
        timeOfPass();
    });
    EXPECT_EQ(2, iRuns) << "a timer that could not do its work comes again";
    EXPECT_EQ(3U, oSubscriber.take().size()) << "who could not be told is told again";
    EXPECT_EQ(2, oKept.m_iDropped);
    ASSERT_EQ(2U, lLog.size());
    EXPECT_THAT(lLog[0], testing::EndsWith("Out of memory: caches are dropped"));
    EXPECT_THAT(lLog[1], testing::EndsWith("There is memory again"));
}

} // namespace
} // namespace zel::cfg
