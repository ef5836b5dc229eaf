// The table "StatusNetIfIPv6Addresses": every IPv6 address of every network device.
//
// Owned by the status host. Main thread only. All addresses are read at each update.
#pragma once

#include "status/singletable.h"
#include "systema/configpublisher.h"
#include "zel/ipaddresses.h"

#include <string>

namespace zel {

struct IPv6AddressRow
{
    unsigned m_iId; // position, counted from 1
    net::IPv6Address m_oAddress;
};

class IPv6Addresses : public SingleTable<IPv6AddressRow>, public systema::IConfigSubscriber
{
public:
    IPv6Addresses();

    void init() override {}
    /// "Id" and "Name" are keys. 0; 9 for another key column, an "Id" that is no number and a "Name" that no
    /// row has; 10 for the number of no row.
    systema::EResultCode getRowByKey(const std::string& a_sTable, systema::ValueList& a_lRow,
                                     const std::string& a_sKeyColumn, const std::string& a_sKeyValue,
                                     const systema::NameList& a_lColumns) override;
    void update(systema::NameList& a_lChangedTables) override;

    /// No change of a stored table concerns it so far; it is subscribed to none.
    void notify(const systema::NameList&) override {}

private:
    net::IPAddresses m_oAddresses; // those of the rows
};

} // namespace zel
