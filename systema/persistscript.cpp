#include "systema/persistscript.h"

#include "systema/configdispatcher.h"

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
    : m_oHook(a_oHook),
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

void PersistScript::setPersistMode(EPersistMode a_eMode)
{
    m_eMode = a_eMode;
    if (a_eMode != c_ePersistNoSqlDump && std::exchange(m_bHeldBack, false)) {
        markChanged();
    }
}

bool PersistScript::isDue() const
{
    const bool bWaiting = m_oFirstUnsaved && m_oWait.count() > 0;
    return m_bTriggered || (bWaiting && m_oNow() - *m_oFirstUnsaved >= m_oWait);
}

void PersistScript::process(bool a_bFinal)
{
    if (isDue() || (a_bFinal && m_oFirstUnsaved)) {
        m_bTriggered = false;
        m_bHeldBack = m_eMode == c_ePersistNoSqlDump && (m_bHeldBack || m_oFirstUnsaved);
        m_oFirstUnsaved.reset();
        m_oHook.persist(m_eMode);
    }
}

void PersistScript::markChanged()
{
    if (!m_oFirstUnsaved) {
        m_oFirstUnsaved = m_oNow();
    }
}

} // namespace zel::cfg
