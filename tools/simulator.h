// Stands in for the network services: owns their names and answers their methods. Answers come during the
// dispatch of the bus, which must outlive it. Nothing throws but std::bad_alloc; one thread.
#pragma once

#include "tools/bus.h"

#include <map>
#include <set>
#include <string>
#include <utility>
#include <vector>

namespace zel::netsim {

class Simulator
{
public:
    struct Options
    {
        bool m_bDnsmasq = false;                                         // stand in for dnsmasq, too
        std::set<std::string> m_lSilent{};                               // services that never answer
        bool m_bDumpFails = false;                                       // DumpCache answers with an error
        std::vector<std::pair<std::string, std::string>> m_lDumpFiles{}; // which it copies, from and to
    };

    Simulator(Bus& a_oBus, Options a_oOptions) : m_oBus(a_oBus), m_oOptions(std::move(a_oOptions)) {}

    /// Takes the names and answers from now on.
    Failure start();
    /// The link of a device, which is down until it is told otherwise.
    void setLink(const std::string& a_sDevice, bool a_bUp) { m_mLinks[a_sDevice] = a_bUp; }
    /// The text of a file that DumpCache writes from now on, in the directory of dnsmasq's cache files.
    void setCache(const std::string& a_sFile, std::string a_sText) { m_mCache[a_sFile] = std::move(a_sText); }

private:
    Message answer(DBusMessage& a_oCall) const;
    Message linkStatus(DBusMessage& a_oCall) const;
    Message dumpCache(DBusMessage& a_oCall) const;

    Bus& m_oBus;
    const Options m_oOptions;
    std::map<std::string, bool> m_mLinks;
    std::map<std::string, std::string> m_mCache;
};

} // namespace zel::netsim
