#include "server/fifohandler.h"

#include "server/databasehold.h"
#include "server/sqlitedump.h"
#include "server/waitseconds.h"
#include "systema/configdispatcher.h"
#include "systema/persistscript.h"
#include "zel/assert.h"
#include "zel/log.h"
#include "zel/logclient.h"

#include <cerrno>
#include <chrono>
#include <cstring>
#include <fcntl.h>
#include <string_view>
#include <utility>

namespace zel::cfg {

namespace {

using systema::ConfigDispatcher;

constexpr std::chrono::seconds c_oReopenRetry{1};
constexpr std::chrono::seconds c_oNameCheck{2};
constexpr int c_iEqualCommands = 256; // that are taken as one; a FIFO holds no more
constexpr unsigned c_iLogLines = 16;  // of a kind in a second: nobody knows which of several clients writes

constexpr SourceTag tag(unsigned a_iLine)
{
    return {"fifohandler", a_iLine};
}

/// Compared by the word's own length only.
bool startsWith(const char* a_pText, std::string_view a_sWord)
{
    return std::strncmp(a_pText, a_sWord.data(), a_sWord.size()) == 0;
}

/// What stands before the first blank or line end.
std::string firstWord(const char* a_pText)
{
    return {a_pText, std::strcspn(a_pText, " \t\r\n")};
}

} // namespace

FifoHandler::FifoHandler(systema::net::EventDispatcher& a_oEvents, SqliteDump& a_oDump,
                         PersistScript& a_oScript, const std::string& a_sFifoFile,
                         std::function<Clock::time_point()> a_oNow)
    : m_iModule(ZEL_Sysloglevel_registerModul("LedgerdFifo")),
      m_oEvents(a_oEvents),
      m_oDump(a_oDump),
      m_oScript(a_oScript),
      m_oFifo(a_sFifoFile, O_NONBLOCK),
      m_oNow(std::move(a_oNow))
{
    listen();
    checkName();
}

FifoHandler::~FifoHandler()
{
    ConfigDispatcher::instance().callWhenFree(nullptr);
    for (const auto& oTimer : {m_oTimer, m_oDumpTimer, m_oCheck}) {
        if (oTimer) {
            m_oEvents.cancelTimer(*oTimer);
        }
    }
    m_oFifo.unlink();
    m_oEvents.unregisterHandler(m_oFifo.getFd());
}

void FifoHandler::listen()
{
    if (!m_oEvents.registerHandler(m_oFifo.getFd(), 0, this)) {
        ZEL_Sysloglevel_error(m_iModule, here(), "Could not listen to the FIFO: %s", std::strerror(errno));
    }
}

void FifoHandler::handleEvent(int a_iFd)
{
    error::Assert(a_iFd == m_oFifo.getFd(), "a_handle == m_oFifo.getFd()", tag(59));
    handle(read().value_or(Command()));
}

std::optional<FifoHandler::Command> FifoHandler::read()
{
    Command aCommand{};
    return m_oFifo.read(aCommand.data(), sys::c_iFifoCommandSize) > 0 ? std::optional(aCommand)
                                                                      : std::nullopt;
}

void FifoHandler::handle(const Command& a_aCommand)
{
    m_oTimer.reset();
    m_oEvents.endPass(); // a command takes effect between passes, and shall do so now
    auto oNext = read();
    for (int i = 1; oNext == a_aCommand && i < c_iEqualCommands; ++i) {
        oNext = read();
    }
    if (oNext) { // its turn is the next pass
        m_oTimer = m_oEvents.startTimer({}, [this, aNext = *oNext] { handle(aNext); });
    }
    m_oEvents.unregisterHandler(m_oFifo.getFd());
    if (!oNext) {
        reopen();
    }
    const LogClient oMark(0, LogClient::c_iFifo, c_iLogLines);
    execute(a_aCommand.data()); // last, so that the next is handled whatever becomes of this one
}

void FifoHandler::checkName()
{
    m_oCheck = m_oEvents.startTimer(c_oNameCheck, [this] { checkName(); });
    if (!m_oTimer && m_oFifo.hasLostName()) { // else it is about to be opened anyway
        ZEL_Sysloglevel_warning(m_iModule, here(), "The FIFO was removed and is made again");
        m_oEvents.unregisterHandler(m_oFifo.getFd());
        reopen();
    }
}

void FifoHandler::reopen()
{
    m_oTimer.reset();
    if (m_oFifo.reopen()) {
        m_bFailureLogged = false;
        listen();
        return;
    }
    // The old descriptor would tell of its writers' end without end, so it is not listened to meanwhile.
    if (!std::exchange(m_bFailureLogged, true)) {
        ZEL_Sysloglevel_error(m_iModule, here(), "Could not reopen the FIFO: %s", std::strerror(errno));
    }
    m_oTimer = m_oEvents.startTimer(c_oReopenRetry, [this] { reopen(); });
}

void FifoHandler::execute(const char* a_pCommand)
{
    if (startsWith(a_pCommand, "trigger")) {
        ZEL_Sysloglevel_info(m_iModule, tag(67), "Trigger request via FIFO");
        trigger();
    } else if (startsWith(a_pCommand, "lock")) {
        ZEL_Sysloglevel_info(m_iModule, tag(72), "Lock request via FIFO");
        if (ConfigDispatcher::instance().isLocked()) {
            ZEL_Sysloglevel_info(m_iModule, here(),
                                 "The configuration is locked already; one unlock ends it");
        }
        ConfigDispatcher::instance().lock();
    } else if (startsWith(a_pCommand, "unlock")) {
        ZEL_Sysloglevel_info(m_iModule, tag(77), "Unlock request via FIFO");
        ConfigDispatcher::instance().unlock();
    } else if (startsWith(a_pCommand, "dump")) {
        ZEL_Sysloglevel_info(m_iModule, tag(82), "Dump request via FIFO");
        requestDump(a_pCommand + 5);
    } else if (startsWith(a_pCommand, "waittime")) {
        setWaitTime(a_pCommand + 9);
    } else if (startsWith(a_pCommand, "persistmode")) {
        setPersistMode(a_pCommand + 12);
    } else if (!firstWord(a_pCommand).empty()) {
        ZEL_Sysloglevel_warning(m_iModule, here(), "Unknown command via FIFO: %.40s",
                                firstWord(a_pCommand).c_str());
    }
}

void FifoHandler::setWaitTime(const char* a_pSeconds)
{
    const auto oSeconds = parseWaitSeconds(firstWord(a_pSeconds));
    if (!oSeconds) {
        ZEL_Sysloglevel_error(m_iModule, here(), "Invalid wait time requested");
        return;
    }
    ZEL_Sysloglevel_info(m_iModule, tag(116), "Wait time change request via FIFO: new value %u", *oSeconds);
    m_oScript.setWaitTime(*oSeconds);
}

void FifoHandler::trigger()
{
    PersistScript* pScript = ConfigDispatcher::instance().getPersistScript();
    error::Assert(nullptr != pScript, "0 != pScript");
    pScript->trigger();
}

void FifoHandler::requestDump(const char* a_pOption)
{
    const bool bAll = startsWith(a_pOption, "-a");
    const bool bPersistent = bAll || startsWith(a_pOption, "-p");
    const bool bTransient = bAll || startsWith(a_pOption, "-t");
    if (!bPersistent && !bTransient) {
        ZEL_Sysloglevel_error(m_iModule, tag(100), "Invalid options for dump");
        return;
    }
    m_bDumpPersistent = m_bDumpPersistent || bPersistent;
    m_bDumpTransient = m_bDumpTransient || bTransient;
    const auto oPause = std::chrono::ceil<std::chrono::milliseconds>(m_oNextDump - m_oNow());
    if (oPause.count() <= 0) {
        dumpWhenFree();
    } else if (!m_oDumpTimer) {
        m_oDumpTimer = m_oEvents.startTimer(oPause, [this] {
            m_oDumpTimer.reset();
            m_oEvents.endPass();
            dumpWhenFree();
        });
    }
}

void FifoHandler::dumpWhenFree()
{
    ConfigDispatcher::instance().callWhenFree([this] { dump(); });
}

void FifoHandler::dump()
{
    const bool bPersistent = std::exchange(m_bDumpPersistent, false);
    const bool bTransient = std::exchange(m_bDumpTransient, false);
    const auto oBegin = m_oNow();
    {
        const DatabaseHold oHold(this);
        m_oDump.dump(bPersistent, bTransient, SqliteDump::c_iRetries);
    }
    const auto oEnd = m_oNow();
    m_oNextDump = oEnd + (oEnd - oBegin);
}

void FifoHandler::setPersistMode(const char* a_pMode)
{
    const auto oWait = m_oScript.getWaitTime();
    if (startsWith(a_pMode, "default")) {
        ZEL_Sysloglevel_info(m_iModule, tag(123), "Persist mode default change request via FIFO");
        m_oScript.setPersistMode(PersistScript::c_ePersistDefault);
        m_oScript.setWaitTime(PersistScript::c_iDefaultWaitSeconds);
    } else if (startsWith(a_pMode, "redundant")) {
        ZEL_Sysloglevel_info(m_iModule, tag(129), "Persist mode redundant change request via FIFO");
        m_oScript.setPersistMode(PersistScript::c_ePersistRedundant);
        m_oScript.setWaitTime(0);
    } else if (startsWith(a_pMode, "nosqldump")) {
        ZEL_Sysloglevel_info(m_iModule, tag(135), "Persist mode nosqldump change request via FIFO");
        m_oScript.setPersistMode(PersistScript::c_ePersistNoSqlDump);
    } else {
        ZEL_Sysloglevel_error(m_iModule, tag(140), "Invalid persist mode requested");
    }
    if (m_oScript.getWaitTime() != oWait) {
        ZEL_Sysloglevel_info(m_iModule, here(), "The wait time is %ld s now, it was %ld s",
                             static_cast<long>(m_oScript.getWaitTime().count()),
                             static_cast<long>(oWait.count()));
    }
}

} // namespace zel::cfg
