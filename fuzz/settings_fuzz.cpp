// Arbitrary bytes as the settings of the boot loader and as factory values: what a line says does not depend
// on those around it, and a value is nothing but text of its line.
#include "fuzz/require.h"
#include "plugins/bootloaderinfo.h"
#include "plugins/etlwrapper.h"
#include "zel/log.h"

#include <stdexcept>

namespace {

void tryParser(std::string_view a_sText, zel::SettingParser a_pParse)
{
    const auto parse = [&](std::string_view a_sPart) {
        return zel::parseSettings(a_sPart, a_pParse, "text");
    };
    const auto lSettings = parse(a_sText);
    for (const auto& [sName, sValue] : lSettings) {
        require(!sName.empty() && sName != "Id" && sName.find_first_of("=\n") == std::string::npos);
        require(sValue.find_first_of("\"\n") == std::string::npos);
        require(a_sText.find(sName + "=") != std::string_view::npos);
        require(sValue.empty() || a_sText.find("\"" + sValue) != std::string_view::npos);
    }
    const auto iCut = a_sText.find('\n', a_sText.size() / 2);
    if (iCut != std::string_view::npos && lSettings.size() < zel::c_iMostSettings) {
        auto lParts = parse(a_sText.substr(0, iCut));
        for (auto& oSetting : parse(a_sText.substr(iCut + 1))) {
            lParts.push_back(std::move(oSetting));
        }
        require(lParts == lSettings);
    }
}

} // namespace

extern "C" int LLVMFuzzerTestOneInput(const unsigned char* a_pBytes, std::size_t a_iSize)
{
    static const bool s_bQuiet = [] {
        ZEL_Sysloglevel_changeTracelevel("DeviceInfo", 0);
        return true;
    }();
    require(s_bQuiet);
    const std::string_view sText(reinterpret_cast<const char*>(a_pBytes), a_iSize);
    tryParser(sText, &zel::EtlWrapper::parse);
    try {
        tryParser(sText, &zel::BootLoader::parse);
    } catch (const std::runtime_error&) {
        require(sText.find('=') != std::string_view::npos); // a value without quotes
    }
    return 0;
}
