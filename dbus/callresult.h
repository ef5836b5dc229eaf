// What became of a call of a service's method. A plain value.
#pragma once

#include <string>

namespace zel {

struct CallResult
{
    enum class EState
    {
        Done,
        Refused,    // answered with an error, or nothing that the bus takes
        Late,       // the service does not answer in time
        Unreachable // there is no bus, or nobody has the service's name
    };

    EState m_eState = EState::Done;
    /// False when nothing was sent this time: there is no bus, the tick has waited for it long enough, or the
    /// state is that of the last call, which was not answered either.
    bool m_bAsked = true;
    std::string m_sError{}; // empty when it is done

    bool isDone() const { return m_eState == EState::Done; }
    /// True when asking again makes no difference.
    bool isAnswered() const { return isDone() || m_eState == EState::Refused; }
};

} // namespace zel
