// The result of calling a method of a service. A plain value.
#pragma once

#include <string>

namespace zel {

struct CallResult
{
    enum class EState
    {
        Done,
        Refused,    // answered with an error, or the arguments cannot be sent
        TimedOut,   // the service did not answer in time
        Unreachable // there is no bus, or no process owns the service's name
    };

    EState m_eState = EState::Done;
    /// False when nothing was sent: there is no bus, this tick has waited for it long enough, or the service
    /// is in its pause and the state is that of the last call.
    bool m_bAsked = true;
    std::string m_sError{}; // empty when it is done

    bool isDone() const { return m_eState == EState::Done; }
    /// True when calling again makes no difference.
    bool isAnswered() const { return isDone() || m_eState == EState::Refused; }
};

} // namespace zel
