// The platform behind the table "PppStatus": the names come from "StatusNetifWatch", the rest from the
// device's library.
//
// Owned by the status host. Main thread only. A device that cannot be read is left out.
#pragma once

#include "status/ippphelper.h"
#include "systema/configpluginbase.h"

#include <cstddef>

namespace zel {

class DefaultPppHelper : public IPppHelper
{
public:
    /// More interfaces are left out: each is asked about for each row that is read.
    static constexpr std::size_t c_iMostInterfaces = 64;

    /// The dispatcher must outlive it.
    explicit DefaultPppHelper(systema::ConfigPluginBase& a_oConfig) : m_oConfig(a_oConfig) {}

    /// Reads the table. None when it cannot be counted.
    std::vector<std::string> getPppInterfaces() override;
    int getPppStatus(const std::string& a_sInterface) override;
    std::string getPppStatusString() override;
    std::string getPostAuthMessage(const std::string& a_sInterface) override;

private:
    systema::ConfigPluginBase& m_oConfig;
    int m_iStatus = 0;
};

} // namespace zel
