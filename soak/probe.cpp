#include "soak/probe.h"

#include <algorithm>
#include <iomanip>
#include <optional>
#include <ostream>
#include <poll.h>
#include <utility>

namespace soak {

namespace {

using namespace std::chrono_literals;

constexpr auto c_oPeriod = 20ms;
constexpr auto c_oSlow = 10ms; // worth a look
constexpr std::size_t c_iStalls = 5;
constexpr std::size_t c_iShownLines = 12;
constexpr std::size_t c_iShownWidth = 150;

double milliseconds(std::chrono::nanoseconds a_oTime)
{
    return std::chrono::duration<double, std::milli>(a_oTime).count();
}

void printLines(std::ostream& a_oTo, const char* a_pTitle, const std::vector<std::string>& a_lLines)
{
    a_oTo << "    " << a_pTitle << (a_lLines.empty() ? " none\n" : "\n");
    for (std::size_t i = 0; i < std::min(a_lLines.size(), c_iShownLines); ++i) {
        a_oTo << "      " << a_lLines[i].substr(0, c_iShownWidth) << '\n';
    }
    if (a_lLines.size() > c_iShownLines) {
        a_oTo << "      and " << a_lLines.size() - c_iShownLines << " more\n";
    }
}

} // namespace

Probe::Probe(World& a_oWorld, const Daemon& a_oDaemon)
    : m_oWorld(a_oWorld),
      m_oDaemon(a_oDaemon),
      m_oThread([this] { run(); })
{
}

void Probe::run()
{
    Connection oConnection({m_oWorld.m_sSocket, "soak probe", c_oAnswerTimeout});
    auto oStatus = oConnection.connect();
    while (oStatus.ok() && m_oWorld.pause(c_oPeriod)) {
        const auto oBefore = m_oDaemon.schedule();
        const off_t iLogBefore = m_oDaemon.logSize();
        const auto oStart = Clock::now();
        std::map<std::string, int> mSeen;
        oStatus = ask(oConnection, mSeen);
        const auto oTook = Clock::now() - oStart;
        m_oWorld.m_oTally.count("probe");
        m_lMilliseconds.push_back(milliseconds(oTook));
        if (oTook >= c_oSlow && (m_lStalls.size() < c_iStalls || oTook > m_lStalls.back().m_oTook)) {
            const auto oAfter = m_oDaemon.schedule();
            m_lStalls.push_back({std::chrono::duration_cast<std::chrono::seconds>(oStart - m_oStart),
                                 oTook,
                                 {oAfter.m_oRunning - oBefore.m_oRunning, oAfter.m_oReady - oBefore.m_oReady},
                                 std::move(mSeen),
                                 m_oDaemon.logLines(iLogBefore, m_oDaemon.logSize())});
            std::ranges::sort(m_lStalls, std::ranges::greater(), &Stall::m_oTook);
            m_lStalls.resize(std::min(m_lStalls.size(), c_iStalls));
        }
    }
    if (!oStatus.ok()) {
        m_oWorld.m_oTally.fault("the probe ended: " + std::string(oStatus.text()));
    }
}

/// Looks at the daemon again and again while the answer takes its time.
Status Probe::ask(Connection& a_oConnection, std::map<std::string, int>& a_mSeen) const
{
    const auto oEnd = Clock::now() + c_oAnswerTimeout;
    std::optional<Status> oAnswer;
    const auto oSubmitted = a_oConnection.submit(request::SelectRow{"ConfigServerLimits", 0},
                                                 [&](const Status& a_oStatus) { oAnswer = a_oStatus; });
    auto oStatus = oSubmitted.ok() ? a_oConnection.processWritable() : oSubmitted;
    while (oStatus.ok() && !oAnswer && Clock::now() < oEnd) {
        pollfd oPoll{a_oConnection.descriptor(), POLLIN, 0};
        if (::poll(&oPoll, 1, std::chrono::milliseconds(c_oSlow).count()) > 0) {
            oStatus = a_oConnection.processReadable();
        } else {
            for (const auto& sLine : m_oDaemon.situation()) {
                ++a_mSeen[sLine];
            }
        }
    }
    if (!oAnswer) {
        a_oConnection.close(); // ends the request, whose handler refers to what is above
    }
    return oAnswer.value_or(oStatus);
}

void Probe::print(std::ostream& a_oTo) const
{
    auto lSorted = m_lMilliseconds;
    std::ranges::sort(lSorted);
    a_oTo << std::fixed << std::setprecision(1) << "answers to the probe in ms";
    for (const double fPart : {0.5, 0.99, 0.999, 1.0}) {
        if (!lSorted.empty()) {
            const auto iAt = static_cast<std::size_t>(fPart * static_cast<double>(lSorted.size() - 1));
            a_oTo << ", " << 100 * fPart << " % within " << lSorted[iAt];
        }
    }
    a_oTo << "\nlongest stalls\n";
    for (const auto& oStall : m_lStalls) {
        const auto oBlocked = oStall.m_oTook - oStall.m_oSchedule.m_oRunning - oStall.m_oSchedule.m_oReady;
        a_oTo << "  " << milliseconds(oStall.m_oTook) << " ms, " << oStall.m_oAfter.count()
              << " s after the start; the loop ran for " << milliseconds(oStall.m_oSchedule.m_oRunning)
              << " ms, had no processor for " << milliseconds(oStall.m_oSchedule.m_oReady)
              << " ms and waited for " << std::max(0.0, milliseconds(oBlocked)) << " ms\n";
        std::vector<std::string> lSeen;
        for (const auto& [sLine, iTimes] : oStall.m_mSeen) {
            lSeen.push_back(std::to_string(iTimes) + " times " + sLine);
        }
        printLines(a_oTo, "seen in that time:", lSeen);
        printLines(a_oTo, "logged in that time:", oStall.m_lLog);
    }
}

} // namespace soak
