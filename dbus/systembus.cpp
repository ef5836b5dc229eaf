#include "dbus/systembus.h"

#include "dbus/binding.h"
#include "dbus/busobject.h"
#include "dbus/remoteobject.h"
#include "zel/log.h"

#include <dbus-c++/eventloop-integration.h>

#include <algorithm>
#include <deque>
#include <utility>

namespace zel {

namespace {

// The bus sends a burst as fast as it is read, which takes it a moment each time.
constexpr std::size_t c_iBurst = 16;                  // signals that come in one read
constexpr int c_iLullMs = 10;                         // so long a silence is the end of a burst
constexpr std::chrono::milliseconds c_oPatience{200}; // in silence altogether, whatever comes after it

} // namespace

/// The connection lives only while there is a bus, the rest as long as the process talks to buses at all.
struct SystemBus::Binding
{
    explicit Binding(const std::list<BusObject*>& a_lObjects) : m_lObjects(a_lObjects)
    {
        m_oFilter = new DBus::Callback<Binding, bool, const DBus::Message&>(this, &Binding::queue);
        DBus::default_dispatcher = &m_oDispatcher;
    }
    ~Binding() { DBus::default_dispatcher = nullptr; }
    Binding(const Binding&) = delete;
    Binding& operator=(const Binding&) = delete;

    void connect()
    {
        auto pConnection = std::make_unique<DBus::Connection>(DBus::Connection::SystemBus());
        pConnection->exit_on_disconnect(false);
        pConnection->add_filter(m_oFilter);
        m_pConnection = std::move(pConnection);
    }

    /// From here on nothing is sent or awaited any more. The dispatcher may have the connection queued, and
    /// lets only go of one that is closed.
    void close()
    {
        if (m_pConnection) {
            m_pConnection->disconnect();
            m_oDispatcher.dispatch_pending();
            m_lSignals.clear();
        }
    }

    void disconnect()
    {
        if (m_pConnection) {
            close();
            m_pConnection.reset();
        }
    }

    /// Queues what has come. One iteration of the dispatcher reads what the socket holds, the next one hands
    /// it over.
    void read()
    {
        Clock::duration oWaited{};
        std::size_t iRead = 0;
        do {
            const std::size_t iBefore = m_lSignals.size();
            const auto oStart = Clock::now();
            m_oWait.interval(iRead >= c_iBurst && oWaited < c_oPatience ? c_iLullMs : 0);
            m_oDispatcher.do_iteration();
            m_oWait.interval(0);
            oWaited += Clock::now() - oStart;
            m_oDispatcher.do_iteration();
            iRead = m_lSignals.size() - iBefore;
        } while (iRead > 0 && m_lSignals.size() < c_iMostMessages);
    }

    /// Sees every message before anybody else. Signals that somebody waits for go into the queue, for the
    /// library would deliver all that a blocking call has read at one time, however many they are.
    bool queue(const DBus::Message& a_oMessage)
    {
        if (a_oMessage.type() != DBUS_MESSAGE_TYPE_SIGNAL) {
            return false;
        }
        const bool bAwaited = std::ranges::any_of(m_lObjects, [&](const BusObject* a_pObject) {
            return a_pObject->get() != nullptr && a_pObject->get()->isSender(a_oMessage);
        });
        if (bAwaited && m_lSignals.size() < c_iMostQueued) {
            m_lSignals.push_back(a_oMessage);
        }
        return true;
    }

    const std::list<BusObject*>& m_lObjects;
    DBus::BusDispatcher m_oDispatcher;
    DBus::DefaultTimeout m_oWait{0, false, &m_oDispatcher}; // of an iteration, for something to read
    DBus::MessageSlot m_oFilter;
    std::unique_ptr<DBus::Connection> m_pConnection;
    std::deque<DBus::Message> m_lSignals;
};

SystemBus::SystemBus(std::function<Clock::time_point()> a_oNow)
    : m_oNow(std::move(a_oNow)),
      m_iModule(ZEL_Sysloglevel_registerModul("SystemBus")),
      m_pBinding(std::make_unique<Binding>(m_lObjects))
{
    connect();
}

SystemBus::~SystemBus()
{
    disconnect();
}

void SystemBus::add(BusObject& a_oObject)
{
    m_lObjects.push_back(&a_oObject);
    if (m_pBinding->m_pConnection) {
        attempt([&] { a_oObject.bind(*m_pBinding->m_pConnection); });
    }
}

bool SystemBus::attempt(const std::function<void()>& a_oOperation)
{
    try {
        a_oOperation();
        return true;
    } catch (const DBus::Error& oError) {
        if (!std::exchange(m_bLossLogged, true)) {
            ZEL_Sysloglevel_error(m_iModule, here(), "No connection to the system bus: %s", oError.what());
        }
        disconnect();
        return false;
    }
}

void SystemBus::connect()
{
    m_oNextTry = m_oNow() + c_oReconnectWait;
    const bool bConnected = attempt([this] {
        m_pBinding->connect();
        for (BusObject* pObject : m_lObjects) {
            pObject->bind(*m_pBinding->m_pConnection);
        }
    });
    if (bConnected && std::exchange(m_bLossLogged, false)) {
        ZEL_Sysloglevel_info(m_iModule, here(), "Connected to the system bus");
    }
}

void SystemBus::disconnect()
{
    m_pBinding->close(); // first, or each object would wait for the bus to let it go
    for (BusObject* pObject : m_lObjects) {
        pObject->unbind();
    }
    m_pBinding->disconnect();
}

void SystemBus::close()
{
    m_bClosed = true;
    disconnect();
}

void SystemBus::iterate()
{
    if (m_bClosed) {
        return;
    }
    if (m_pBinding->m_pConnection && !m_pBinding->m_pConnection->connected()) {
        ZEL_Sysloglevel_error(m_iModule, here(), "Lost the connection to the system bus");
        m_bLossLogged = true;
        disconnect();
        m_oNextTry = {};
    }
    if (!m_pBinding->m_pConnection && m_oNow() >= m_oNextTry) {
        connect();
    }
    if (!m_pBinding->m_pConnection) {
        return;
    }
    m_pBinding->read();
    auto& lSignals = m_pBinding->m_lSignals;
    for (unsigned i = 0; i < c_iMostMessages && !lSignals.empty(); ++i) {
        const DBus::Message oSignal = lSignals.front();
        lSignals.pop_front();
        for (const BusObject* pObject : m_lObjects) {
            if (pObject->get() != nullptr && pObject->get()->isSender(oSignal)) {
                pObject->get()->deliver(oSignal);
            }
        }
    }
}

} // namespace zel
