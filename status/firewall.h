// The table "FirewallStatistic": packets that the input chain of each zone in "FirewallZones" accepted and
// dropped, as the tool "iptables" lists them.
//
// Owned by the status host. Main thread only. Each request begins a round, which runs the tool once for each
// zone. The tool runs in the background: the request is pending until all zones are listed, and other clients
// are served meanwhile. The next round begins after a pause, which is as long as the last round, but no
// longer than a turn of the tool; all requests that waited for it share its result. A run that does not end
// is killed, and the tool is not run for a while; counts and reads give 1 then. They also give 1 while the
// zones cannot be read.
#pragma once

#include "status/chainlisting.h"
#include "status/singletable.h"
#include "systema/configpluginbase.h"
#include "zel/lines.h"
#include "zel/tool.h"

#include <chrono>
#include <cstddef>
#include <cstdint>
#include <optional>
#include <set>
#include <string>
#include <vector>

namespace zel {

struct ChainCount
{
    std::int32_t m_iId; // position, counted from 1
    std::string m_sChain;
    std::uint32_t m_iAccepted;
    std::uint32_t m_iDropped;
};

class Firewall : public SingleTable<ChainCount>
{
public:
    /// Zones that are read at most, and bytes that the name of one may have.
    static constexpr unsigned c_iMostZones = 64;
    static constexpr std::size_t c_iLongestName = 64;

    /// A round that took c_oSlow or longer is served for c_oFresh before the next one begins.
    static constexpr std::chrono::milliseconds c_oSlow{200};
    static constexpr std::chrono::seconds c_oFresh{1};

    /// The dispatcher must outlive it.
    explicit Firewall(systema::ConfigPluginBase& a_oDispatcher, Tool a_oTool = Tool());

    /// Runs one round, for one turn of the tool at most.
    void init() override;
    /// Replaces what is in the list. 0.
    systema::EResultCode getSchema(systema::ColumnList& a_lColumns, const std::string& a_sTable) override;
    /// Stops a round for which no request has come since the last update.
    void update(systema::NameList&) override;
    bool announces(const std::string&) const override { return false; }

    bool skipsUnknownColumns() const override { return true; }

private:
    /// What the tool has printed about a chain so far.
    struct Listing
    {
        explicit Listing(const std::string& a_sChain);

        ChainListing m_oChain;
        LineCutter m_oLines;
    };

    /// 0, for unknown columns too, which are left out.
    systema::EResultCode fill(systema::ValueList& a_lRow, ChainCount& a_oRow,
                              const systema::NameList& a_lColumns) override;
    /// 0 when all zones are listed, Pending until then, 1 when they cannot be.
    systema::EResultCode prepare() override;
    bool beginRound();
    void endRound();
    systema::EResultCode listChains();
    systema::EResultCode failRound(int a_iResult);
    std::optional<std::vector<std::string>> readZones();

    systema::ConfigPluginBase& m_oDispatcher;
    Tool m_oTool;
    const int m_iModule;
    std::vector<std::string> m_lZones; // still to be listed in this round, the current one last
    std::optional<Listing> m_oListing; // of the current zone
    bool m_bInRound = false;
    bool m_bUsed = false;    // a request came since the last update
    bool m_bAwaited = false; // a request waits for the next round
    Tool::Clock::time_point m_oRoundBegin;
    Tool::Clock::time_point m_oNextRound;  // not before
    Tool::Clock::time_point m_oFreshUntil; // after a slow round, or one that was awaited
    std::set<std::string> m_lRefused;      // names of the last read that are not plain, logged already
    int m_iLoggedFailure = 0;              // the tool's last result if that was a failure, logged already
};

} // namespace zel
