#include "cli/readerwatch.h"

#include <csignal>
#include <cstdlib>
#include <poll.h>
#include <sys/eventfd.h>
#include <unistd.h>

namespace systema::cli {

ReaderWatch::ReaderWatch(int a_iOutput, std::chrono::milliseconds a_oAfter)
    : m_oEnd(a_iOutput < 0 ? -1 : ::eventfd(0, EFD_CLOEXEC))
{
    if (m_oEnd) {
        m_oThread = std::thread([=, this] { watch(a_iOutput, a_oAfter); });
    }
}

ReaderWatch::~ReaderWatch()
{
    if (m_oThread.joinable()) {
        ::eventfd_write(m_oEnd.get(), 1);
        m_oThread.join();
    }
}

void ReaderWatch::watch(int a_iOutput, std::chrono::milliseconds a_oAfter) const
{
    // No event is asked for of the output: those that are told all the same are the end of its reader.
    pollfd aPolls[] = {{m_oEnd.get(), POLLIN, 0}, {a_iOutput, 0, 0}};
    if (::poll(aPolls, 1, static_cast<int>(a_oAfter.count())) == 0) {
        ::poll(aPolls, 2, -1);
    }
    if ((aPolls[1].revents & (POLLERR | POLLHUP)) != 0) {
        ::kill(::getpid(), SIGPIPE);
        std::_Exit(EXIT_FAILURE); // the program that started this one has blocked the signal
    }
}

} // namespace systema::cli
