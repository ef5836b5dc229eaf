#include "dbus/systembus.h"

#include "dbus/binding.h"
#include "dbus/busobject.h"
#include "zel/log.h"

#include <dbus-c++/eventloop-integration.h>

#include <utility>

namespace zel {

namespace {

// The bus sends a burst as fast as it is read, which takes it a moment each time.
constexpr int c_iLullMs = 10;                         // so long a silence is the end of a burst
constexpr std::chrono::milliseconds c_oPatience{200}; // in silence altogether, whatever comes after it
constexpr unsigned c_iMostOfTwoReads = 128;           // of 4 KiB each, in messages of 64 bytes at least

} // namespace

/// The connection lives only while there is a bus, the rest as long as the process talks to buses at all.
struct SystemBus::Binding
{
    Binding()
    {
        m_oCounter = new DBus::Callback<Binding, bool, const DBus::Message&>(this, &Binding::count);
        DBus::default_dispatcher = &m_oDispatcher;
    }
    ~Binding() { DBus::default_dispatcher = nullptr; }
    Binding(const Binding&) = delete;
    Binding& operator=(const Binding&) = delete;

    void connect()
    {
        auto pConnection = std::make_unique<DBus::Connection>(DBus::Connection::SystemBus());
        pConnection->exit_on_disconnect(false);
        pConnection->add_filter(m_oCounter);
        m_pConnection = std::move(pConnection);
    }

    void disconnect()
    {
        if (m_pConnection) {
            // The dispatcher may have it queued, and lets only go of one that is closed.
            m_pConnection->disconnect();
            m_oDispatcher.dispatch_pending();
            m_pConnection.reset();
        }
    }

    /// One iteration of the dispatcher reads what the socket holds, and the next one delivers it.
    void deliver()
    {
        Clock::duration oWaited{};
        unsigned iBefore = 0;
        m_iMessages = 0;
        do {
            iBefore = m_iMessages;
            const auto oStart = Clock::now();
            m_oWait.interval(m_iMessages > 0 && oWaited < c_oPatience ? c_iLullMs : 0);
            m_oDispatcher.do_iteration();
            m_oWait.interval(0);
            oWaited += Clock::now() - oStart;
            m_oDispatcher.do_iteration();
        } while (m_iMessages != iBefore && m_iMessages + c_iMostOfTwoReads <= c_iMostMessages);
    }

    /// Sees every message before anybody else, and leaves it to them.
    bool count(const DBus::Message&)
    {
        ++m_iMessages;
        return false;
    }

    DBus::BusDispatcher m_oDispatcher;
    DBus::DefaultTimeout m_oWait{0, false, &m_oDispatcher}; // of an iteration, for something to read
    DBus::MessageSlot m_oCounter;
    std::unique_ptr<DBus::Connection> m_pConnection;
    unsigned m_iMessages = 0;
};

SystemBus::SystemBus(std::function<Clock::time_point()> a_oNow)
    : m_oNow(std::move(a_oNow)),
      m_iModule(ZEL_Sysloglevel_registerModul("SystemBus")),
      m_pBinding(std::make_unique<Binding>())
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
        a_oObject.bind(*m_pBinding->m_pConnection);
    }
}

void SystemBus::connect()
{
    m_oNextTry = m_oNow() + c_oReconnectWait;
    try {
        m_pBinding->connect();
        for (BusObject* pObject : m_lObjects) {
            pObject->bind(*m_pBinding->m_pConnection);
        }
    } catch (const DBus::Error& oError) {
        if (!std::exchange(m_bLossLogged, true)) {
            ZEL_Sysloglevel_error(m_iModule, here(), "No connection to the system bus: %s", oError.what());
        }
        disconnect();
        return;
    }
    if (std::exchange(m_bLossLogged, false)) {
        ZEL_Sysloglevel_info(m_iModule, here(), "Connected to the system bus");
    }
}

void SystemBus::disconnect()
{
    for (BusObject* pObject : m_lObjects) {
        pObject->unbind();
    }
    m_pBinding->disconnect();
}

void SystemBus::iterate()
{
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
    m_pBinding->deliver();
}

} // namespace zel
