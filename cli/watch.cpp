#include "cli/commands.h"
#include "cli/namecheck.h"
#include "cli/readerwatch.h"
#include "cli/rowdiff.h"
#include "cli/utf8.h"
#include "options/nearest.h"
#include "zel/uniquefd.h"

#include <algorithm>
#include <csignal>
#include <fcntl.h>
#include <map>
#include <optional>
#include <poll.h>
#include <set>
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

constexpr int c_iRetryMs = 500; // between attempts to connect, and to read what was changed meanwhile

/// Tells the changes of tables.
class Watch
{
public:
    Watch(Session& a_oSession, const Arguments& a_oArguments)
        : m_oSession(a_oSession),
          m_oConnection(a_oSession.m_oConnection),
          m_oArguments(a_oArguments)
    {
    }

    /// Until a signal comes, the output fails, or the connection, where that is not made again.
    client::Status run()
    {
        client::Status oStatus = start();
        for (bool bStopped = m_bStopped; oStatus.ok() && !bStopped && m_oSession.m_oPrinter.stream();) {
            const auto oChange = m_oConnection.waitForChange({});
            const bool bAgain = !m_lUnread.empty();
            oStatus = oChange;
            if (oChange->has_value()) {
                oStatus = tell(**oChange, true);
            } else if (oStatus.ok() && !m_lUnread.empty()) {
                oStatus = tell(std::string(*m_lUnread.begin()), false);
            }
            // An answer since may have brought changes with it, for which the socket does not wake anybody.
            int iWait = oChange->has_value() ? 0 : m_lUnread.empty() && !bAgain ? -1 : c_iRetryMs;
            if (oStatus.isConnectionError() && m_oArguments.m_bReconnect) {
                oStatus = reconnect(oStatus);
                iWait = 0;
            }
            bStopped = m_bStopped || (oStatus.ok() && m_oStop.came(m_oConnection.descriptor(), iWait));
        }
        return oStatus;
    }

private:
    struct Table
    {
        RowIdentity m_oIdentity;
        std::optional<client::Rows> m_oRows; // as they were read last
    };

    client::Status start()
    {
        const NameList lTables(m_oArguments.m_lNames);
        client::Status oStatus;
        if (!m_oConnection.isConnected()) {
            oStatus = m_oConnection.connect();
            oStatus = oStatus.isConnectionError() ? reconnect(oStatus) : oStatus;
        }
        if (oStatus.ok() && !m_bStopped) {
            oStatus = NameCheck(m_oConnection).explain(m_oConnection.subscribe(lTables), lTables);
        }
        if (!oStatus.ok() || m_bStopped) {
            return oStatus;
        }
        if (m_oArguments.m_bInitial) {
            m_oSession.m_oPrinter.printChangeHead(m_oArguments.m_bRows);
        }
        for (auto it = lTables.begin(); it != lTables.end() && oStatus.ok(); ++it) {
            const auto oDescription = m_oConnection.call(request::Describe{*it});
            if (isUnannounced(*oDescription)) {
                m_oSession.m_oErrors << "ledgerctl: changes of " << printable(*it)
                                     << " are never announced; read it again instead" << std::endl;
            }
            if (m_oArguments.m_bRows) {
                m_mTables[*it].m_oIdentity = {oDescription.ok() && oDescription->m_eKind == ETableKind::Live,
                                              m_oArguments.m_lColumns};
            }
            if (m_oArguments.m_bRows || m_oArguments.m_bInitial) {
                oStatus = tell(*it, m_oArguments.m_bInitial);
            }
        }
        oStatus = oStatus.ok() ? checkColumns() : oStatus;
        if (oStatus.ok() && !m_oArguments.m_bInitial) {
            m_oSession.m_oPrinter.printChangeHead(m_oArguments.m_bRows);
        }
        return oStatus;
    }

    /// 9: none of the tables has a column whose changes are wanted.
    client::Status checkColumns() const
    {
        std::vector<std::string> lColumns;
        for (const auto& [sTable, oTable] : m_mTables) {
            if (!oTable.m_oRows) {
                return {}; // cannot be told
            }
            lColumns.insert(lColumns.end(), oTable.m_oRows->columns().begin(),
                            oTable.m_oRows->columns().end());
        }
        for (const std::string& sWanted : m_oArguments.m_lColumns) {
            if (std::ranges::none_of(
                    lColumns, [&](const auto& a_sName) { return sameIgnoringCase(a_sName, sWanted); })) {
                return client::Status::refused(EResultCode::NoKey,
                                               unknownName("column", sWanted, {}, lColumns));
            }
        }
        return {};
    }

    /// Shows a table, with the rows that differ since it was read last; nothing when none does. A table that
    /// is changed faster than it can be read (2) is read again later.
    client::Status tell(const std::string& a_sTable, bool a_bAnnounced)
    {
        if (!m_oArguments.m_bRows) {
            m_oSession.m_oPrinter.printChange(a_sTable);
            return {};
        }
        Table& oTable = m_mTables[a_sTable];
        auto oRows = m_oConnection.call(request::SelectRows{a_sTable});
        if (!oRows.ok()) {
            const bool bLater = oRows.code() == EResultCode::Busy;
            if (bLater) {
                m_lUnread.insert(a_sTable);
            }
            return bLater ? client::Status() : client::Status(oRows);
        }
        const bool bFirst = !oTable.m_oRows;
        if (bFirst && m_oArguments.m_bInitial) {
            oTable.m_oRows.emplace(oRows->columns());
        }
        const RowDiff oDiff =
            oTable.m_oRows ? diffRows(*oTable.m_oRows, *oRows, oTable.m_oIdentity) : RowDiff{};
        if (!oDiff.empty() || (bFirst && a_bAnnounced)) {
            m_oSession.m_oPrinter.printChange(a_sTable, &oDiff);
        }
        oTable.m_oRows = std::move(*oRows);
        m_lUnread.erase(a_sTable);
        return {};
    }

    /// Retries the connection until it succeeds or a signal arrives. The daemon then announces each table at
    /// once.
    client::Status reconnect(client::Status a_oStatus)
    {
        m_oSession.m_oErrors << "ledgerctl: " << printable(a_oStatus.text()) << "; waiting for the daemon"
                             << std::endl;
        while (a_oStatus.isConnectionError() || a_oStatus.code() == EResultCode::Busy) {
            if (m_oStop.came(-1, c_iRetryMs)) {
                m_bStopped = true;
                return {};
            }
            a_oStatus = m_oConnection.connect();
        }
        return a_oStatus;
    }

    Session& m_oSession;
    client::Connection& m_oConnection;
    const Arguments& m_oArguments;
    const StopSignals m_oStop;
    const ReaderWatch m_oReader{m_oSession.m_iOutput}; // after the signals are blocked, or it would get them
    std::map<std::string, Table> m_mTables;            // where rows are wanted
    std::set<std::string> m_lUnread;                   // tables that could not be read
    bool m_bStopped = false;                           // by a signal while there was no connection
};

} // namespace

Outcome runWatch(Session& a_oSession, const Arguments& a_oArguments)
{
    // Standard output that was closed is one that can only be read: the first change would show it, if ever.
    if (a_oSession.m_iOutput >= 0 && (::fcntl(a_oSession.m_iOutput, F_GETFL) & O_ACCMODE) == O_RDONLY) {
        return client::Status::refused(EResultCode::Failure, "cannot write the output");
    }
    return Watch(a_oSession, a_oArguments).run();
}

} // namespace systema::cli
