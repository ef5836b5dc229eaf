// How a command ended: the exit status of ledgerctl and, after a failure, the text for standard error.
#pragma once

#include "client/result.h"

#include <chrono>
#include <string>
#include <string_view>
#include <utility>

namespace systema::cli {

constexpr int c_iExitUsage = 64;
constexpr int c_iExitUnreachable = 69;

/// A begin that was refused because of another client's transaction, with what may help; any other status as
/// it is.
inline client::Status explainBusy(client::Status a_oStatus, std::chrono::milliseconds a_oWait,
                                  const std::string& a_sOption)
{
    if (a_oStatus.code() != EResultCode::Busy) {
        return a_oStatus;
    }
    return client::Status::refused(EResultCode::Busy,
                                   "busy: another client's transaction has not ended" +
                                       (a_oWait.count() > 0 ? " within " + client::timeText(a_oWait) : "") +
                                       "; " + a_sOption + " waits longer");
}

struct [[nodiscard]] Outcome
{
    /// Success.
    Outcome() = default;
    /// What a request came to: the result code itself, or 69 without a daemon. The context stands in front of
    /// the text, "line 3: " for instance.
    Outcome(const client::Status& a_oStatus, std::string_view a_sContext = {})
        : m_iExit(exitStatus(a_oStatus)),
          m_sText(a_sContext)
    {
        m_sText += a_oStatus.text();
        if (m_iExit == static_cast<int>(EResultCode::Locked)) {
            m_sText += "; ledgerctl ctl unlock ends that";
        }
    }

    /// Wrong usage, a malformed file included.
    static Outcome usage(std::string a_sText)
    {
        Outcome oOutcome;
        oOutcome.m_iExit = c_iExitUsage;
        oOutcome.m_sText = std::move(a_sText);
        return oOutcome;
    }

    bool ok() const { return m_iExit == 0; }

    int m_iExit = 0;
    std::string m_sText;

private:
    static int exitStatus(const client::Status& a_oStatus)
    {
        if (a_oStatus.isConnectionError()) {
            return c_iExitUnreachable;
        }
        return a_oStatus.code() <= EResultCode::NoRow ? static_cast<int>(a_oStatus.code())
                                                      : static_cast<int>(EResultCode::Failure);
    }
};

} // namespace systema::cli
