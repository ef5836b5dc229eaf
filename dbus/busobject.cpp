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
    if (m_oOnBound) {
        m_oOnBound();
    }
}

void BusObject::unbind()
{
    m_pRemote.reset();
}

} // namespace zel
