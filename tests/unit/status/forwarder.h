// Stands in for dnsmasq on a bus of the test's own, with a directory for the cache files below a root of its
// own.
#pragma once

#include "dbus/dnsmasqdbusproxy.h"
#include "dbus/systembus.h"
#include "tests/privatebus.h"
#include "tests/unit/dbus/service.h"
#include "tests/unit/device/systemroot.h"

#include <cstdlib>
#include <filesystem>
#include <functional>
#include <optional>
#include <thread>

class Forwarder
{
public:
    Forwarder()
    {
        std::filesystem::create_directory(path(""));
        if (!m_oService->own("uk.org.thekelleys.dnsmasq")) {
            std::abort();
        }
    }
    Forwarder(const Forwarder&) = delete;
    Forwarder& operator=(const Forwarder&) = delete;

    std::string path(const std::string& a_sName) const { return m_oRoot.path("/tmp/" + a_sName); }
    /// Calls the function, which must ask for the cache just once.
    void answer(const std::function<void()>& a_oFunction)
    {
        std::thread oService([this] { m_oService->answer(); });
        a_oFunction();
        oService.join();
    }
    /// Nobody answers from now on.
    void leave() { m_oService.reset(); }

private:
    const SystemRoot m_oRoot;
    tests::ProcessBus m_oDaemon;
    zel::SystemBus m_oBus;
    std::optional<Service> m_oService{m_oDaemon->address()};

public:
    zel::DnsMasqDBusProxy m_oDnsMasq{m_oBus};
};
