#include "tools/script.h"

#include "cli/assignment.h"
#include "cli/words.h"

#include <algorithm>
#include <array>
#include <cerrno>
#include <cstdio>
#include <cstring>
#include <poll.h>
#include <sysexits.h>
#include <unistd.h>

namespace zel::netsim {

namespace {

constexpr std::size_t c_iLongestLine = 64 * 1024;

struct Command
{
    const char* m_pName;
    const char* m_pUsage;
    std::size_t m_iLeastArguments;
    Failure (Script::*m_pRun)(Words);
};

constexpr std::array c_aCommands = {
    Command{"emit", "SIGNAL [ARG...]", 1, &Script::send},
    Command{"storm", "N SIGNAL [ARG...]", 2, &Script::storm},
    Command{"bad", "SIGNAL TYPES [ARG...]", 2, &Script::sendBad},
    Command{"link", "DEVICE up|down", 2, &Script::link},
    Command{"cache", "NAME [LINE...]", 1, &Script::cache},
    Command{"sleep", "MS", 1, &Script::sleep},
};

} // namespace

std::string describeCommands()
{
    std::string sText;
    for (const Command& oCommand : c_aCommands) {
        sText += std::string("  ") + oCommand.m_pName + " " + oCommand.m_pUsage + "\n";
    }
    return sText;
}

Failure Script::send(Words a_lArguments)
{
    return emit(a_lArguments[0], {}, a_lArguments.subspan(1));
}

Failure Script::storm(Words a_lArguments)
{
    const auto iTimes = systema::cli::parseNumber<unsigned>(a_lArguments[0]);
    return iTimes ? emit(a_lArguments[1], {}, a_lArguments.subspan(2), *iTimes)
                  : "\"" + a_lArguments[0] + "\" is no number of signals";
}

Failure Script::sendBad(Words a_lArguments)
{
    return emit(a_lArguments[0], a_lArguments[1], a_lArguments.subspan(2));
}

Failure Script::emit(const std::string& a_sSignal, const std::optional<std::string>& a_oTypes,
                     Words a_lArguments, unsigned a_iTimes)
{
    Message oMessage;
    auto oFailure = makeSignal(a_sSignal, a_oTypes, a_lArguments, oMessage);
    if (!oFailure) {
        m_oBus.send(oMessage, a_iTimes);
    }
    return oFailure;
}

Failure Script::link(Words a_lArguments)
{
    const bool bUp = a_lArguments[1] == "up";
    if (!bUp && a_lArguments[1] != "down") {
        return "a link is up or down, not \"" + a_lArguments[1] + "\"";
    }
    m_oSimulator.setLink(a_lArguments[0], bUp);
    return {};
}

Failure Script::cache(Words a_lArguments)
{
    if (a_lArguments[0].find('/') != std::string::npos) {
        return "\"" + a_lArguments[0] + "\" is no name of a file in /tmp";
    }
    std::string sText;
    for (const auto& sLine : a_lArguments.subspan(1)) {
        sText += sLine + "\n";
    }
    m_oSimulator.setCache(a_lArguments[0], std::move(sText));
    return {};
}

Failure Script::sleep(Words a_lArguments)
{
    const auto iMs = systema::cli::parseNumber<unsigned>(a_lArguments[0]);
    if (!iMs) {
        return "\"" + a_lArguments[0] + "\" is no number of milliseconds";
    }
    m_oWakeUp = Clock::now() + std::chrono::milliseconds(*iMs);
    return {};
}

Failure Script::execute(std::string_view a_sLine)
{
    const auto oWords = systema::cli::splitWords(a_sLine);
    if (!oWords) {
        return "a quote is not closed";
    }
    if (oWords->empty()) {
        return {};
    }
    const auto it = std::ranges::find(c_aCommands, std::string_view(oWords->front()), &Command::m_pName);
    if (it == c_aCommands.end()) {
        return "there is no command \"" + oWords->front() + "\"";
    }
    const Words lArguments = Words(*oWords).subspan(1);
    if (lArguments.size() < it->m_iLeastArguments) {
        return std::string("usage: ") + it->m_pName + " " + it->m_pUsage;
    }
    return (this->*it->m_pRun)(lArguments);
}

void Script::executeLines()
{
    std::size_t iEnd = 0;
    while (!isAsleep() && (iEnd = m_sInput.find('\n')) != std::string::npos) {
        ++m_iLine;
        if (const auto oFailure = execute(std::string_view(m_sInput).substr(0, iEnd))) {
            complain(*oFailure);
        }
        m_sInput.erase(0, iEnd + 1);
    }
}

bool Script::read(int a_iInput)
{
    std::array<char, 4096> aBuffer;
    const ssize_t iRead = ::read(a_iInput, aBuffer.data(), aBuffer.size());
    if (iRead < 0 && errno == EINTR) {
        return true;
    }
    if (iRead > 0 && m_sInput.size() < c_iLongestLine) {
        m_sInput.append(aBuffer.data(), static_cast<std::size_t>(iRead));
        return true;
    }
    if (iRead != 0) {
        complain(iRead < 0 ? std::strerror(errno) : "the line is too long");
        m_sInput.clear();
    } else if (!m_sInput.empty()) {
        m_sInput += '\n'; // the last line may lack it
    }
    return false;
}

void Script::complain(const std::string& a_sWhat)
{
    std::fprintf(stderr, "ledger-netsim: line %u: %s\n", m_iLine, a_sWhat.c_str());
    m_bFaulty = true;
}

int Script::run(int a_iInput, bool a_bStay)
{
    for (bool bOpen = true;;) {
        executeLines();
        if (!m_oBus.dispatch()) {
            return EX_UNAVAILABLE;
        }
        if (!bOpen && !a_bStay && m_sInput.empty() && !isAsleep()) {
            return !m_oBus.finish() ? EX_UNAVAILABLE : m_bFaulty ? EX_USAGE : EX_OK;
        }
        const auto oSleep = std::chrono::ceil<std::chrono::milliseconds>(m_oWakeUp - Clock::now());
        const bool bListen = bOpen && oSleep.count() <= 0;
        std::array aPolls = {pollfd{m_oBus.descriptor(), POLLIN, 0},
                             pollfd{bListen ? a_iInput : -1, POLLIN, 0}};
        ::poll(aPolls.data(), aPolls.size(), oSleep.count() <= 0 ? -1 : static_cast<int>(oSleep.count()));
        if (aPolls[1].revents != 0) {
            bOpen = read(a_iInput);
        }
    }
}

} // namespace zel::netsim
