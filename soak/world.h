// What all threads of a run share. Owned by main, which outlives them.
#pragma once

#include "client/connection.h"
#include "soak/journal.h"
#include "soak/stop.h"
#include "soak/tally.h"

#include <string>

namespace soak {

using systema::client::Connection;
namespace request = systema::client::request;

/// Longer than any stall may be: an answer that takes more is a lost connection.
constexpr std::chrono::seconds c_oAnswerTimeout{60};

struct World
{
    std::string m_sSocket;
    Stop m_oStop{};
    Journal m_oJournal{};
    Tally m_oTally{};
};

} // namespace soak
