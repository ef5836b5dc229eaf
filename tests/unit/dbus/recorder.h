// A receiver of the signals of every service, which writes each down: "name: StatusChange eth0 1".
#pragma once

#include "dbus/dnsmasqdbusproxy.h"
#include "dbus/domainnameserverdbusproxy.h"
#include "dbus/interfacestatusdbusproxy.h"
#include "dbus/ipv4dbusproxy.h"
#include "dbus/ipv4routedbusproxy.h"
#include "dbus/ipv6dbusproxy.h"
#include "dbus/ipv6routedbusproxy.h"

#include <sstream>
#include <string>
#include <vector>

class Recorder : public zel::IDBusDnsMasq,
                 public zel::IDBusDomainNameServer,
                 public zel::IDBusInterfaceStatus,
                 public zel::IDBusIPv4Address,
                 public zel::IDBusIPv4Route,
                 public zel::IDBusIPv6Address,
                 public zel::IDBusIPv6Route
{
public:
    using Text = const std::string&;
    using Texts = const std::vector<std::string>&;

    Recorder(std::string a_sName, std::vector<std::string>& a_lSignals)
        : m_sName(std::move(a_sName)),
          m_lSignals(a_lSignals)
    {
    }

    void StatusChange(Text a_s, bool a_b) override { record("StatusChange", a_s, a_b); }
    void LinkStatusChange(Text a_s, bool a_b) override { record("LinkStatusChange", a_s, a_b); }
    void NewIPv4Address(Text a_s1, Text a_s2) override { record("NewIPv4Address", a_s1, a_s2); }
    void RemovedIPv4Address(Text a_s1, Text a_s2) override { record("RemovedIPv4Address", a_s1, a_s2); }
    void NewIPv6Address(Text a_s1, Text a_s2, std::uint8_t a_i) override
    {
        record("NewIPv6Address", a_s1, a_s2, a_i);
    }
    void RemovedIPv6Address(Text a_s1, Text a_s2, std::uint8_t a_i) override
    {
        record("RemovedIPv6Address", a_s1, a_s2, a_i);
    }
    void UpdateServer(Text a_s1, Text a_s2, Texts a_l) override { record("UpdateServer", a_s1, a_s2, a_l); }
    void RemoveServer(Text a_s1, Text a_s2, Texts a_l) override { record("RemoveServer", a_s1, a_s2, a_l); }
    void NewIPv4Route(Text a_s1, std::uint8_t a_i2, Text a_s3, Text a_s4, Text a_s5,
                      std::uint32_t a_i6) override
    {
        record("NewIPv4Route", a_s1, a_i2, a_s3, a_s4, a_s5, a_i6);
    }
    void RemovedIPv4Route(Text a_s1, std::uint8_t a_i2, Text a_s3, Text a_s4, Text a_s5,
                          std::uint32_t a_i6) override
    {
        record("RemovedIPv4Route", a_s1, a_i2, a_s3, a_s4, a_s5, a_i6);
    }
    void NewIPv6Route(Text a_s1, std::uint8_t a_i2, Text a_s3, Text a_s4) override
    {
        record("NewIPv6Route", a_s1, a_i2, a_s3, a_s4);
    }
    void RemovedIPv6Route(Text a_s1, std::uint8_t a_i2, Text a_s3, Text a_s4) override
    {
        record("RemovedIPv6Route", a_s1, a_i2, a_s3, a_s4);
    }
    void DhcpLeaseAdded(Text a_s1, Text a_s2, Text a_s3, Text a_s4, std::uint32_t a_i5) override
    {
        record("DhcpLeaseAdded", a_s1, a_s2, a_s3, a_s4, a_i5);
    }
    void DhcpLeaseDeleted(Text a_s1, Text a_s2, Text a_s3, Text a_s4, std::uint32_t a_i5) override
    {
        record("DhcpLeaseDeleted", a_s1, a_s2, a_s3, a_s4, a_i5);
    }
    void DhcpLeaseUpdated(Text a_s1, Text a_s2, Text a_s3, Text a_s4, std::uint32_t a_i5) override
    {
        record("DhcpLeaseUpdated", a_s1, a_s2, a_s3, a_s4, a_i5);
    }
    void DhcpLeaseAcked(Text a_s1, Text a_s2, Text a_s3, Text a_s4, std::uint32_t a_i5) override
    {
        record("DhcpLeaseAcked", a_s1, a_s2, a_s3, a_s4, a_i5);
    }

private:
    template<class... Arguments>
    void record(const char* a_pMember, const Arguments&... a_oArguments)
    {
        std::ostringstream oText;
        oText << m_sName << ": " << a_pMember;
        (print(oText, a_oArguments), ...);
        m_lSignals.push_back(oText.str());
    }
    static void print(std::ostream& a_oStream, Text a_sText) { a_oStream << ' ' << a_sText; }
    static void print(std::ostream& a_oStream, std::uint32_t a_iNumber) { a_oStream << ' ' << a_iNumber; }
    static void print(std::ostream& a_oStream, Texts a_lTexts)
    {
        for (const auto& sText : a_lTexts) {
            print(a_oStream, sText);
        }
    }

    const std::string m_sName;
    std::vector<std::string>& m_lSignals;
};
