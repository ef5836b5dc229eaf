#include "plugins/etlwrapper.h"

#include "device/securepassword.h"
#include "plugins/etlmappings.h"
#include "zel/log.h"

#include <algorithm>

namespace zel {

using securepassword::EAlgorithm;

namespace {

struct HashMode
{
    std::string_view m_sName;
    EAlgorithm m_eAlgorithm;
};

constexpr HashMode c_aHashModes[] = {
    {"MCF_MD5", EAlgorithm::Md5},
    {"MCF_SHA256", EAlgorithm::Sha256},
    {"MCF_SHA512", EAlgorithm::Sha512},
};

/// Takes the text up to the character, and the character, off the line: all of it when it does not come.
std::string_view takeUpTo(std::string_view& a_sLine, char a_cEnd)
{
    const auto sText = a_sLine.substr(0, a_sLine.find(a_cEnd));
    a_sLine.remove_prefix(std::min(sText.size() + 1, a_sLine.size()));
    return sText;
}

} // namespace

EtlWrapper::EtlWrapper(systema::ConfigPluginBase& a_oDispatcher)
    : DeviceInfoRow("etl"),
      m_oDispatcher(a_oDispatcher),
      m_iModule(ZEL_Sysloglevel_registerModul("EtlWrapper"))
{
}

std::optional<Setting> EtlWrapper::parse(std::string_view a_sLine)
{
    if (a_sLine.find('=') == std::string_view::npos) {
        return std::nullopt;
    }
    const auto sName = takeUpTo(a_sLine, '=');
    takeUpTo(a_sLine, '"');
    return Setting{std::string(sName), std::string(takeUpTo(a_sLine, '"'))};
}

void EtlWrapper::read(systema::ValueList& a_lRow)
{
    const EtlMappings oMappings(m_oDispatcher, this);
    for (auto& oSetting : readSettings("/etc/etl.conf", &parse, "true == oEtlFile.is_open()")) {
        if (const auto* pMap = oMappings.findEtlValue(oSetting.m_sName)) {
            fillTarget(oMappings, oSetting, pMap->m_sTargetColumnHash);
            oSetting.m_sValue = hash(oSetting, pMap->m_sKeyColumnHash);
        }
        addText(a_lRow, std::move(oSetting.m_sName), std::move(oSetting.m_sValue));
    }
}

void EtlWrapper::fillTarget(const EtlMappings& a_oMappings, const Setting& a_oSetting,
                            const std::string& a_sMode) const
{
    if (!a_oMappings.hasEmptyTarget(a_oSetting.m_sName)) {
        return; // a hash takes its time
    }
    if (a_oSetting.m_sValue.empty()) { // with the hash of an empty password anybody logs in
        ZEL_Sysloglevel_error(m_iModule, here(), "The value %s is empty and is not written",
                              a_oSetting.m_sName.c_str());
        return;
    }
    a_oMappings.updateTarget(a_oSetting.m_sName, hash(a_oSetting, a_sMode));
}

/// The value hashed by a mode of "EtlMapping"; empty when it cannot be hashed.
std::string EtlWrapper::hash(const Setting& a_oSetting, const std::string& a_sMode) const
{
    if (a_sMode.empty() || a_sMode == "NONE") {
        return a_oSetting.m_sValue;
    }
    if (a_sMode == "HIDDEN") {
        return {};
    }
    securepassword::Context oContext;
    const auto* pMode = std::ranges::find(c_aHashModes, a_sMode, &HashMode::m_sName);
    if (pMode != std::end(c_aHashModes)) {
        oContext.m_eAlgorithm = pMode->m_eAlgorithm;
    }
    securepassword::Password oPassword(a_oSetting.m_sValue);
    if (!oPassword.updateWithContext(oContext)) {
        ZEL_Sysloglevel_error(m_iModule, here(), "The value %s cannot be hashed", a_oSetting.m_sName.c_str());
    }
    return oPassword.str();
}

} // namespace zel
