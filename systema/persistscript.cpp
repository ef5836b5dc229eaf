#include "systema/persistscript.h"

#include "systema/configdispatcher.h"
#include "zel/log.h"

#include <algorithm>
#include <utility>

namespace zel::cfg {

namespace {

/// A wait that can be added to any time; nobody notices that it is less than what was asked for.
std::chrono::seconds toWait(unsigned long a_iSeconds)
{
    constexpr unsigned long c_iTenYears = 10UL * 365 * 24 * 3600;
    return std::chrono::seconds(std::min(a_iSeconds, c_iTenYears));
}

} // namespace

PersistScript::PersistScript(IHook& a_oHook, unsigned long a_iWaitSeconds, EPersistMode a_eMode,
                             std::function<Clock::time_point()> a_oNow)
    : m_iModule(ZEL_Sysloglevel_registerModul("PersistScript")),
      m_oHook(a_oHook),
      m_oWait(toWait(a_iWaitSeconds)),
      m_eMode(a_eMode),
      m_oNow(std::move(a_oNow))
{
    systema::ConfigDispatcher::instance().setPersistScript(this);
}

void PersistScript::setWaitTime(unsigned long a_iSeconds)
{
    m_oWait = toWait(a_iSeconds);
}

const char* PersistScript::getPersistModeName() const
{
    switch (m_eMode) {
    case c_ePersistNone:
        break; // no one's mode
    case c_ePersistDefault:
        return "default";
    case c_ePersistRedundant:
        return "redundant";
    case c_ePersistNoSqlDump:
        return "nosqldump";
    }
    return "none";
}

void PersistScript::trigger()
{
    if (m_oTriggered.value_or(c_ePersistNoSqlDump) == c_ePersistNoSqlDump) { // a real save stays asked for
        m_oTriggered = m_eMode;
    }
}

bool PersistScript::isDue() const
{
    bool bDue = m_oTriggered.has_value();
    if (!bDue && m_oNextTry && m_eMode != c_ePersistNoSqlDump) {
        bDue = m_oNow() >= *m_oNextTry;
    } else if (!bDue && m_oFirstChange && m_oWait.count() > 0) {
        bDue = m_oNow() - *m_oFirstChange >= m_oWait;
    }
    return bDue && (!m_bRunning || m_oHook.getResult(false));
}

void PersistScript::process(bool a_bFinal)
{
    takeResult(a_bFinal);
    if (isDue() || (a_bFinal && isUnsaved())) {
        begin();
        takeResult(a_bFinal);
    }
    if (a_bFinal && m_oNextTry) {
        ZEL_Sysloglevel_warning(m_iModule, here(), "The last changes are not saved");
    }
}

void PersistScript::begin()
{
    const EPersistMode eMode = std::exchange(m_oTriggered, {}).value_or(m_eMode);
    const bool bChanged = std::exchange(m_oFirstChange, {}).has_value();
    if (eMode != c_ePersistNoSqlDump) {
        m_oNextTry = m_oNow() + m_oRetry; // unless it succeeds
    } else if (bChanged && !m_oNextTry) {
        m_oNextTry = m_oNow(); // as soon as the mode allows
    }
    m_oHook.persist(eMode);
    m_bRunning = eMode != c_ePersistNoSqlDump;
}

void PersistScript::takeResult(bool a_bWait)
{
    const auto oSucceeded = m_bRunning ? m_oHook.getResult(a_bWait) : std::nullopt;
    if (!oSucceeded) {
        return;
    }
    m_bRunning = false;
    if (*oSucceeded) {
        m_oNextTry.reset();
        m_oRetry = c_oFirstRetry;
    } else {
        if (!a_bWait) {
            ZEL_Sysloglevel_warning(m_iModule, here(), "The save has failed and is tried again in %ld s",
                                    static_cast<long>(m_oRetry.count()));
        }
        m_oNextTry = m_oNow() + m_oRetry;
        m_oRetry = std::min(2 * m_oRetry, c_oLongestRetry);
    }
}

void PersistScript::markChanged()
{
    if (m_oFirstChange) {
        return;
    }
    m_oFirstChange = m_oNow();
    m_oRetry = c_oFirstRetry; // what is new does not wait for an hour
    if (m_oNextTry) {
        m_oNextTry = std::min(*m_oNextTry, *m_oFirstChange + m_oRetry);
    }
}

} // namespace zel::cfg
