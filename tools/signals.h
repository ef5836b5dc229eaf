// The signals that the network services send, as the bus names and types them. Constant data.
#pragma once

#include <span>
#include <string>
#include <string_view>
#include <vector>

namespace zel::netsim {

struct Signal
{
    const char* m_pService; // bus name and interface; the path is the same, with slashes
    const char* m_pName;
    const char* m_pTypes;     // the D-Bus signature of its arguments
    const char* m_pArguments; // what they are, for people
};

constexpr const char* c_pInterfaceStatus = "com.kestrane.network.InterfaceStatus";
constexpr const char* c_pDnsmasq = "uk.org.thekelleys.dnsmasq";

/// Every signal of every service, those of one service together.
std::span<const Signal> signals();
/// The signal of the name, which no two services share; null when there is none.
const Signal* findSignal(std::string_view a_sName);

/// The bus names of all services, each once.
std::vector<std::string> services();

} // namespace zel::netsim
