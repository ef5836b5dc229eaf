// How much the daemon has taken, second by second, and whether that grew. Used by one thread.
#pragma once

#include "soak/daemon.h"

#include <iosfwd>
#include <vector>

namespace soak {

class Memory
{
public:
    /// Takes a sample; once a second.
    void sample(const Daemon& a_oDaemon) { m_lSamples.push_back(a_oDaemon.usage()); }

    /// The end is at most 3 % and 256 KiB above the middle of the run. Of each the least within a tenth of
    /// the run counts: answers that are on their way take memory for a moment, and a leak is never given
    /// back.
    bool isFlat() const;
    void print(std::ostream& a_oTo) const;

private:
    /// The least of each figure within the tenth of the run that begins after this part of it; there must be
    /// a sample.
    Usage least(double a_fFrom) const;

    std::vector<Usage> m_lSamples;
};

} // namespace soak
