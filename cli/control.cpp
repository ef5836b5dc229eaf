#include "cli/control.h"

#include "cli/commands.h"
#include "zel/fifo.h"

#include <cerrno>
#include <climits>
#include <csignal>
#include <fcntl.h>
#include <poll.h>
#include <sys/ioctl.h>
#include <system_error>

namespace systema::cli {

namespace {

static_assert(zel::sys::c_iFifoCommandSize <= PIPE_BUF, "a command is written as a whole or not at all");

/// Meanwhile a write that nobody will read fails, and does not end the program.
class IgnoredPipeSignal
{
public:
    IgnoredPipeSignal() : m_pBefore(std::signal(SIGPIPE, SIG_IGN)) {}
    ~IgnoredPipeSignal() { std::signal(SIGPIPE, m_pBefore); }
    IgnoredPipeSignal(const IgnoredPipeSignal&) = delete;
    IgnoredPipeSignal& operator=(const IgnoredPipeSignal&) = delete;

private:
    void (*const m_pBefore)(int);
};

client::Status failure(const std::string& a_sFifo, int a_iError)
{
    switch (a_iError) {
    case ENOENT: // a daemon that ends removes it
    case ENXIO:
    case EPIPE:
        return client::Status::disconnected("no daemon listens on " + a_sFifo);
    case EEXIST:
        return client::Status::disconnected(a_sFifo + " is not a FIFO");
    case EAGAIN:
        return client::Status::disconnected("the daemon that listens on " + a_sFifo +
                                            " takes no more commands");
    default:
        return client::Status::disconnected("cannot write to " + a_sFifo + ": " +
                                            std::generic_category().message(a_iError));
    }
}

/// Waits until the FIFO is empty: then the daemon has read what was written last, too.
Outcome waitUntilRead(const std::string& a_sFifo, int a_iFd, std::chrono::milliseconds a_oWait)
{
    constexpr int c_iPauseMs = 2;
    const auto oDeadline = std::chrono::steady_clock::now() + a_oWait;
    for (;;) {
        pollfd oReader{.fd = a_iFd, .events = 0, .revents = 0};
        const bool bGone = ::poll(&oReader, 1, c_iPauseMs) > 0;
        int iUnread = 0;
        if (::ioctl(a_iFd, FIONREAD, &iUnread) != 0) {
            return failure(a_sFifo, errno);
        }
        if (iUnread == 0) {
            return {};
        }
        if (bGone) {
            return failure(a_sFifo, EPIPE);
        }
        if (std::chrono::steady_clock::now() >= oDeadline) {
            return client::Status::disconnected(
                "the daemon that listens on " + a_sFifo + " has not taken the command within " +
                std::to_string(std::chrono::ceil<std::chrono::seconds>(a_oWait).count()) +
                " s; it takes it when it goes on");
        }
    }
}

} // namespace

Outcome sendControl(const std::string& a_sFifo, const std::string& a_sText, std::chrono::milliseconds a_oWait)
{
    const zel::UniqueFd oFifo = zel::sys::openFifo(a_sFifo, O_WRONLY | O_NONBLOCK);
    if (!oFifo) {
        return failure(a_sFifo, errno);
    }
    std::string sPadded(a_sText);
    sPadded.resize(zel::sys::c_iFifoCommandSize,
                   '\n'); // or two that stand in the pipe would be taken for one
    const IgnoredPipeSignal oIgnored;
    const ssize_t iWritten = ::write(oFifo.get(), sPadded.data(), sPadded.size());
    if (iWritten < 0) {
        return failure(a_sFifo, errno);
    }
    return a_oWait.count() > 0 ? waitUntilRead(a_sFifo, oFifo.get(), a_oWait) : Outcome();
}

Outcome runControl(Session&, const Arguments& a_oArguments)
{
    return sendControl(a_oArguments.m_sFifo, a_oArguments.m_sControl,
                       a_oArguments.m_oTimeout.value_or(c_oAnswerTimeout));
}

} // namespace systema::cli
