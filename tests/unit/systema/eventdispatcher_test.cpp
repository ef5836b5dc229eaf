#include "systema/eventdispatcher.h"

#include <gtest/gtest.h>

#include <csignal>
#include <memory>
#include <sys/socket.h>
#include <sys/time.h>
#include <unistd.h>
#include <vector>

using namespace std::chrono_literals;
using systema::net::EventDispatcher;

namespace {

constexpr int c_iLongMs = 60000; // longer than any test may take: the wait must end by itself

class Handler : public systema::net::IEventHandler
{
public:
    explicit Handler(std::function<void(int)> a_oFunction = {}) : m_oFunction(std::move(a_oFunction)) {}

    void handleEvent(int a_iFd) override
    {
        ++m_iEvents;
        if (m_oFunction) {
            m_oFunction(a_iFd);
        }
    }

    int m_iEvents = 0;

private:
    const std::function<void(int)> m_oFunction;
};

/// Two connected sockets.
struct Pair
{
    Pair()
    {
        int aFds[2] = {-1, -1};
        EXPECT_EQ(::socketpair(AF_UNIX, SOCK_STREAM, 0, aFds), 0);
        m_oOurs.reset(aFds[0]);
        m_oTheirs.reset(aFds[1]);
    }
    void send() const { EXPECT_EQ(::write(m_oTheirs.get(), "x", 1), 1); }
    int fd() const { return m_oOurs.get(); }

    zel::UniqueFd m_oOurs;
    zel::UniqueFd m_oTheirs;
};

class EventDispatcherTest : public testing::Test
{
protected:
    /// A readable descriptor, registered.
    void registerReadable(const Pair& a_oPair, systema::net::IEventHandler& a_oHandler)
    {
        EXPECT_TRUE(m_oEvents.registerHandler(a_oPair.fd(), 0, &a_oHandler));
        a_oPair.send();
    }

    EventDispatcher m_oEvents;
};

} // namespace

TEST_F(EventDispatcherTest, WaitingForAHangUpSleepsThroughDataAndIsToldOfTheEnd)
{
    Pair oPair;
    Handler oHandler;
    EXPECT_TRUE(m_oEvents.registerHandler(oPair.fd(), systema::net::c_iHangUpOnly, &oHandler));
    oPair.send();
    EXPECT_EQ(m_oEvents.handleEvents(0), 0);
    oPair.m_oTheirs.reset();
    EXPECT_EQ(m_oEvents.handleEvents(c_iLongMs), 1);
}

TEST_F(EventDispatcherTest, AHandlerMayDeleteItselfAndOthers)
{
    const Pair aPairs[2];
    std::vector<std::unique_ptr<Handler>> lHandlers;
    for (const Pair& oPair : aPairs) {
        lHandlers.push_back(std::make_unique<Handler>([&](int) {
            m_oEvents.unregisterHandler(aPairs[0].fd());
            m_oEvents.unregisterHandler(aPairs[1].fd());
            lHandlers.clear();
        }));
        registerReadable(oPair, *lHandlers.back());
    }
    EXPECT_EQ(m_oEvents.handleEvents(c_iLongMs), 1);
    EXPECT_TRUE(lHandlers.empty());
}

TEST_F(EventDispatcherTest, AnEventOfAnEarlierDescriptorOfTheSameNumberIsDropped)
{
    Pair aPairs[2];
    const Pair oQuiet;
    Handler oNew;
    Handler oOld([&](int a_iFd) {
        // The other descriptor, whose event waits to be handled, gives its number to a quiet one.
        const int iOther = a_iFd == aPairs[0].fd() ? aPairs[1].fd() : aPairs[0].fd();
        m_oEvents.unregisterHandler(a_iFd);
        m_oEvents.unregisterHandler(iOther);
        EXPECT_EQ(::dup2(oQuiet.fd(), iOther), iOther);
        EXPECT_TRUE(m_oEvents.registerHandler(iOther, 0, &oNew));
    });
    registerReadable(aPairs[0], oOld);
    registerReadable(aPairs[1], oOld);
    EXPECT_EQ(m_oEvents.handleEvents(c_iLongMs), 1);
    EXPECT_EQ(oNew.m_iEvents, 0);
    oQuiet.send();
    EXPECT_EQ(m_oEvents.handleEvents(c_iLongMs), 1);
    EXPECT_EQ(oNew.m_iEvents, 1);
}

TEST_F(EventDispatcherTest, TimersEndTheWaitAndRunInTheOrderOfTheirTime)
{
    std::vector<int> lRan;
    m_oEvents.startTimer(90ms, [&] { lRan.push_back(3); });
    m_oEvents.startTimer(30ms, [&] { lRan.push_back(1); });
    m_oEvents.startTimer(60ms, [&] { lRan.push_back(2); });
    m_oEvents.startTimer(1h, [&] { lRan.push_back(9); });
    int iHandled = 0;
    while (lRan.size() < 3) {
        iHandled += m_oEvents.handleEvents(c_iLongMs);
    }
    EXPECT_EQ(lRan, std::vector({1, 2, 3}));
    EXPECT_EQ(iHandled, 3);
    EXPECT_EQ(m_oEvents.handleEvents(0), 0);
}

TEST_F(EventDispatcherTest, ATimerOfNoTimeThatStartsItselfAgainRunsOnceATurn)
{
    int iRuns = 0;
    std::function<void()> oAgain = [&] {
        ++iRuns;
        m_oEvents.startTimer(0ms, oAgain);
    };
    m_oEvents.startTimer(0ms, oAgain);
    for (int iTurn = 1; iTurn <= 3; ++iTurn) {
        EXPECT_EQ(m_oEvents.handleEvents(c_iLongMs), 1);
        EXPECT_EQ(iRuns, iTurn);
    }
}

TEST_F(EventDispatcherTest, ACancelledTimerDoesNotRun)
{
    bool bRan = false;
    const auto oFirst = m_oEvents.startTimer(0ms, [&] { bRan = true; });
    m_oEvents.cancelTimer(oFirst);
    EXPECT_EQ(m_oEvents.handleEvents(0), 0);

    // Not even when another of the same turn cancels it; an id that has run means nothing.
    EventDispatcher::TimerId oThird;
    const auto oSecond = m_oEvents.startTimer(0ms, [&] { m_oEvents.cancelTimer(oThird); });
    oThird = m_oEvents.startTimer(0ms, [&] { bRan = true; });
    EXPECT_EQ(m_oEvents.handleEvents(c_iLongMs), 1);
    m_oEvents.cancelTimer(oSecond);
    EXPECT_EQ(m_oEvents.handleEvents(0), 0);
    EXPECT_FALSE(bRan);
}

TEST_F(EventDispatcherTest, ASignalEndsTheWait)
{
    const auto pBefore = std::signal(SIGALRM, [](int) {});
    const itimerval oEvery{{0, 1000}, {0, 1000}}; // the first may come before the wait begins
    const itimerval oNever{};
    ::setitimer(ITIMER_REAL, &oEvery, nullptr);
    EXPECT_EQ(m_oEvents.handleEvents(c_iLongMs), 0);
    ::setitimer(ITIMER_REAL, &oNever, nullptr);
    std::signal(SIGALRM, pBefore);
}

TEST_F(EventDispatcherTest, NoTimerRunsBetweenEndPassAndTheEndOfThePass)
{
    const Pair oPair;
    bool bRun = false;
    Handler oHandler([&](int) {
        m_oEvents.startTimer(std::chrono::milliseconds(0), [&] { bRun = true; });
        m_oEvents.endPass();
    });
    registerReadable(oPair, oHandler);
    EXPECT_EQ(m_oEvents.handleEvents(c_iLongMs), 1);
    EXPECT_EQ(m_oEvents.handleEvents(c_iLongMs), 0);
    EXPECT_FALSE(bRun);
    m_oEvents.handleEvents(c_iLongMs);
    EXPECT_TRUE(bRun);
}

TEST_F(EventDispatcherTest, WhatComesDuringALongTimerIsHandledBeforeTheNext)
{
    const Pair oPair;
    std::string sOrder;
    Handler oHandler([&](int a_iFd) {
        m_oEvents.unregisterHandler(a_iFd);
        sOrder += "event ";
    });
    for (int i = 0; i < 2; ++i) {
        m_oEvents.startTimer(0ms, [&] {
            sOrder += "timer ";
            registerReadable(oPair, oHandler);
            m_oEvents.endPass();
        });
    }
    while (sOrder.size() < 24) {
        m_oEvents.handleEvents(c_iLongMs);
    }
    EXPECT_EQ(sOrder, "timer event timer event ");
}
