#include "zel/tool.h"

#include <algorithm>
#include <utility>

namespace zel {

Tool::Tool(Now a_oNow) : m_oNow(std::move(a_oNow)) {}

Tool::Tool(Now a_oNow, std::chrono::milliseconds a_oCeiling, std::chrono::milliseconds a_oTurn)
    : m_oNow(std::move(a_oNow)),
      m_oCeiling(a_oCeiling),
      m_oStartCeiling(a_oCeiling),
      m_oBackgroundCeiling(a_oCeiling),
      m_oTurn(a_oTurn)
{
}

bool Tool::begin(std::chrono::milliseconds a_oCeiling)
{
    m_oBegin = m_oNow();
    m_oRunCeiling = a_oCeiling;
    return !isLeftAlone();
}

int Tool::run(const std::string& a_sCommand, const Receiver& a_oOutput)
{
    return note(executeCommand(a_sCommand, a_oOutput, m_oRunCeiling));
}

void Tool::start(const std::string& a_sCommand, Receiver a_oOutput)
{
    m_pRunning = std::make_unique<RunningCommand>(a_sCommand, std::move(a_oOutput), m_oBackgroundCeiling);
}

std::optional<int> Tool::finish()
{
    const auto oLeft = std::chrono::ceil<std::chrono::milliseconds>(m_oBegin + m_oTurn - m_oNow());
    const auto oResult = m_pRunning->wait(std::max(oLeft, std::chrono::milliseconds(0)));
    if (oResult) {
        m_pRunning.reset();
        note(*oResult);
    }
    return oResult;
}

int Tool::note(int a_iResult)
{
    if (a_iResult == c_iExecuteTimedOut) {
        m_oNextTry = m_oNow() + c_oHangWait;
    }
    return a_iResult;
}

} // namespace zel
