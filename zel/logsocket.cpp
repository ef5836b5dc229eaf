#include "zel/logsocket.h"

#include <algorithm>
#include <cerrno>
#include <cstdint>
#include <cstdio>
#include <cstring>
#include <ctime>
#include <poll.h>
#include <sys/socket.h>
#include <sys/un.h>
#include <syslog.h>
#include <unistd.h>

namespace zel {

namespace {

/// A line as the log daemon takes it, on the stack.
class Message
{
public:
    Message(int a_iPriority, const char* a_pName, std::string_view a_sLine)
    {
        const std::time_t iNow = std::time(nullptr);
        tm oLocal{};
        ::localtime_r(&iNow, &oLocal);
        std::array<char, 32> aTime{};
        std::strftime(aTime.data(), aTime.size(), "%b %e %T", &oLocal);
        const int iSize = std::snprintf(m_aText.data(), m_aText.size(), "<%d>%s %s[%d]: ", a_iPriority,
                                        aTime.data(), a_pName, static_cast<int>(::getpid()));
        m_iSize = static_cast<std::size_t>(std::max(iSize, 0));
        const std::string_view sFits = a_sLine.substr(0, m_aText.size() - m_iSize);
        std::ranges::copy(sFits, m_aText.begin() + m_iSize);
        m_iSize += sFits.size();
    }

    std::string_view get() const { return {m_aText.data(), m_iSize}; }

private:
    std::array<char, 1280> m_aText;
    std::size_t m_iSize;
};

template<std::size_t Room>
void setText(std::array<char, Room>& a_aText, std::string_view a_sText)
{
    a_aText = {};
    std::ranges::copy(a_sText.substr(0, Room - 1), a_aText.begin());
}

} // namespace

void LogSocket::open(std::string_view a_sPath, std::string_view a_sName)
{
    close();
    setText(m_aPath, a_sPath);
    setText(m_aName, a_sName);
}

void LogSocket::write(int a_iPriority, std::string_view a_sLine)
{
    const Message oMessage(a_iPriority, m_aName.data(), a_sLine);
    if (!sendKept() || !send(oMessage.get())) {
        keep(oMessage.get());
    }
}

void LogSocket::flush(std::chrono::milliseconds a_oWait)
{
    using Clock = std::chrono::steady_clock;
    const auto oEnd = Clock::now() + a_oWait;
    while (!sendKept()) {
        const auto oLeft = std::chrono::ceil<std::chrono::milliseconds>(oEnd - Clock::now());
        pollfd oOutput{m_iFd, POLLOUT, 0};
        if (m_iFd < 0 || oLeft.count() <= 0 || ::poll(&oOutput, 1, static_cast<int>(oLeft.count())) == 0) {
            return;
        }
    }
}

void LogSocket::keep(std::string_view a_sMessage)
{
    // After the first lost line all others are lost until there is room again: there is one gap, and it is
    // logged.
    const auto iSize = static_cast<std::uint16_t>(a_sMessage.size());
    if (m_iLost > 0 || m_iKept + sizeof iSize + a_sMessage.size() > m_aKept.size()) {
        ++m_iLost;
        return;
    }
    std::memcpy(m_aKept.data() + m_iKept, &iSize, sizeof iSize);
    std::ranges::copy(a_sMessage, m_aKept.begin() + m_iKept + sizeof iSize);
    m_iKept += sizeof iSize + a_sMessage.size();
}

/// True when nothing is kept any more, and what was lost is told.
bool LogSocket::sendKept()
{
    std::size_t iSent = 0;
    while (iSent < m_iKept) {
        std::uint16_t iSize = 0;
        std::memcpy(&iSize, m_aKept.data() + iSent, sizeof iSize);
        if (!send({m_aKept.data() + iSent + sizeof iSize, iSize})) {
            break;
        }
        iSent += sizeof iSize + iSize;
    }
    std::copy(m_aKept.begin() + iSent, m_aKept.begin() + m_iKept, m_aKept.begin());
    m_iKept -= iSent;
    if (m_iKept == 0 && m_iLost > 0) {
        std::array<char, 64> aText;
        std::snprintf(aText.data(), aText.size(), "%u lines lost: the log was not read", m_iLost);
        if (send(Message(LOG_DAEMON | LOG_WARNING, m_aName.data(), aText.data()).get())) {
            m_iLost = 0;
        }
    }
    return m_iKept == 0 && m_iLost == 0;
}

/// False when it has to wait.
bool LogSocket::send(std::string_view a_sMessage)
{
    // What is there may be the connection to a log daemon that has ended, so it is tried twice.
    for (int iTry = 0; iTry < 2; ++iTry) {
        if (m_iFd < 0 && !connect()) {
            return false;
        }
        switch (trySend(a_sMessage)) {
        case EResult::Sent:
            return true;
        case EResult::Full:
            return false;
        case EResult::Broken:
            close();
            break;
        }
    }
    return false;
}

LogSocket::EResult LogSocket::trySend(std::string_view a_sMessage)
{
    // On a stream a zero ends each message.
    char cEnd = '\0';
    std::array<iovec, 2> aParts = {iovec{const_cast<char*>(a_sMessage.data()), a_sMessage.size()},
                                   iovec{&cEnd, m_bStream ? 1U : 0U}};
    msghdr oHeader{};
    oHeader.msg_iov = aParts.data();
    oHeader.msg_iovlen = aParts.size();
    ssize_t iSent = 0;
    do {
        iSent = ::sendmsg(m_iFd, &oHeader, MSG_DONTWAIT | MSG_NOSIGNAL);
    } while (iSent < 0 && errno == EINTR);
    if (iSent == static_cast<ssize_t>(aParts[0].iov_len + aParts[1].iov_len)) {
        return EResult::Sent;
    }
    const bool bFull = iSent < 0 && (errno == EAGAIN || errno == ENOBUFS || errno == ENOMEM);
    return bFull ? EResult::Full : EResult::Broken;
}

bool LogSocket::connect()
{
    sockaddr_un oAddress{};
    oAddress.sun_family = AF_UNIX;
    std::ranges::copy(m_aPath, oAddress.sun_path);
    for (const int iType : {SOCK_DGRAM, SOCK_STREAM}) {
        m_bStream = iType == SOCK_STREAM;
        m_iFd = ::socket(AF_UNIX, iType | SOCK_CLOEXEC | SOCK_NONBLOCK, 0);
        if (m_iFd < 0 ||
            ::connect(m_iFd, reinterpret_cast<const sockaddr*>(&oAddress), sizeof oAddress) == 0) {
            break;
        }
        const bool bOtherType = errno == EPROTOTYPE;
        close();
        if (!bOtherType) {
            break;
        }
    }
    return m_iFd >= 0;
}

void LogSocket::close()
{
    if (m_iFd >= 0) {
        ::close(m_iFd);
        m_iFd = -1;
    }
}

} // namespace zel
