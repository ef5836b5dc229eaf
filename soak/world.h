// What all threads of a run share. Owned by main, which outlives them.
#pragma once

#include "client/connection.h"
#include "soak/tally.h"

#include <chrono>
#include <condition_variable>
#include <mutex>
#include <stop_token>
#include <string>

namespace soak {

using systema::client::Connection;
namespace request = systema::client::request;
using Clock = std::chrono::steady_clock;

/// Longer than any stall may be: an answer that takes more is a lost connection.
constexpr std::chrono::seconds c_oAnswerTimeout{60};
/// Of a wait that ends with the run.
constexpr std::chrono::milliseconds c_oSlice{250};

struct World
{
    bool isOver() const { return m_oStop.stop_requested(); }
    /// Pauses, until the run is over at most. False when it is.
    bool pause(std::chrono::milliseconds a_oTime)
    {
        std::unique_lock oLock(m_oMutex);
        m_oWake.wait_for(oLock, m_oStop.get_token(), a_oTime, [] { return false; });
        return !isOver();
    }

    std::string m_sSocket;
    std::stop_source m_oStop{};
    Tally m_oTally{};
    std::mutex m_oMutex{}; // for pauses alone
    std::condition_variable_any m_oWake{};
};

} // namespace soak
