// The access points of the device as plain data, for boards that can read all of it at once.
//
// Such a board defines ZEL_WLANAPI_Construct, which fills a context; the other functions of device/wlanapi.h
// come from here. One thread; a scan throws nothing but std::bad_alloc.
#pragma once

#include "device/wlanapi.h"

#include <functional>
#include <optional>
#include <string>
#include <string_view>
#include <vector>

namespace zel::device {

struct AccessPoint
{
    std::string m_sSsid{}; // empty for none
    std::string m_sMac{};  // empty for none
    int m_iChannel = 0;
    int m_iChannel2 = -1;
    int m_iMode = 0;

    bool operator==(const AccessPoint&) const = default;
};

using Networks = std::vector<ZEL_WLANAPI_ScanAp>;

struct WlanConfig
{
    AccessPoint m_oAccessPoint{};
    std::function<std::optional<Networks>()> m_oScan{}; // nothing when the scan failed
};

/// Fills a field of a record whose bytes are 0; what does not fit is left out.
template<std::size_t Size>
void putText(std::array<char, Size>& a_aField, std::string_view a_sText)
{
    a_sText.copy(a_aField.data(), Size - 1);
}

} // namespace zel::device

struct ZEL_WLANAPI_Context
{
    int m_iAvailability = 0;
    std::vector<zel::device::WlanConfig> m_lConfigs{}; // of access point 1 and so on
    zel::device::WlanConfig m_oActive{};
};
