#include "dbus/busobject.h"

#include "dbus/remoteobject.h"

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

void BusObject::bind(DBus::Connection& a_oConnection)
{
    m_pRemote = m_oFactory(a_oConnection);
}

void BusObject::unbind()
{
    m_pRemote.reset();
}

} // namespace zel
