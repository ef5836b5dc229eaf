#include "zel/tool.h"

#include <utility>

namespace zel {

Tool::Tool(Now a_oNow, std::chrono::milliseconds a_oCeiling)
    : m_oNow(std::move(a_oNow)),
      m_oCeiling(a_oCeiling)
{
}

bool Tool::begin(std::chrono::milliseconds a_oCeiling)
{
    m_oBegin = m_oNow();
    m_oEnd = m_oBegin + a_oCeiling;
    return !isLeftAlone();
}

int Tool::run(const std::string& a_sCommand, const std::function<void(std::string_view)>& a_oOutput)
{
    // Rounded up, as 0 would be no ceiling at all.
    const auto oLeft = std::chrono::ceil<std::chrono::milliseconds>(m_oEnd - m_oNow());
    const int iResult = oLeft.count() > 0 ? executeCommand(a_sCommand, a_oOutput, oLeft) : c_iExecuteTimedOut;
    if (iResult == c_iExecuteTimedOut) {
        m_oNextTry = m_oNow() + c_oHangWait;
    }
    return iResult;
}

} // namespace zel
