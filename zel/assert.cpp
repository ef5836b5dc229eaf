#include "zel/assert.h"

#include "zel/logline.h"

#include <atomic>
#include <syslog.h>

namespace zel::error {

namespace {

constinit std::atomic<IAssertHook*> s_pHook{nullptr};

std::string describe(const char* a_pExpression, SourceTag a_oSource)
{
    std::string sText = a_pExpression;
    sText.append(" (").append(shownName(a_oSource)).append(":");
    return sText.append(std::to_string(a_oSource.m_iLine)).append(")");
}

} // namespace

DefaultAssertHook::DefaultAssertHook() : m_pPrevious(s_pHook.exchange(this)) {}

DefaultAssertHook::~DefaultAssertHook()
{
    s_pHook = m_pPrevious;
}

void DefaultAssertHook::onFailure(const char* a_pExpression, SourceTag a_oSource)
{
    const std::string sText = describe(a_pExpression, a_oSource);
    writeLogLine(m_bSyslog, {LOG_USER | LOG_ERR, "error", a_oSource, "Assertion failed: ", sText}, true);
    throw AssertionError(sText);
}

void fail(const char* a_pExpression, SourceTag a_oSource)
{
    if (IAssertHook* pHook = s_pHook) {
        pHook->onFailure(a_pExpression, a_oSource);
    }
    throw AssertionError(describe(a_pExpression, a_oSource));
}

void Resource(bool a_bCondition, const char* a_pExpression, const std::string& a_sMissing,
              SourceTag a_oSource)
{
    if (!a_bCondition) {
        throw ResourceError(describe(a_pExpression, a_oSource) + ": " + a_sMissing);
    }
}

} // namespace zel::error
