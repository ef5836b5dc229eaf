#include "cli/commands.h"
#include "cli/namecheck.h"
#include "cli/readerwatch.h"
#include "cli/rowdiff.h"
#include "zel/uniquefd.h"

#include <csignal>
#include <fcntl.h>
#include <map>
#include <optional>
#include <poll.h>
#include <sys/signalfd.h>

namespace systema::cli {

namespace request = client::request;

namespace {

/// SIGINT and SIGTERM as something to wait for, while the object lives.
class StopSignals
{
public:
    StopSignals()
    {
        sigset_t oSet;
        sigemptyset(&oSet);
        sigaddset(&oSet, SIGINT);
        sigaddset(&oSet, SIGTERM);
        sigprocmask(SIG_BLOCK, &oSet, &m_oBefore);
        m_oDescriptor.reset(signalfd(-1, &oSet, SFD_CLOEXEC));
    }
    ~StopSignals()
    {
        signalfd_siginfo oSignal; // taken, or it would come after all once it is no longer blocked
        pollfd oPoll{m_oDescriptor.get(), POLLIN, 0};
        if (::poll(&oPoll, 1, 0) > 0) {
            static_cast<void>(!::read(m_oDescriptor.get(), &oSignal, sizeof oSignal));
        }
        sigprocmask(SIG_SETMASK, &m_oBefore, nullptr);
    }
    StopSignals(const StopSignals&) = delete;
    StopSignals& operator=(const StopSignals&) = delete;

    /// Whether a signal came; waits for one until the other descriptor can be read or the time is over.
    bool came(int a_iOther, int a_iTimeoutMs) const
    {
        pollfd aPolls[] = {{m_oDescriptor.get(), POLLIN, 0}, {a_iOther, POLLIN, 0}};
        return ::poll(aPolls, 2, a_iTimeoutMs) > 0 && aPolls[0].revents != 0;
    }

private:
    sigset_t m_oBefore;
    zel::UniqueFd m_oDescriptor;
};

/// The rows of the watched tables as they were read last.
class Snapshots
{
public:
    explicit Snapshots(client::Connection& a_oConnection) : m_oConnection(a_oConnection) {}

    /// Reads the table again and hands the difference to the function. A table that is changed faster than it
    /// can be read (2) shows its difference with a later change, an empty one while it was never read.
    template<typename Show>
    client::Status update(const std::string& a_sTable, Show a_oShow)
    {
        auto oRows = m_oConnection.call(request::SelectRows{a_sTable});
        auto& oBefore = m_mRows[a_sTable];
        if (oRows.ok()) {
            a_oShow(oBefore ? diffRows(*oBefore, *oRows) : RowDiff{});
            oBefore = std::move(*oRows);
        } else if (oRows.code() == EResultCode::Busy) {
            a_oShow({});
        } else {
            return oRows;
        }
        return {};
    }

private:
    client::Connection& m_oConnection;
    std::map<std::string, std::optional<client::Rows>> m_mRows;
};

} // namespace

Outcome runWatch(Session& a_oSession, const Arguments& a_oArguments)
{
    // Standard output that was closed is one that can only be read: the first change would show it, if ever.
    if (a_oSession.m_iOutput >= 0 && (::fcntl(a_oSession.m_iOutput, F_GETFL) & O_ACCMODE) == O_RDONLY) {
        return client::Status::refused(EResultCode::Failure, "cannot write the output");
    }
    client::Connection& oConnection = a_oSession.m_oConnection;
    Printer& oPrinter = a_oSession.m_oPrinter;
    const StopSignals oStop;
    const ReaderWatch oReader(a_oSession.m_iOutput); // after the signals are blocked, or it would get them
    const NameList lTables(a_oArguments.m_lNames);
    client::Status oStatus = NameCheck(oConnection).explain(oConnection.subscribe(lTables), lTables);
    Snapshots oSnapshots(oConnection);
    for (auto it = lTables.begin(); a_oArguments.m_bRows && it != lTables.end() && oStatus.ok(); ++it) {
        oStatus = oSnapshots.update(*it, [](const RowDiff&) {});
    }
    if (oStatus.ok()) {
        oPrinter.printChangeHead(a_oArguments.m_bRows);
    }
    for (bool bStopped = false; oStatus.ok() && !bStopped && oPrinter.stream();) {
        const auto oChange = oConnection.waitForChange({});
        oStatus = oChange;
        if (oChange->has_value() && a_oArguments.m_bRows) {
            oStatus = oSnapshots.update(
                **oChange, [&](const RowDiff& a_oDiff) { oPrinter.printChange(**oChange, &a_oDiff); });
        } else if (oChange->has_value()) {
            oPrinter.printChange(**oChange);
        }
        bStopped = oStatus.ok() && oStop.came(oConnection.descriptor(), oChange->has_value() ? 0 : -1);
    }
    return oStatus;
}

} // namespace systema::cli
