#include "dbus/systembus.h"

#include "dbus/busconnection.h"
#include "dbus/busobject.h"
#include "dbus/remoteobject.h"
#include "zel/log.h"

#include <cstdlib>
#include <optional>
#include <utility>

namespace zel {

SystemBus::SystemBus(std::function<Clock::time_point()> a_oNow)
    : m_oNow(std::move(a_oNow)),
      m_iModule(ZEL_Sysloglevel_registerModul("SystemBus"))
{
    // What libdbus takes for a fault of this program fails, but does not end the process. It asks once, for
    // its first complaint.
    ::setenv("DBUS_FATAL_WARNINGS", "0", 1);
    connect();
}

SystemBus::~SystemBus()
{
    disconnect();
}

void SystemBus::add(BusObject& a_oObject)
{
    m_lObjects.push_back(&a_oObject);
    if (m_pConnection) {
        attempt([&] { a_oObject.bind(*m_pConnection); });
    }
}

bool SystemBus::attempt(const std::function<void()>& a_oOperation)
{
    try {
        a_oOperation();
        return true;
    } catch (const DBus::Error& oError) {
        fail(oError.what());
    } catch (const std::runtime_error& oError) {
        fail(oError.what());
    }
    return false;
}

void SystemBus::fail(const char* a_pError)
{
    if (!std::exchange(m_bLossLogged, true)) {
        ZEL_Sysloglevel_error(m_iModule, here(), "No connection to the system bus: %s", a_pError);
    }
    disconnect();
    m_oNextTry = m_oNow() + c_oReconnectWait;
}

void SystemBus::connect()
{
    const auto isAwaited = [this](const DBus::Message& a_oSignal) {
        bool bAwaited = false;
        for (BusObject* pObject : m_lObjects) {
            bAwaited = pObject->expects(a_oSignal) || bAwaited; // each keeps count of its own
        }
        return bAwaited;
    };
    const bool bConnected = attempt([&] {
        m_pConnection = std::make_unique<BusConnection>(m_oWaitTime, m_oNow, isAwaited);
        for (BusObject* pObject : m_lObjects) {
            pObject->bind(*m_pConnection);
        }
        m_pConnection->confirmMatches(m_pConnection->deadline());
    });
    m_oNextTry = m_oNow() + c_oReconnectWait; // should this connection be lost
    if (bConnected && std::exchange(m_bLossLogged, false)) {
        ZEL_Sysloglevel_info(m_iModule, here(), "Connected to the system bus");
    }
}

void SystemBus::disconnect()
{
    if (m_pConnection) {
        m_pConnection->close(); // what is unbound has nothing to tell the bus any more
        for (BusObject* pObject : m_lObjects) {
            pObject->unbind();
        }
        m_pConnection.reset();
        m_lGone.clear();
    }
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
    m_oWaitTime.restart();
    if (m_pConnection) {
        attempt([this] { m_pConnection->confirmMatches(); });
    }
    if (m_pConnection && !m_pConnection->isOpen()) {
        ZEL_Sysloglevel_error(m_iModule, here(), "Lost the connection to the system bus");
        m_bLossLogged = true;
        disconnect();
    }
    if (!m_pConnection && m_oNow() >= m_oNextTry) {
        connect();
    }
    if (!m_pConnection) {
        return;
    }
    m_pConnection->read(c_iMostMessages);
    auto& lSignals = m_pConnection->signals();
    for (unsigned i = 0; i < c_iMostMessages && !lSignals.empty(); ++i) {
        const DBus::Message oSignal = lSignals.front();
        lSignals.pop_front();
        for (BusObject* pObject : m_lObjects) {
            pObject->deliver(oSignal);
            const RemoteObject* pRemote = pObject->get();
            if (const auto oOwner = pRemote ? pRemote->newOwner(oSignal) : std::nullopt) {
                m_mOwned[pRemote->getService()] = !oOwner->empty();
            }
        }
    }
    logOwners();
    recover();
}

/// At most a line for each service and iteration, however often it comes and goes.
void SystemBus::logOwners()
{
    for (const auto& [sService, bOwned] : std::exchange(m_mOwned, {})) {
        if (!bOwned && m_lGone.insert(sService).second) {
            ZEL_Sysloglevel_warning(m_iModule, here(),
                                    "%s has left the bus; what it told last is shown until it is back",
                                    sService.c_str());
        } else if (bOwned && m_lGone.erase(sService) != 0) {
            ZEL_Sysloglevel_info(m_iModule, here(), "%s is back on the bus", sService.c_str());
        }
    }
}

void SystemBus::recover()
{
    std::set<std::string> lFlooded;
    const bool bNoneWaits = m_pConnection->signals().empty();
    for (BusObject* pObject : m_lObjects) {
        if (pObject->recover(bNoneWaits)) {
            lFlooded.insert(pObject->get()->getService());
        }
    }
    for (const auto& sService : lFlooded) {
        if (!m_lFlooded.contains(sService)) {
            ZEL_Sysloglevel_error(m_iModule, here(), "Signals of %s are lost, more than %u were waiting",
                                  sService.c_str(), BusObject::c_iMostWaiting);
        }
    }
    m_lFlooded = std::move(lFlooded);
}

} // namespace zel
