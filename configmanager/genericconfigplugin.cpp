#include "configmanager/genericconfigplugin.h"

#include "zel/assert.h"

namespace configmanager::serverlib {

using systema::EResultCode;
using systema::ValueList;
using zel::error::Assert;

GenericConfigPlugin::GenericConfigPlugin(EResultCode a_eRefusal, zel::SourceTag a_oSource)
    : m_oSource(a_oSource),
      m_eRefusal(a_eRefusal)
{
}

void GenericConfigPlugin::assertCall(const void* a_pHandle, zel::SourceTag a_oSource) const
{
    Assert(0 != a_pHandle, "0 != a_handle", a_oSource);
    Assert(classInvariant(), "classInvariant()", a_oSource);
}

EResultCode GenericConfigPlugin::refuse(const void* a_pHandle) const
{
    assertCall(a_pHandle, m_oSource);
    return m_eRefusal;
}

EResultCode GenericConfigPlugin::accept(const void* a_pHandle) const
{
    assertCall(a_pHandle, m_oSource);
    return EResultCode::Success;
}

void GenericConfigPlugin::open(const void* a_pHandle)
{
    assertCall(a_pHandle, m_oSource);
}

void GenericConfigPlugin::close(const void* a_pHandle)
{
    assertCall(a_pHandle, m_oSource);
}

EResultCode GenericConfigPlugin::insertRow(const void* a_pHandle, const std::string&, const ValueList&)
{
    return refuse(a_pHandle);
}

EResultCode GenericConfigPlugin::insertKey(int&, const void* a_pHandle, const std::string&, const ValueList&)
{
    return refuse(a_pHandle);
}

EResultCode GenericConfigPlugin::updateRow(const void* a_pHandle, const std::string&, unsigned int,
                                           const ValueList&)
{
    return refuse(a_pHandle);
}

EResultCode GenericConfigPlugin::updateKey(const void* a_pHandle, const std::string&, const std::string&,
                                           const std::string&, const ValueList&)
{
    return refuse(a_pHandle);
}

EResultCode GenericConfigPlugin::deleteRow(const void* a_pHandle, const std::string&, unsigned int)
{
    return refuse(a_pHandle);
}

EResultCode GenericConfigPlugin::deleteKey(const void* a_pHandle, const std::string&, const std::string&,
                                           const std::string&)
{
    return refuse(a_pHandle);
}

EResultCode GenericConfigPlugin::deleteAll(const void* a_pHandle, const std::string&)
{
    return refuse(a_pHandle);
}

EResultCode GenericConfigPlugin::startTransaction(const void* a_pHandle)
{
    return accept(a_pHandle);
}

EResultCode GenericConfigPlugin::commitTransaction(const void* a_pHandle)
{
    return accept(a_pHandle);
}

EResultCode GenericConfigPlugin::rollbackTransaction(const void* a_pHandle)
{
    return accept(a_pHandle);
}

} // namespace configmanager::serverlib
