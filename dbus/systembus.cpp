#include "dbus/systembus.h"

#include "dbus/binding.h"
#include "dbus/busobject.h"
#include "zel/log.h"

#include <dbus-c++/eventloop-integration.h>

#include <utility>

namespace zel {

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

    /// Sees every message before anybody else, and leaves it to them.
    bool count(const DBus::Message&)
    {
        ++m_iMessages;
        return false;
    }

    DBus::BusDispatcher m_oDispatcher;
    DBus::DefaultTimeout m_oNoWait{0, false, &m_oDispatcher}; // an iteration never waits
    DBus::MessageSlot m_oCounter;
    std::unique_ptr<DBus::Connection> m_pConnection;
    unsigned m_iMessages = 0;
};

SystemBus::SystemBus()
    : m_iModule(ZEL_Sysloglevel_registerModul("SystemBus")),
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
    m_oNextTry = std::chrono::steady_clock::now() + c_oReconnectWait;
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
    m_pBinding->m_pConnection.reset();
}

void SystemBus::iterate()
{
    if (m_pBinding->m_pConnection && !m_pBinding->m_pConnection->connected()) {
        ZEL_Sysloglevel_error(m_iModule, here(), "Lost the connection to the system bus");
        m_bLossLogged = true;
        disconnect();
        m_oNextTry = {};
    }
    if (!m_pBinding->m_pConnection && std::chrono::steady_clock::now() >= m_oNextTry) {
        connect();
    }
    if (!m_pBinding->m_pConnection) {
        return;
    }
    // One iteration reads what the socket holds, two KiB at most, and the next one delivers it.
    m_pBinding->m_iMessages = 0;
    for (int iIdle = 0; iIdle < 2 && m_pBinding->m_iMessages < c_iMostMessages;) {
        const unsigned iBefore = m_pBinding->m_iMessages;
        m_pBinding->m_oDispatcher.do_iteration();
        iIdle = m_pBinding->m_iMessages == iBefore ? iIdle + 1 : 0;
    }
}

} // namespace zel
