#include "cli/control.h"

#include "cli/commands.h"
#include "zel/fifo.h"

#include <cerrno>
#include <climits>
#include <csignal>
#include <fcntl.h>
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

} // namespace

Outcome sendControl(const std::string& a_sFifo, const std::string& a_sText)
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
    return iWritten < 0 ? Outcome(failure(a_sFifo, errno)) : Outcome();
}

Outcome runControl(Session&, const Arguments& a_oArguments)
{
    return sendControl(a_oArguments.m_sFifo, a_oArguments.m_sControl);
}

} // namespace systema::cli
