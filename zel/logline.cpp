#include "zel/logline.h"

#include <algorithm>
#include <array>
#include <cerrno>
#include <csignal>
#include <cstdio>
#include <ctime>
#include <poll.h>
#include <syslog.h>
#include <unistd.h>

namespace zel {

namespace {

/// Length of the printable UTF-8 character at the start, 0 when its first byte has to be shown as a number.
std::size_t printableLength(std::string_view a_sText)
{
    const auto byteAt = [&](std::size_t a_iAt) -> unsigned {
        return a_iAt < a_sText.size() ? static_cast<unsigned char>(a_sText[a_iAt]) : 0;
    };
    const unsigned iFirst = byteAt(0);
    if (iFirst < 0x80) {
        return iFirst >= 0x20 && iFirst != 0x7f ? 1 : 0;
    }
    const std::size_t iLength = iFirst < 0xe0 ? 2 : iFirst < 0xf0 ? 3 : 4;
    unsigned iCode = iFirst & (0x7fu >> iLength);
    for (std::size_t iAt = 1; iAt < iLength; ++iAt) {
        if ((byteAt(iAt) & 0xc0) != 0x80) {
            return 0;
        }
        iCode = iCode << 6 | (byteAt(iAt) & 0x3f);
    }
    // U+0080 to U+009F are control characters as well.
    const unsigned iLeast = iLength == 2 ? 0xa0 : iLength == 3 ? 0x800 : 0x10000;
    const bool bLead = iFirst >= 0xc2 && iFirst <= 0xf4;
    const bool bSurrogate = iCode >= 0xd800 && iCode <= 0xdfff;
    return bLead && iCode >= iLeast && iCode <= 0x10ffff && !bSurrogate ? iLength : 0;
}

class Line
{
public:
    void add(std::string_view a_sText)
    {
        while (!a_sText.empty()) {
            const std::size_t iLength = printableLength(a_sText);
            if (iLength > 0) {
                append(a_sText.substr(0, iLength));
            } else {
                appendNumber(static_cast<unsigned char>(a_sText.front()));
            }
            a_sText.remove_prefix(std::max<std::size_t>(iLength, 1));
        }
    }

    void addTime()
    {
        timespec oNow{};
        clock_gettime(CLOCK_REALTIME, &oNow);
        tm oLocal{};
        localtime_r(&oNow.tv_sec, &oLocal);
        std::array<char, 32> aText{};
        append({aText.data(), std::strftime(aText.data(), aText.size(), "%F %T", &oLocal)});
        std::snprintf(aText.data(), aText.size(), ".%03ld ", oNow.tv_nsec / 1'000'000);
        append(aText.data());
    }

    void writeToStandardError()
    {
        // A reader that has stopped reading must not stop the daemon, and one that has gone must not raise
        // SIGPIPE, whose handler would log it here again: such a line is dropped.
        pollfd oOutput{STDERR_FILENO, POLLOUT, 0};
        if (::poll(&oOutput, 1, 0) != 1 || oOutput.revents != POLLOUT) {
            return;
        }
        m_aText[m_iSize] = '\n';
        while (::write(STDERR_FILENO, m_aText.data(), m_iSize + 1) < 0 && errno == EINTR) {
        }
    }

    void writeToSyslog(int a_iPriority) const
    {
        ::syslog(a_iPriority, "%.*s", static_cast<int>(m_iSize), m_aText.data());
    }

private:
    void append(std::string_view a_sPiece)
    {
        // One byte stays free for the newline; nothing follows a piece that did not fit.
        m_bFull = m_bFull || m_iSize + a_sPiece.size() >= m_aText.size();
        if (!m_bFull) {
            std::copy(a_sPiece.begin(), a_sPiece.end(), m_aText.begin() + m_iSize);
            m_iSize += a_sPiece.size();
        }
    }

    void appendNumber(unsigned char a_iByte)
    {
        constexpr std::string_view c_sDigits = "0123456789ABCDEF";
        const std::array<char, 4> aText = {'\\', 'x', c_sDigits[a_iByte / 16], c_sDigits[a_iByte % 16]};
        append({aText.data(), aText.size()});
    }

    std::array<char, c_iLogLineLimit> m_aText;
    std::size_t m_iSize = 0;
    bool m_bFull = false;
};

constinit thread_local volatile std::sig_atomic_t t_iWriting = 0;

} // namespace

void writeLogLine(bool a_bSyslog, int a_iPriority, std::string_view a_sLevel,
                  std::initializer_list<std::string_view> a_lParts)
{
    if (t_iWriting) {
        return;
    }
    t_iWriting = 1;
    Line oLine;
    if (!a_bSyslog) {
        constexpr std::string_view c_sBlanks = "        ";
        oLine.addTime();
        oLine.add(a_sLevel);
        oLine.add(c_sBlanks.substr(std::min(a_sLevel.size(), c_sBlanks.size() - 1)));
    }
    for (const std::string_view sPart : a_lParts) {
        oLine.add(sPart);
    }
    if (a_bSyslog) {
        oLine.writeToSyslog(a_iPriority);
    } else {
        oLine.writeToStandardError();
    }
    t_iWriting = 0;
}

} // namespace zel
