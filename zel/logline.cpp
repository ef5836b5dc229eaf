#include "zel/logline.h"

#include "zel/logsocket.h"
#include "zel/output.h"

#include <algorithm>
#include <chrono>
#include <climits>
#include <csignal>
#include <cstdio>
#include <cstdlib>
#include <ctime>
#include <initializer_list>
#include <mutex>
#include <sys/stat.h>
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

    /// False when there is no room for it.
    /// The SIGPIPE of a broken pipe would have its handler log here again. The logger's mutex keeps our own
    /// threads from taking the room.
    bool writeToStandardError()
    {
        m_aText[m_iSize] = '\n';
        return writeIfReady(STDERR_FILENO, {m_aText.data(), m_iSize + 1});
    }

    std::string_view get() const { return {m_aText.data(), m_iSize}; }

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
        constexpr std::string_view c_sDigits = "0123456789abcdef";
        const std::array<char, 4> aText = {'\\', 'x', c_sDigits[a_iByte / 16], c_sDigits[a_iByte % 16]};
        append({aText.data(), aText.size()});
    }

    std::array<char, c_iLogLineLimit> m_aText;
    std::size_t m_iSize = 0;
    bool m_bFull = false;
};

static_assert(c_iLogLineLimit <= PIPE_BUF);

/// True when the descriptor leads to the journal of systemd, which has the time of each line itself, and its
/// priority from the number in front of it.
bool isJournal(int a_iFd)
{
    unsigned long long iDevice = 0;
    unsigned long long iNode = 0;
    struct stat oStatus;
    const char* pStream = std::getenv("JOURNAL_STREAM"); // see systemd.exec(5)
    return pStream != nullptr && std::sscanf(pStream, "%llu:%llu", &iDevice, &iNode) == 2 &&
           ::fstat(a_iFd, &oStatus) == 0 && oStatus.st_dev == iDevice && oStatus.st_ino == iNode;
}

constexpr std::chrono::milliseconds c_oLastWait{500};
constexpr std::string_view c_sModule = "Log";

/// Where lines go. Its functions are called under the mutex.
class Output
{
public:
    void open(std::string_view a_sProgram, std::string_view a_sSocket)
    {
        m_oSocket.open(a_sSocket, a_sProgram);
        m_bJournal = isJournal(STDERR_FILENO);
    }

    void log(bool a_bSyslog, const LogLine& a_oLine, const LogClient::Id* a_pClient)
    {
        const auto oNow = LogLimit::Clock::now();
        tellEnded(a_bSyslog, oNow);
        if (a_pClient == nullptr || m_oLimit.admits(*a_pClient, a_oLine, oNow)) {
            write(a_bSyslog, a_oLine, {a_oLine.m_sText});
        }
    }

    void flush(bool a_bSyslog, LogLimit::Clock::time_point a_oNow, std::chrono::milliseconds a_oWait)
    {
        tellEnded(a_bSyslog, a_oNow);
        if (a_bSyslog) {
            m_oSocket.flush(a_oWait);
        }
    }

private:
    void tellEnded(bool a_bSyslog, LogLimit::Clock::time_point a_oNow)
    {
        m_oLimit.takeEnded(a_oNow, [&](LogSummary a_oSummary) {
            LogLine& oLine = a_oSummary.m_oLine;
            const LogHead oOwnHead(a_bSyslog, c_sModule, here());
            if (oLine.m_sHead.empty()) {
                oLine.m_sHead = oOwnHead.get();
            }
            std::array<char, 64> aCount;
            std::snprintf(aCount.data(), aCount.size(), "%u more in a second: ", a_oSummary.m_iMore);
            write(a_bSyslog, oLine, {aCount.data(), oLine.m_sText, a_oSummary.m_bOthers ? "; ..." : ""});
        });
    }

    void write(bool a_bSyslog, const LogLine& a_oLine, std::initializer_list<std::string_view> a_lTexts)
    {
        Line oLine;
        if (!a_bSyslog) {
            begin(oLine, a_oLine.m_iPriority, a_oLine.m_sLevel);
        }
        oLine.add(a_oLine.m_sHead);
        for (const std::string_view sText : a_lTexts) {
            oLine.add(sText);
        }
        if (a_bSyslog) {
            m_oSocket.write(a_oLine.m_iPriority, oLine.get());
        } else if (!tellLost() || !oLine.writeToStandardError()) {
            ++m_iLost;
        }
    }

    /// What stands in front of the head of a line to standard error.
    void begin(Line& a_oLine, int a_iPriority, std::string_view a_sLevel) const
    {
        if (m_bJournal) {
            const std::array<char, 3> aPrefix = {'<', static_cast<char>('0' + LOG_PRI(a_iPriority)), '>'};
            a_oLine.add({aPrefix.data(), aPrefix.size()});
            return;
        }
        constexpr std::string_view c_sBlanks = "        ";
        a_oLine.addTime();
        a_oLine.add(a_sLevel);
        a_oLine.add(c_sBlanks.substr(std::min(a_sLevel.size(), c_sBlanks.size() - 1)));
    }

    /// True when there is nothing to tell any more.
    bool tellLost()
    {
        if (m_iLost > 0) {
            std::array<char, 64> aText;
            std::snprintf(aText.data(), aText.size(), "%u lines lost: the log was not read", m_iLost);
            Line oLine;
            begin(oLine, LOG_WARNING, "warning");
            oLine.add(LogHead(false, c_sModule, here()).get());
            oLine.add(aText.data());
            if (oLine.writeToStandardError()) {
                m_iLost = 0;
            }
        }
        return m_iLost == 0;
    }

    LogLimit m_oLimit;
    LogSocket m_oSocket;
    bool m_bJournal = false; // standard error is the journal's
    unsigned m_iLost = 0;    // of standard error
};

constinit std::mutex s_oMutex;
constinit Output s_oOutput;
constinit thread_local volatile std::sig_atomic_t t_iWriting = 0;

/// Calls a function with the output, unless this thread is at it already.
template<class Function>
void useOutput(Function a_oFunction)
{
    if (t_iWriting) {
        return;
    }
    t_iWriting = 1;
    {
        const std::lock_guard oGuard(s_oMutex);
        a_oFunction(s_oOutput);
    }
    t_iWriting = 0;
}

void flush(bool a_bSyslog, LogLimit::Clock::time_point a_oNow, std::chrono::milliseconds a_oWait)
{
    useOutput([&](Output& a_oOutput) { a_oOutput.flush(a_bSyslog, a_oNow, a_oWait); });
}

} // namespace

LogHead::LogHead(bool a_bSyslog, std::string_view a_sModule, SourceTag a_oSource)
{
    const std::string_view sName = shownName(a_oSource);
    const int iSize =
        std::snprintf(m_aText.data(), m_aText.size(),
                      a_bSyslog ? "[%.*s] %.*s:%u: " : "%.*s %.*s:%u: ", static_cast<int>(a_sModule.size()),
                      a_sModule.data(), static_cast<int>(sName.size()), sName.data(), a_oSource.m_iLine);
    m_iSize = std::min(static_cast<std::size_t>(std::max(iSize, 0)), m_aText.size() - 1);
}

void openLog(std::string_view a_sProgram, std::string_view a_sSocket)
{
    useOutput([&](Output& a_oOutput) { a_oOutput.open(a_sProgram, a_sSocket); });
}

void writeLogLine(bool a_bSyslog, const LogLine& a_oLine, bool a_bLimited)
{
    const LogClient::Id* pClient = a_bLimited ? LogClient::current() : nullptr;
    useOutput([&](Output& a_oOutput) { a_oOutput.log(a_bSyslog, a_oLine, pClient); });
}

void flushLog(bool a_bSyslog)
{
    flush(a_bSyslog, LogLimit::Clock::now(), {});
}

void finishLog(bool a_bSyslog)
{
    flush(a_bSyslog, LogLimit::Clock::now() + LogLimit::c_oWindow, c_oLastWait); // no second comes after this
}

} // namespace zel
