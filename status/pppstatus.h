// The table "PppStatus": the PPP links with their states, their credentials and what their servers said.
//
// Owned by the status host. Main thread only. The interfaces are those of the start; their sources are read
// again for every request, but once only while a transaction is open. What cannot be read is an empty text.
#pragma once

#include "status/frozentable.h"
#include "status/ippphelper.h"
#include "status/postauthmessage.h"
#include "status/readinterval.h"
#include "systema/configpublisher.h"

#include <cstdint>
#include <string>
#include <vector>

namespace zel {

struct StatusEntry
{
    std::int32_t m_iId = 0; // see rows.h; 0 for a new row
    std::string m_sInterface;
    std::int32_t m_iStatus = 0;
    std::string m_sStatusDesc;
    std::string m_sUser{};
    std::string m_sPassword{};
    std::string m_sPostAuthMessage{};
    PostAuthRates m_oPostAuthRates{};

    /// Equal in interface and state; the rest does not count.
    bool operator==(const StatusEntry& a_oOther) const;
    /// Keeps the message and takes the rates from it.
    void setPppBandwidth(std::string a_sMessage);
};

class PppStatus : public FrozenTable<StatusEntry>
{
public:
    using StatusEntry = zel::StatusEntry;

    /// Seconds after a check in which update does not look for changes.
    static constexpr std::time_t c_iCheckSeconds = 1;

    /// The peer files are those "/pppoe<unit>" of the directory. Helper and publisher must outlive it.
    PppStatus(IPppHelper& a_oHelper, std::string a_sPeersDirectory,
              const systema::IConfigPublisher& a_oPublisher, BootClock a_oNow);

    void init() override;
    /// Looks for changes while the table has a subscriber. A change that a read has already seen is
    /// announced, too.
    void update(systema::NameList& a_lChangedTables) override;

private:
    bool refresh() override;
    void getPppCredentials(StatusEntry& a_oEntry) const;

    IPppHelper& m_oHelper;
    const std::string m_sPeersDirectory;
    const systema::IConfigPublisher& m_oPublisher;
    const int m_iModule;
    ReadInterval m_oCheck;
    bool m_bChanged = false; // a link is new or has another state, since the last check
    std::vector<std::string> m_lInterfaces;
};

} // namespace zel
