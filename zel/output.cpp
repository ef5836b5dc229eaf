#include "zel/output.h"

#include <cerrno>
#include <poll.h>
#include <unistd.h>

namespace zel {

bool writeIfReady(int a_iFd, std::string_view a_sText)
{
    pollfd oOutput{a_iFd, POLLOUT, 0};
    if (::poll(&oOutput, 1, 0) != 1 || oOutput.revents != POLLOUT) {
        return false;
    }
    while (::write(a_iFd, a_sText.data(), a_sText.size()) < 0 && errno == EINTR) {
    }
    return true;
}

} // namespace zel
