// The simulated device: everything the functions of the device tell, out of one JSON file.
//
// The file is read anew each time. It may hold any bytes: what is missing or of another kind is that of a
// device without line, radio, links and mounts. Any thread; nothing throws but std::bad_alloc.
#pragma once

#include "device/dslline.h"
#include "device/wlanconfig.h"

#include <map>
#include <optional>
#include <string>
#include <vector>

namespace zel::device {

struct SimMounts
{
    int m_iRootfs = 0; // see device/mountsource.h
    int m_iServicefs = 0;
    int m_iDefconfig = 0;
};

struct SimAccessPoint
{
    AccessPoint m_oAccessPoint{};
    std::optional<Networks> m_oNetworks{}; // that its radio sees; a scan fails without
};

struct SimPppLink
{
    int m_iState = 0; // see device/pppstate.h
    std::optional<std::string> m_oMessage{};
};

struct SimDevice
{
    SimMounts m_oMounts{};
    DslLine m_oDslLine{};
    std::map<std::string, SimPppLink> m_mPppLinks{}; // by interface
    int m_iRadios = 0;
    int m_iAvailability = 0;
    std::vector<SimAccessPoint> m_lAccessPoints{};
};

SimDevice parseSimDevice(const std::string& a_sText);

/// The device as "/var/run/ledgerd-sim.json" has it now.
SimDevice readSimDevice();

} // namespace zel::device
