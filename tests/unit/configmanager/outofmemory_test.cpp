// A change, with memory out from one allocation on until the pass has ended: for every such allocation.
#include "client/request.h"
#include "configmanager/configservicemanager.h"
#include "tests/unit/systema/recordingplugin.h"

#include <gtest/gtest.h>

#include <array>
#include <cstdlib>
#include <new>
#include <sys/socket.h>
#include <unistd.h>

using systema::ConfigDispatcher;
using systema::wire::EKind;

namespace {

long s_iUntilFailure = -1; // allocations that succeed before all others fail; -1: none fails

} // namespace

void* operator new(std::size_t a_iSize)
{
    void* pMemory = s_iUntilFailure == 0 ? nullptr : std::malloc(a_iSize == 0 ? 1 : a_iSize);
    if (pMemory == nullptr) {
        throw std::bad_alloc();
    }
    s_iUntilFailure -= s_iUntilFailure > 0 ? 1 : 0;
    return pMemory;
}

void operator delete(void* a_pMemory) noexcept
{
    std::free(a_pMemory);
}

void operator delete(void* a_pMemory, std::size_t) noexcept
{
    std::free(a_pMemory);
}

namespace {

class MemoryTest : public testing::Test
{
protected:
    /// A table that counts its inserts; it must live as long as the process-wide dispatcher.
    class Counted : public RecordingPlugin
    {
    public:
        Counted() : RecordingPlugin("counted", {"Counted"}, m_lNoCalls)
        {
            ConfigDispatcher::instance().attachTables(*this);
        }
        EResultCode insertRow(const void*, const std::string&, const systema::ValueList&) override
        {
            ++m_iInserts;
            delete new int; // fails after it was done
            return EResultCode::Success;
        }

        int m_iInserts = 0;

    private:
        Calls m_lNoCalls;
    };
    static Counted& table()
    {
        static Counted s_oTable;
        return s_oTable;
    }

    zel::UniqueFd connect()
    {
        std::array<int, 2> aFds{-1, -1};
        EXPECT_EQ(0, ::socketpair(AF_UNIX, SOCK_STREAM | SOCK_NONBLOCK, 0, aFds.data()));
        m_oManager.takeConnection(zel::UniqueFd(aFds[1]));
        return zel::UniqueFd(aFds[0]);
    }

    template<typename Request>
    static void send(const zel::UniqueFd& a_oClient, const Request& a_oRequest)
    {
        std::string sFrame;
        systema::wire::Writer oWriter(sFrame);
        oWriter.begin(EKind::Request, Request::c_eOperation, 1);
        systema::client::request::write(oWriter, a_oRequest);
        oWriter.end();
        EXPECT_EQ(static_cast<ssize_t>(sFrame.size()),
                  ::write(a_oClient.get(), sFrame.data(), sFrame.size()));
    }

    struct Received
    {
        std::vector<systema::wire::Header> m_lFrames;
        bool m_bClosed = false;
    };
    static Received receive(const zel::UniqueFd& a_oClient)
    {
        std::array<char, 65536> aBuffer;
        const ssize_t iRead = ::read(a_oClient.get(), aBuffer.data(), aBuffer.size());
        Received oReceived{{}, iRead == 0};
        std::string_view sRest(aBuffer.data(), static_cast<std::size_t>(std::max<ssize_t>(iRead, 0)));
        while (const auto oHeader = systema::wire::readHeader(sRest)) {
            oReceived.m_lFrames.push_back(*oHeader);
            sRest.remove_prefix(oHeader->frameSize());
        }
        return oReceived;
    }

    template<typename Function>
    static void unlessOutOfMemory(Function a_oFunction)
    {
        try {
            a_oFunction();
        } catch (const std::bad_alloc&) {
        }
    }

    /// Handles events and sends notifications, each whatever becomes of the other.
    void runPass()
    {
        unlessOutOfMemory([this] { m_oEvents.handleEvents(0); });
        unlessOutOfMemory([] { ConfigDispatcher::instance().sendNotifications(); });
    }

    systema::net::EventDispatcher m_oEvents;
    zel::cfg::ConfigServiceManager m_oManager{m_oEvents, 40, nullptr};
};

TEST_F(MemoryTest, AChangeThatHappenedIsToldWhicheverAllocationFails)
{
    namespace request = systema::client::request;
    table();
    bool bFailed = true;
    int iTold = 0;
    for (long iAllocation = 0; bFailed; ++iAllocation) {
        ASSERT_LT(iAllocation, 1000);
        const auto oWriter = connect();
        const auto oSubscriber = connect();
        send(oWriter, request::Hello{"writer"});
        send(oSubscriber, request::Hello{"subscriber"});
        send(oSubscriber, request::Subscribe{{"Counted"}});
        runPass();
        receive(oWriter);
        ASSERT_EQ(2U, receive(oSubscriber).m_lFrames.size());
        const int iBefore = table().m_iInserts;
        send(oWriter, request::InsertRow{"Counted", {}});

        testing::internal::CaptureStderr();
        s_iUntilFailure = iAllocation;
        runPass();
        bFailed = s_iUntilFailure == 0;
        s_iUntilFailure = -1;
        runPass();
        runPass();
        testing::internal::GetCapturedStderr();

        const bool bDone = table().m_iInserts > iBefore;
        const Received oReply = receive(oWriter);
        const Received oEvents = receive(oSubscriber);
        const bool bTold = !oEvents.m_lFrames.empty();
        EXPECT_TRUE(oEvents.m_bClosed || bTold == bDone) << "allocation " << iAllocation;
        EXPECT_TRUE(oReply.m_bClosed || oReply.m_lFrames.size() == 1U) << "allocation " << iAllocation;
        if (!oReply.m_lFrames.empty()) {
            EXPECT_LE(oReply.m_lFrames[0].m_iCode, 1U);
            EXPECT_TRUE(bDone || oReply.m_lFrames[0].m_iCode == 1U);
        }
        iTold += bTold ? 1 : 0;
    }
    EXPECT_GT(iTold, 1);
}

TEST_F(MemoryTest, AConnectionIsServedOrClosedWhicheverAllocationFails)
{
    bool bFailed = true;
    for (long iAllocation = 0; bFailed; ++iAllocation) {
        ASSERT_LT(iAllocation, 1000);
        zel::UniqueFd oClient;
        std::array<int, 2> aFds{-1, -1};
        ASSERT_EQ(0, ::socketpair(AF_UNIX, SOCK_STREAM | SOCK_NONBLOCK, 0, aFds.data()));
        oClient.reset(aFds[0]);
        testing::internal::CaptureStderr();
        s_iUntilFailure = iAllocation;
        unlessOutOfMemory([&] { m_oManager.takeConnection(zel::UniqueFd(aFds[1])); });
        bFailed = s_iUntilFailure == 0;
        s_iUntilFailure = -1;
        testing::internal::GetCapturedStderr();
        const bool bClosed = receive(oClient).m_bClosed;
        if (!bClosed) {
            send(oClient, systema::client::request::Hello{"late"});
            runPass();
        }
        EXPECT_EQ(bClosed ? 0U : 1U, receive(oClient).m_lFrames.size()) << "allocation " << iAllocation;
        const auto lInfo = m_oManager.getInfo();
        EXPECT_EQ(bClosed ? "0" : "1", lInfo.toText("Clients"));
        oClient.reset();
        runPass();
    }
}

} // namespace
