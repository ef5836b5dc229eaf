// The tables "DhcpLeases", the leases of the DHCP server, and "DhcpServerClients", every client that it has
// acknowledged until its lease is deleted.
//
// Owned by the status host, which registers it with the wrapper of dnsmasq. Main thread only. Both tables
// are filled by signals alone: they start empty, and nothing is kept across restarts.
#pragma once

#include "configmanager/ilogger.h"
#include "dbus/idbusdnsmasq.h"
#include "status/istatusinfosubplugin.h"
#include "systema/configpluginbase.h"

#include <cstddef>
#include <cstdint>
#include <string>
#include <vector>

namespace zel {

class DhcpLeases : public IStatusInfoSubPlugin, public IDBusDnsMasq
{
public:
    struct Lease
    {
        std::int32_t m_iId = 0; // see rows.h; 0 for a new row
        std::int32_t m_iInstance = 0;
        std::uint32_t m_iExpires;
        std::string m_sMacAddress;
        std::string m_sIpAddress;
        std::string m_sHostName;
        std::string m_sVendor;
        std::int32_t m_iAcked = 0; // last acknowledgement in seconds since the epoch, 0 without one

        Lease(std::string a_sMacAddress, std::string a_sIpAddress, std::string a_sHostName,
              std::string a_sVendor, std::uint32_t a_iExpires);
        /// Equal in all that the server tells; Id and Instance do not count.
        bool operator==(const Lease& a_oOther) const;
        /// The same client with the same address.
        bool isSame(const Lease& a_oOther) const;
    };

    /// Signals may tell of any lease: neither table gets longer than this, nor a lease with texts that are
    /// longer together.
    static constexpr std::size_t c_iMostLeases = 4096;
    static constexpr std::size_t c_iLongestTexts = 2048;

    /// Registers its log module with the logger, unless that is null. The dispatcher and the limit of leases
    /// are what the host has to hand over; no rule reads either.
    DhcpLeases(systema::ConfigPluginBase& a_oDispatcher, configmanager::serverlib::ILogger* a_pLogger,
               unsigned a_iLimit);

    void init() override {}
    bool hasTable(const std::string& a_sTable) const override;
    /// "DhcpServerClients" is not announced.
    bool announces(const std::string& a_sTable) const override;
    bool hasHiddenColumn(const std::string& a_sColumn) const override;
    void getTableNames(systema::NameList& a_lTables) const override;
    /// The same columns for any table; replaces what is in the list. 0.
    systema::EResultCode getSchema(systema::ColumnList& a_lColumns, const std::string& a_sTable) override;
    /// Counts the clients for any other name than "DhcpLeases"; so do the two reads. 0.
    systema::EResultCode getRowCount(const std::string& a_sTable, unsigned int& a_iCount) override;
    systema::EResultCode getRow(const std::string& a_sTable, systema::ValueList& a_lRow,
                                unsigned int a_iPosition, const systema::NameList& a_lColumns) override;
    /// 0; 9 for an unknown column; 10 for an unknown key column too.
    systema::EResultCode getRowByKey(const std::string& a_sTable, systema::ValueList& a_lRow,
                                     const std::string& a_sKeyColumn, const std::string& a_sKeyValue,
                                     const systema::NameList& a_lColumns) override;
    void update(systema::NameList& a_lChangedTables) override;

    void DhcpLeaseAdded(const std::string& a_sIpAddress, const std::string& a_sMacAddress,
                        const std::string& a_sHostName, const std::string& a_sVendor,
                        std::uint32_t a_iExpires) override;
    void DhcpLeaseDeleted(const std::string& a_sIpAddress, const std::string& a_sMacAddress,
                          const std::string& a_sHostName, const std::string& a_sVendor,
                          std::uint32_t a_iExpires) override;
    void DhcpLeaseUpdated(const std::string& a_sIpAddress, const std::string& a_sMacAddress,
                          const std::string& a_sHostName, const std::string& a_sVendor,
                          std::uint32_t a_iExpires) override;
    void DhcpLeaseAcked(const std::string& a_sIpAddress, const std::string& a_sMacAddress,
                        const std::string& a_sHostName, const std::string& a_sVendor,
                        std::uint32_t a_iExpires) override;

private:
    using Leases = std::vector<Lease>;

    Leases& rowsOf(const std::string& a_sTable);
    bool store(Leases& a_lLeases, const Lease& a_oLease);

    const int m_iModule;
    const int m_iDhcpModule;
    Leases m_lLeases;
    Leases m_lClients;
    bool m_bChanged = false;
    bool m_bRefusalLogged = false;
};

} // namespace zel
