#include "zel/log.h"

#include "tests/unit/zel/ownlogdaemon.h"
#include "zel/logclient.h"
#include "zel/logline.h"
#include "zel/uniquefd.h"

#include <gmock/gmock.h>

#include <algorithm>
#include <array>
#include <cerrno>
#include <chrono>
#include <csignal>
#include <ctime>
#include <fcntl.h>
#include <sstream>
#include <syslog.h>
#include <thread>
#include <unistd.h>

using testing::ElementsAre;
using testing::HasSubstr;
using testing::MatchesRegex;
using testing::StartsWith;
using zel::SourceTag;

namespace {

constexpr SourceTag c_oTag{"/src/storage/sqlitewrapper.cpp", 120};

template<class Action>
std::string logged(Action a_oAction)
{
    testing::internal::CaptureStderr();
    a_oAction();
    return testing::internal::GetCapturedStderr();
}

/// The text of the only line that an error with this text makes, without what stands in front.
std::string shown(const std::string& a_sText)
{
    const int iModule = ZEL_Sysloglevel_registerModul("Shown");
    const std::string sLine = logged([&] { ZEL_Sysloglevel_error(iModule, c_oTag, "%s", a_sText.c_str()); });
    const std::size_t iStart = sLine.find("120: ") + 5;
    EXPECT_EQ(std::count(sLine.begin(), sLine.end(), '\n'), 1);
    return sLine.substr(iStart, sLine.size() - 1 - iStart);
}

/// Makes standard error a full pipe that nobody reads, as long as it lives.
struct BlockedStandardError
{
    BlockedStandardError()
    {
        int aPipe[2];
        EXPECT_EQ(::pipe2(aPipe, O_CLOEXEC | O_NONBLOCK), 0);
        m_oReader.reset(aPipe[0]);
        const zel::UniqueFd oWriter(aPipe[1]);
        const std::array<char, 4096> aPage{};
        while (::write(oWriter.get(), aPage.data(), aPage.size()) > 0) {
        }
        ::fcntl(oWriter.get(), F_SETFL, 0);
        ::dup2(oWriter.get(), STDERR_FILENO);
    }
    ~BlockedStandardError() { ::dup2(m_oSaved.get(), STDERR_FILENO); }
    BlockedStandardError(const BlockedStandardError&) = delete;
    BlockedStandardError& operator=(const BlockedStandardError&) = delete;

    zel::UniqueFd m_oSaved{::dup(STDERR_FILENO)};
    zel::UniqueFd m_oReader;
};

using LogFunction = void (*)(int, SourceTag, const char*, ...);

struct LevelCase
{
    LogFunction m_pLog;
    int m_iBit;
    std::string m_sName;
    int m_iPriority;
};

const LevelCase c_aLevels[] = {
    {ZEL_Sysloglevel_error, zel::c_iLogError, "error  ", LOG_ERR},
    {ZEL_Sysloglevel_warning, zel::c_iLogWarning, "warning", LOG_WARNING},
    {ZEL_Sysloglevel_info, zel::c_iLogInfo, "info   ", LOG_INFO},
    {ZEL_Sysloglevel_status, zel::c_iLogStatus, "status ", LOG_NOTICE},
    {ZEL_Sysloglevel_debug, zel::c_iLogDebug, "debug  ", LOG_DEBUG},
    {ZEL_Sysloglevel_trace, zel::c_iLogTrace, "trace  ", LOG_DEBUG},
};

} // namespace

TEST(Log, aLineShowsLocalTimeLevelModuleSourceAndText)
{
    ::setenv("TZ", "XST-05:30", 1);
    ::tzset();
    const int iModule = ZEL_Sysloglevel_registerModul("SQLiteWrap");
    // Not std::time, whose clock is a tick behind.
    using Clock = std::chrono::system_clock;
    const std::time_t iBefore = Clock::to_time_t(Clock::now());
    const std::string sLine = logged([&] { ZEL_Sysloglevel_error(iModule, c_oTag, "%d rows", 7); });
    const std::time_t iAfter = Clock::to_time_t(Clock::now());

    EXPECT_THAT(sLine, MatchesRegex("[0-9]{4}(-[0-9]{2}){2} [0-9]{2}(:[0-9]{2}){2}[.][0-9]{3} "
                                    "error   SQLiteWrap sqlitewrapper:120: 7 rows\n"));
    std::tm oShown{};
    ::strptime(sLine.c_str(), "%Y-%m-%d %T", &oShown);
    const std::time_t iShown = std::mktime(&oShown);
    EXPECT_LE(iBefore, iShown);
    EXPECT_LE(iShown, iAfter);
    ::unsetenv("TZ");
    ::tzset();
}

TEST(Log, eachLevelHasItsBitNameAndSyslogPriority)
{
    const int iModule = ZEL_Sysloglevel_registerModul("Levels");
    const OwnLogDaemon oDaemon;
    for (const LevelCase& oCase : c_aLevels) {
        SCOPED_TRACE(oCase.m_sName);
        ZEL_Sysloglevel_changeTracelevel("Levels", oCase.m_iBit);
        EXPECT_THAT(logged([&] { oCase.m_pLog(iModule, c_oTag, "x"); }),
                    HasSubstr(" " + oCase.m_sName + " Levels sqlitewrapper:120: x\n"));
        ZEL_Sysloglevel_set(true);
        EXPECT_EQ(logged([&] { oCase.m_pLog(iModule, c_oTag, "100%% \n"); }), "");
        // As syslog() of the C library writes it.
        EXPECT_THAT(oDaemon.take(),
                    ElementsAre(MatchesRegex(
                        "<" + std::to_string(LOG_DAEMON | oCase.m_iPriority) +
                        ">[JFMASOND][a-z]{2} [ 123][0-9] [0-9]{2}(:[0-9]{2}){2} ledgerd\\[" +
                        std::to_string(::getpid()) + "\\]: \\[Levels\\] sqlitewrapper:120: 100% ")));
        ZEL_Sysloglevel_set(false);
        ZEL_Sysloglevel_changeTracelevel("Levels", zel::c_iTraceLevelVerbose & ~oCase.m_iBit);
        EXPECT_EQ(logged([&] { oCase.m_pLog(iModule, c_oTag, "x"); }), "");
    }
}

TEST(Log, moreModulesThanThereIsRoomForShareTheLast)
{
    const auto logFromMany = [] {
        int iHandle = 0;
        for (int i = 0; i < 300; ++i) {
            iHandle = ZEL_Sysloglevel_registerModul(("Module" + std::to_string(i)).c_str());
        }
        const bool bShared = ZEL_Sysloglevel_registerModul("One more") == iHandle;
        ZEL_Sysloglevel_error(iHandle, c_oTag, "still here");
        std::_Exit(bShared && iHandle == 255 ? 0 : 1);
    };
    EXPECT_EXIT(logFromMany(), testing::ExitedWithCode(0), "still here");
}

TEST(Log, aTextIsOnePrintableLine)
{
    EXPECT_EQ(shown("exiting\n"), "exiting");
    EXPECT_EQ(shown("a\n\n"), "a\\x0a");
    EXPECT_EQ(shown("fake\n2026 error\r\x1b[31m\x7f\t"), "fake\\x0a2026 error\\x0d\\x1b[31m\\x7f\\x09");
    EXPECT_EQ(shown("%s\\ Stra\u00dfe \u20ac \U0001f600 \u00a0\u0800\ud7ff\uffff\U0010ffff"),
              "%s\\ Stra\u00dfe \u20ac \U0001f600 \u00a0\u0800\ud7ff\uffff\U0010ffff");
    EXPECT_EQ(shown("\u0080\u009f"), "\\xc2\\x80\\xc2\\x9f");
    // Stray continuation, overlong forms, a surrogate, past the last code point, cut short.
    EXPECT_EQ(shown("\x80z"), "\\x80z");
    EXPECT_EQ(shown("\xc0\xaf\xc1\xbf\xe0\x80\xaf\xf0\x8f\xbf\xbf"),
              "\\xc0\\xaf\\xc1\\xbf\\xe0\\x80\\xaf\\xf0\\x8f\\xbf\\xbf");
    EXPECT_EQ(shown("\xed\xa0\x80\xf4\x90\x80\x80\xf8\x88\x80\x80\x80\xff"),
              "\\xed\\xa0\\x80\\xf4\\x90\\x80\\x80\\xf8\\x88\\x80\\x80\\x80\\xff");
    EXPECT_EQ(shown("\xe2\x82z\xe2\x82"), "\\xe2\\x82z\\xe2\\x82");
}

TEST(Log, anOverlongLineIsCutBetweenCharacters)
{
    const std::size_t iRoom = shown(std::string(5000, 'a')).size();
    const int iModule = ZEL_Sysloglevel_registerModul("Shown");
    EXPECT_EQ(
        logged([&] { ZEL_Sysloglevel_error(iModule, c_oTag, "%s", std::string(5000, 'a').c_str()); }).size(),
        zel::c_iLogLineLimit);

    for (std::size_t iShift = 0; iShift < 4; ++iShift) {
        std::string sText(iShift, 'a');
        std::string sControls = sText;
        for (int i = 0; i < 250; ++i) {
            sText += "\U0001f600";
            sControls += '\x01';
        }
        sText += "tail";
        const std::size_t iWhole = (iRoom - iShift) / 4 * 4 + iShift;
        EXPECT_EQ(shown(sText), sText.substr(0, iWhole));
        EXPECT_EQ(shown(sControls).size(), iWhole);
    }
}

TEST(Log, linesOfManyThreadsStayWhole)
{
    constexpr int c_iLines = 200;
    const std::string sThreads = "abcd";
    const std::string sOutput = logged([&] {
        std::vector<std::thread> lThreads;
        for (const char cName : sThreads) {
            lThreads.emplace_back([cName] {
                const int iModule = ZEL_Sysloglevel_registerModul(std::string(1, cName).c_str());
                for (int iLine = 0; iLine < c_iLines; ++iLine) {
                    ZEL_Sysloglevel_error(iModule, c_oTag, "%s", std::string(300, cName).c_str());
                    ZEL_Sysloglevel_changeTracelevel("Elsewhere", iLine);
                }
            });
        }
        for (std::thread& oThread : lThreads) {
            oThread.join();
        }
    });
    EXPECT_EQ(std::ranges::count(sOutput, '\n'), c_iLines * std::ssize(sThreads));
    std::istringstream oLines(sOutput);
    for (std::string sLine; std::getline(oLines, sLine);) {
        const std::string sName(1, sLine.back());
        ASSERT_TRUE(
            sLine.ends_with(" error   " + sName + " sqlitewrapper:120: " + std::string(300, sName[0])))
            << sLine;
    }
}

// The SIGPIPE handler logs; without care each of its lines raises the next SIGPIPE for ever.
TEST(Log, brokenStandardErrorIsNoLoopAndNoError)
{
    static int s_iModule = ZEL_Sysloglevel_registerModul("Pipe");
    const auto pHandler = [](int) { ZEL_Sysloglevel_error(s_iModule, c_oTag, "Unexpected signal caught"); };
    int iErrno = 0;
    {
        BlockedStandardError oBlocked;
        oBlocked.m_oReader.reset();
        const auto pPrevious = std::signal(SIGPIPE, pHandler);
        errno = EACCES;
        ZEL_Sysloglevel_error(s_iModule, c_oTag, "nobody reads this");
        iErrno = errno;
        std::signal(SIGPIPE, pPrevious);
    }
    EXPECT_EQ(iErrno, EACCES);
    EXPECT_THAT(logged([] { ZEL_Sysloglevel_error(s_iModule, c_oTag, "read again"); }),
                HasSubstr("read again"));
}

TEST(Log, aReaderThatStoppedDoesNotStopTheLoggerAndHearsHowManyLinesWereLost)
{
    const int iModule = ZEL_Sysloglevel_registerModul("Pipe");
    const std::string sFull(2000, 'x'); // a line of the greatest length
    logged([&] { ZEL_Sysloglevel_error(iModule, c_oTag, "nothing is lost so far"); });
    const std::string sRead = logged([&] {
        const BlockedStandardError oBlocked;
        ZEL_Sysloglevel_error(iModule, c_oTag, "no room for this");
        // Some room, but less than a pipe's page: the pipe says that it is not ready.
        std::array<char, 3000> aSome;
        EXPECT_EQ(std::ssize(aSome), ::read(oBlocked.m_oReader.get(), aSome.data(), aSome.size()));
        ZEL_Sysloglevel_error(iModule, c_oTag, "%s", sFull.c_str());
        // Room for four lines of this length, in a page that is free: the rest finds none.
        EXPECT_EQ(1096, ::read(oBlocked.m_oReader.get(), aSome.data(), 1096));
        for (int i = 0; i < 10; ++i) {
            ZEL_Sysloglevel_error(iModule, c_oTag, "%s", sFull.c_str());
        }
    });
    EXPECT_EQ("", sRead);
    EXPECT_THAT(
        logged([&] { ZEL_Sysloglevel_error(iModule, c_oTag, "read again"); }),
        MatchesRegex(
            ".* warning Log logline:[0-9]+: [0-9]+ lines lost: the log was not read\n.* read again\n"));
}

// Its queue takes a few lines; then syslog() of the C library waits for ever.
TEST(Log, aLogDaemonThatDoesNotReadFreezesNobodyAndHearsHowManyLinesWereLost)
{
    constexpr int c_iLines = 2000;
    const int iModule = ZEL_Sysloglevel_registerModul("Stalled");
    const OwnLogDaemon oDaemon;
    ZEL_Sysloglevel_set(true);
    for (int i = 0; i < c_iLines; ++i) {
        ZEL_Sysloglevel_info(iModule, c_oTag, "line %d", i);
    }
    std::vector<std::string> lMessages;
    for (auto lNew = oDaemon.take(); !lNew.empty(); lNew = oDaemon.take()) {
        lMessages.insert(lMessages.end(), lNew.begin(), lNew.end());
        ZEL_Sysloglevel_flush();
    }
    ZEL_Sysloglevel_info(iModule, c_oTag, "read again");
    ZEL_Sysloglevel_set(false);
    EXPECT_THAT(oDaemon.take(), ElementsAre(HasSubstr("read again")));

    ASSERT_GT(lMessages.size(), 100U); // a burst is kept, and comes in order
    const std::string sLost = lMessages.back();
    lMessages.pop_back();
    for (std::size_t i = 0; i < lMessages.size(); ++i) {
        EXPECT_TRUE(lMessages[i].ends_with(": line " + std::to_string(i))) << lMessages[i];
    }
    EXPECT_THAT(sLost, StartsWith("<28>")); // daemon, warning
    EXPECT_THAT(sLost, HasSubstr("]: " + std::to_string(c_iLines - lMessages.size()) + " lines lost"));
}

TEST(Log, aLogDaemonThatStartsAgainIsFoundAgainWhateverItsSocket)
{
    const int iModule = ZEL_Sysloglevel_registerModul("Again");
    OwnLogDaemon oDaemon;
    ZEL_Sysloglevel_set(true);
    ZEL_Sysloglevel_error(iModule, c_oTag, "one");
    EXPECT_THAT(oDaemon.take(), ElementsAre(HasSubstr("one")));
    oDaemon.stop();
    ZEL_Sysloglevel_error(iModule, c_oTag, "two");
    oDaemon.start(SOCK_DGRAM);
    ZEL_Sysloglevel_error(iModule, c_oTag, "three");
    EXPECT_THAT(oDaemon.take(), ElementsAre(HasSubstr("two"), HasSubstr("three")));

    oDaemon.start(SOCK_STREAM);
    ZEL_Sysloglevel_error(iModule, c_oTag, "four");
    ZEL_Sysloglevel_set(false);
    const zel::UniqueFd oConnection(
        ::accept4(oDaemon.getFd(), nullptr, nullptr, SOCK_CLOEXEC | SOCK_NONBLOCK));
    std::array<char, 200> aBuffer;
    const ssize_t iSize = ::read(oConnection.get(), aBuffer.data(), aBuffer.size());
    ASSERT_GT(iSize, 0);
    const std::string sText(aBuffer.data(), static_cast<std::size_t>(iSize));
    EXPECT_TRUE(sText.starts_with("<27>") && sText.ends_with(std::string(": four\0", 7))) << sText;
}

TEST(Log, oneClientWithBadRequestsDoesNotFloodIt)
{
    const int iModule = ZEL_Sysloglevel_registerModul("Flood");
    const auto logTwo = [&] {
        ZEL_Sysloglevel_error(iModule, c_oTag, "bad");
        ZEL_Sysloglevel_error(iModule, c_oTag, "bad");
    };
    const std::string sLog = logged([&] {
        logTwo(); // for nobody
        const zel::LogClient oClient(1000, 7);
        logTwo();
        {
            const zel::LogClient oOther(1000, 8);
            logTwo();
        }
        logTwo(); // for the first again
        zel::finishLog(false);
    });
    std::vector<std::string> lTexts;
    std::istringstream oLines(sLog);
    for (std::string sLine; std::getline(oLines, sLine);) {
        lTexts.push_back(sLine.substr(24));
    }
    const std::string sHead = "error   Flood sqlitewrapper:120: ";
    EXPECT_THAT(lTexts, testing::UnorderedElementsAre(sHead + "bad", sHead + "bad", sHead + "bad",
                                                      sHead + "bad", sHead + "3 more in a second: bad",
                                                      sHead + "1 more in a second: bad"));

    ZEL_Sysloglevel_changeTracelevel("Flood", zel::c_iTraceLevelVerbose);
    const std::string sTrace = logged([&] {
        const zel::LogClient oClient(1000, 7);
        ZEL_Sysloglevel_trace(iModule, c_oTag, "x");
        ZEL_Sysloglevel_trace(iModule, c_oTag, "x");
    });
    EXPECT_EQ(2, std::ranges::count(sTrace, '\n')) << "trace lines are not limited";
}
