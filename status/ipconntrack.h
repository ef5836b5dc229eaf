// The table "IpConntrack": the TCP and UDP connections that clients in the LAN have opened, as the kernel's
// connection tracker lists them.
//
// Owned by the status host. Main thread only. The list is read when the table is, at most once in six
// seconds. The addressing of the LAN is only asked for when "StatusNetifWatch" tells of a change; until then,
// and when it cannot be had, what was known last holds.
#pragma once

#include "status/connection.h"
#include "status/readinterval.h"
#include "status/singletable.h"
#include "systema/configpluginbase.h"
#include "systema/configpublisher.h"
#include "zel/memory.h"

#include <cstddef>
#include <cstdint>
#include <ctime>
#include <string>

namespace zel {

class IpConntrack : public SingleTable<Connection>, public systema::IConfigSubscriber, public Cache
{
public:
    using Connection = zel::Connection;

    static constexpr const char* c_pPath = "/proc/net/nf_conntrack";
    static constexpr std::time_t c_iReadSeconds = 5;
    /// A longer line is read as several.
    static constexpr std::size_t c_iLineBufferSize = 512;
    /// Of a longer list the rest is left out.
    static constexpr std::int32_t c_iMostLines = 262144;
    static constexpr std::size_t c_iMostBytes = 64U << 20U;

    /// The configuration and the publisher must outlive it.
    IpConntrack(systema::ConfigPluginBase& a_oConfig, systema::IConfigPublisher& a_oPublisher,
                WallClock a_oNow, std::string a_sPath = c_pPath);
    ~IpConntrack() override;

    /// Subscribes to "StatusNetifWatch", once.
    void init() override;

    /// Every column is a key, "Id" that of the position. 0; 1; 9 for an unknown column, key or not; 10.
    systema::EResultCode getRowByKey(const std::string& a_table, systema::ValueList& a_row,
                                     const std::string& a_keyColumn, const std::string& a_keyValue,
                                     const systema::NameList& a_columns) override;
    /// Connections come and go all the time: no change is announced.
    void update(systema::NameList&) override {}

    void notify(const systema::NameList& a_changedTables) override;
    /// The list is read anew when the table is.
    void dropCache() override;

private:
    /// False, which is logged, when the list cannot be read.
    bool refresh() override;
    void getInterfaces();
    bool readRow(systema::ValueList& a_lRow, const char* a_pTable, const std::string& a_sName,
                 const systema::NameList& a_lColumns);

    systema::ConfigPluginBase& m_oConfig;
    systema::IConfigPublisher& m_oPublisher;
    const std::string m_sPath;
    const int m_iModule;
    std::string m_sLanAddress;
    std::string m_sBroadcastAddress;
    std::string m_sNetmask;
    bool m_bSubscribed = false;
    ReadInterval m_oInterval;
};

} // namespace zel
