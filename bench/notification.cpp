#include "bench/check.h"
#include "bench/ledger.h"
#include "bench/measurement.h"
#include "bench/requests.h"
#include "systema/eventdispatcher.h"

#include <memory>

namespace bench {

namespace {

constexpr int c_iChanges = 20; // in a round
constexpr double c_fGatheringMs = 10;
constexpr int c_iLongestWaitMs = 5000;

/// A connection that counts what it is told.
class Subscriber : public systema::net::IEventHandler
{
public:
    Subscriber(const Ledger& a_oLedger, systema::net::EventDispatcher& a_oEvents, std::size_t& a_iTold)
        : m_oEvents(a_oEvents),
          m_pConnection(a_oLedger.connect())
    {
        m_pConnection->onTableChanged([&a_iTold](const std::string&) { ++a_iTold; });
        check(m_pConnection->subscribe({c_oSmallTable.m_pName}));
        check(m_oEvents.registerHandler(m_pConnection->descriptor(), 0, this), "epoll");
    }

    ~Subscriber() override { m_oEvents.unregisterHandler(m_pConnection->descriptor()); }
    Subscriber(const Subscriber&) = delete;
    Subscriber& operator=(const Subscriber&) = delete;

    void handleEvent(int) override { check(m_pConnection->processReadable()); }

private:
    systema::net::EventDispatcher& m_oEvents;
    std::unique_ptr<Connection> m_pConnection;
};

Outcome notify(const Effort& a_oEffort, std::size_t a_iSubscribers)
{
    const Ledger oLedger(createDatabase);
    const auto pWriter = oLedger.connect();
    systema::net::EventDispatcher oEvents;
    std::size_t iTold = 0;
    std::vector<std::unique_ptr<Subscriber>> lSubscribers;
    for (std::size_t i = 0; i < a_iSubscribers; ++i) {
        lSubscribers.push_back(std::make_unique<Subscriber>(oLedger, oEvents, iTold));
    }
    Keys oKeys(c_oSmallTable);
    int iWeight = 0;
    const auto timeOfChange = [&] {
        check(pWriter->call(change(c_oSmallTable, oKeys.next(), ++iWeight)));
        const auto oReplied = Clock::now();
        iTold = 0;
        while (iTold < a_iSubscribers) {
            check(oEvents.handleEvents(c_iLongestWaitMs) > 0, "a subscriber is not told");
        }
        return microsecondsSince(oReplied) / 1000;
    };
    const int iTimes = a_oEffort.times(c_iChanges);
    Outcome oOutcome = repeat(a_oEffort, [&] { return medianOf(iTimes, timeOfChange); });
    oOutcome.m_oLimit = c_fGatheringMs;
    return oOutcome;
}

} // namespace

Outcome notifyOne(const Effort& a_oEffort)
{
    return notify(a_oEffort, 1);
}

Outcome notifyHundred(const Effort& a_oEffort)
{
    return notify(a_oEffort, 100);
}

} // namespace bench
