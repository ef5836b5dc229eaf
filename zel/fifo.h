// A named pipe that is read: the end of a command channel that others write to.
//
// Owned by who reads it, used on one thread. It is never left without a reader between its construction and
// its end, so a writer neither waits for one nor gets SIGPIPE.
#pragma once

#include "zel/uniquefd.h"

#include <string>
#include <sys/types.h>

namespace zel::sys {

/// What one read of a command channel gives is one command, of so many bytes at most.
constexpr std::size_t c_iFifoCommandSize = 256;

/// Opens a FIFO with the flags of open(). Nothing, with errno, when that fails; with EEXIST for whatever else
/// has the name, a link among it.
UniqueFd openFifo(const std::string& a_sName, int a_iOpenFlags);

class Fifo
{
public:
    /// Opens the FIFO for reading, with a_iOpenFlags (O_NONBLOCK) besides, and gives it the mode 0666
    /// whatever the umask; one that is not there is made, and so is one in the place of another user's. What
    /// else another user has put there gives way in a directory where everybody may make files. Throws
    /// std::system_error, with the name, when it cannot be made or opened, with the owner when what is in the
    /// way cannot be moved, and with EEXIST for anything else of that name, which is left untouched.
    Fifo(const std::string& a_sName, int a_iOpenFlags);

    /// The descriptor; reopen changes it.
    int getFd() const { return m_oFd.get(); }
    /// What ::read() returns: the bytes read, 0 when every writer has closed it, -1 with errno.
    ssize_t read(void* a_pBuffer, std::size_t a_iSize);
    /// Opens the FIFO anew, which clears the end of file that writers leave, and then closes the old
    /// descriptor: what they have written stays to be read. False (with errno) when it cannot be opened;
    /// the old descriptor is then kept.
    [[nodiscard]] bool reopen();
    /// True when its name is no longer its own: nothing has it, or something else.
    bool hasLostName() const;
    /// Removes its name. False with errno; EEXIST when the name is another file's by now, which stays.
    bool unlink();

private:
    UniqueFd openOrMake() const;

    const std::string m_sName;
    const int m_iOpenFlags;
    UniqueFd m_oFd;
};

} // namespace zel::sys
