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

void GenericConfigPlugin::assertCall(const void* a_handle, zel::SourceTag a_oSource) const
{
    Assert(0 != a_handle, "0 != a_handle", a_oSource);
    Assert(classInvariant(), "classInvariant()", a_oSource);
}

EResultCode GenericConfigPlugin::refuse(const void* a_handle) const
{
    assertCall(a_handle, m_oSource);
    return m_eRefusal;
}

EResultCode GenericConfigPlugin::accept(const void* a_handle) const
{
    assertCall(a_handle, m_oSource);
    return EResultCode::Success;
}

void GenericConfigPlugin::open(const void* a_handle)
{
    assertCall(a_handle, m_oSource);
}

void GenericConfigPlugin::close(const void* a_handle)
{
    assertCall(a_handle, m_oSource);
}

EResultCode GenericConfigPlugin::insertRow(const void* a_handle, const std::string&, const ValueList&)
{
    return refuse(a_handle);
}

EResultCode GenericConfigPlugin::insertKey(int&, const void* a_handle, const std::string&, const ValueList&)
{
    return refuse(a_handle);
}

EResultCode GenericConfigPlugin::updateRow(const void* a_handle, const std::string&, unsigned int,
                                           const ValueList&)
{
    return refuse(a_handle);
}

EResultCode GenericConfigPlugin::updateKey(const void* a_handle, const std::string&, const std::string&,
                                           const std::string&, const ValueList&)
{
    return refuse(a_handle);
}

EResultCode GenericConfigPlugin::deleteRow(const void* a_handle, const std::string&, unsigned int)
{
    return refuse(a_handle);
}

EResultCode GenericConfigPlugin::deleteKey(const void* a_handle, const std::string&, const std::string&,
                                           const std::string&)
{
    return refuse(a_handle);
}

EResultCode GenericConfigPlugin::deleteAll(const void* a_handle, const std::string&)
{
    return refuse(a_handle);
}

EResultCode GenericConfigPlugin::startTransaction(const void* a_handle)
{
    return accept(a_handle);
}

EResultCode GenericConfigPlugin::commitTransaction(const void* a_handle)
{
    return accept(a_handle);
}

EResultCode GenericConfigPlugin::rollbackTransaction(const void* a_handle)
{
    return accept(a_handle);
}

} // namespace configmanager::serverlib
