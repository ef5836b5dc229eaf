// The table "FirewallStatistic": packets that the input chain of each zone in "FirewallZones" accepted and
// dropped, as the tool "iptables" lists them.
//
// Owned by the status host. Main thread only. Each count and each read runs the tool once a zone. A tool that
// hangs is killed and left alone for a while, in which counts and reads give 1. So they do while the zones
// cannot be read.
#pragma once

#include "status/singletable.h"
#include "systema/configpluginbase.h"

#include <chrono>
#include <cstddef>
#include <cstdint>
#include <functional>
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
    using Clock = std::chrono::steady_clock;

    /// Zones that are read at most, and bytes that the name of one may have.
    static constexpr unsigned c_iMostZones = 64;
    static constexpr std::size_t c_iLongestName = 64;
    /// A tool that hangs is killed after so long. One that has not listed all zones after c_oAllCeiling
    /// hangs, too; it is not run once more then. So the main loop waits for the sum of the two at most.
    static constexpr std::chrono::milliseconds c_oToolCeiling = std::chrono::seconds(2);
    static constexpr std::chrono::seconds c_oAllCeiling{1};
    /// The tool is not run for so long after it hung, so that clients are served in between.
    static constexpr std::chrono::seconds c_oHangWait{30};

    /// The dispatcher must outlive it. The clock is a test's, if any.
    explicit Firewall(systema::ConfigPluginBase& a_oDispatcher,
                      std::function<Clock::time_point()> a_oNow = &Clock::now);

    /// Reads once.
    void init() override;
    /// Replaces what is in the list. 0.
    systema::EResultCode getSchema(systema::ColumnList& a_columns, const std::string& a_table) override;
    void update(systema::NameList&) override {}

private:
    /// 0, for unknown columns too, which are left out.
    systema::EResultCode fill(systema::ValueList& a_row, ChainCount& a_oRow,
                              const systema::NameList& a_columns) override;
    /// False, without rows, when the zones cannot be read or the tool hangs, and for a while after it did.
    bool refresh() override;
    std::optional<std::vector<std::string>> readZones();
    int readChain(const std::string& a_sChain);

    systema::ConfigPluginBase& m_oDispatcher;
    const std::function<Clock::time_point()> m_oNow;
    const int m_iModule;
    Clock::time_point m_oNextTry;
    std::set<std::string> m_lRefused; // names of the last read that are not plain, logged already
    bool m_bMissing = false;          // the tool, when it was last to run
};

} // namespace zel
