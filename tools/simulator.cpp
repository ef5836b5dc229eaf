#include "tools/simulator.h"

#include "dbus/objectpath.h"
#include "tools/signals.h"
#include "zel/systempath.h"

#include <filesystem>
#include <fstream>

namespace zel::netsim {

namespace {

Message makeReply(DBusMessage& a_oCall, dbus_bool_t a_bValue)
{
    Message oReply(dbus_message_new_method_return(&a_oCall));
    dbus_message_append_args(oReply.get(), DBUS_TYPE_BOOLEAN, &a_bValue, DBUS_TYPE_INVALID);
    return oReply;
}

Message makeError(DBusMessage& a_oCall, const char* a_pName, const std::string& a_sText)
{
    return Message(dbus_message_new_error(&a_oCall, a_pName, a_sText.c_str()));
}

} // namespace

Failure Simulator::start()
{
    m_oBus.answerWith([this](DBusMessage& a_oCall) { return answer(a_oCall); });
    for (const auto& sService : services()) {
        if (sService != c_pDnsmasq || m_oOptions.m_bDnsmasq) {
            if (auto oFailure = m_oBus.own(sService)) {
                return oFailure;
            }
        }
    }
    return {};
}

Message Simulator::answer(DBusMessage& a_oCall) const
{
    for (const auto& sService : m_oOptions.m_lSilent) {
        if (dbus_message_has_path(&a_oCall, objectPathOf(sService).c_str())) {
            return {};
        }
    }
    if (dbus_message_is_method_call(&a_oCall, c_pInterfaceStatus, "GetLinkStatusForDevice")) {
        return linkStatus(a_oCall);
    }
    if (dbus_message_is_method_call(&a_oCall, c_pDnsmasq, "DumpCache")) {
        return dumpCache(a_oCall);
    }
    return makeError(a_oCall, DBUS_ERROR_UNKNOWN_METHOD, "there is no such method");
}

Message Simulator::linkStatus(DBusMessage& a_oCall) const
{
    const char* pDevice = nullptr;
    if (!dbus_message_get_args(&a_oCall, nullptr, DBUS_TYPE_STRING, &pDevice, DBUS_TYPE_INVALID)) {
        return makeError(a_oCall, DBUS_ERROR_INVALID_ARGS, "the name of a device is expected");
    }
    const auto it = m_mLinks.find(pDevice);
    return makeReply(a_oCall, it != m_mLinks.end() && it->second);
}

Message Simulator::dumpCache(DBusMessage& a_oCall) const
{
    if (m_oOptions.m_bDumpFails) {
        return makeError(a_oCall, DBUS_ERROR_FAILED, "the cache cannot be dumped");
    }
    for (const auto& [sFrom, sTo] : m_oOptions.m_lDumpFiles) {
        std::error_code oError;
        std::filesystem::copy_file(sFrom, sTo, std::filesystem::copy_options::overwrite_existing, oError);
        if (oError) {
            return makeError(a_oCall, DBUS_ERROR_FAILED, sTo + ": " + oError.message());
        }
    }
    for (const auto& [sFile, sText] : m_mCache) {
        const std::string sTo = systemPath("/tmp/" + sFile);
        if (!(std::ofstream(sTo) << sText << std::flush)) {
            return makeError(a_oCall, DBUS_ERROR_FAILED, sTo + " cannot be written");
        }
    }
    return makeReply(a_oCall, true);
}

} // namespace zel::netsim
