#include "dbus/busobject.h"

#include "dbus/remoteobject.h"
#include "zel/exception.h"
#include "zel/log.h"

namespace zel {

BusObject::BusObject(SystemBus& a_oBus, Factory a_oFactory)
    : m_oBus(a_oBus),
      m_oFactory(std::move(a_oFactory))
{
    m_oBus.add(*this);
}

BusObject::~BusObject()
{
    m_oBus.remove(*this);
}

void BusObject::logFailedReceiver()
{
    ZEL_Sysloglevel_error(ZEL_Sysloglevel_registerModul("SystemBus"), here(),
                          "A receiver of a signal failed: %s", error::describeException());
}

void BusObject::bind(BusConnection& a_oConnection)
{
    m_pRemote = m_oFactory(a_oConnection);
    m_iWaiting = 0;
    m_bLost = false;
    onMissed();
}

void BusObject::unbind()
{
    m_pRemote.reset();
}

bool BusObject::expects(const DBus::Message& a_oSignal)
{
    if (!m_pRemote || !m_pRemote->isConcernedBy(a_oSignal)) {
        return false;
    }
    const bool bRoom = m_iWaiting < c_iMostWaiting;
    m_iWaiting += bRoom ? 1 : 0;
    m_bLost = m_bLost || !bRoom;
    return bRoom;
}

void BusObject::deliver(const DBus::Message& a_oSignal)
{
    if (m_pRemote && m_pRemote->isConcernedBy(a_oSignal)) {
        m_iWaiting -= m_iWaiting > 0 ? 1 : 0; // the signal may be older than this object, and not be counted
        if (m_pRemote->deliver(a_oSignal)) {
            onMissed();
        }
    }
}

bool BusObject::recover(bool a_bNoneWaits)
{
    m_iWaiting = a_bNoneWaits ? 0 : m_iWaiting; // counts signals for which there was no memory, too
    if (!m_pRemote || !std::exchange(m_bLost, false)) {
        return false;
    }
    m_pRemote->endPause();
    onMissed();
    return true;
}

void BusObject::onMissed() const
{
    if (m_oOnMissed) {
        m_oOnMissed();
    }
}

} // namespace zel
