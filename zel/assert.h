// Assertions: a failed precondition is reported to the installed hook, which throws. Resources: what the
// process cannot do without and does not find is thrown past the hook, for whoever catches it to report.
//
// The hook of the process is the DefaultAssertHook that main constructs first of all; it logs the failure
// (to syslog when told so) and throws AssertionError. Without a hook AssertionError is thrown all the same.
#pragma once

#include "zel/source.h"

#include <stdexcept>
#include <string>

namespace zel::error {

/// A failed assertion; what() is the text of the expression followed by " (source:line)".
class AssertionError : public std::logic_error
{
public:
    using std::logic_error::logic_error;
};

/// Receives failed assertions. Installed by its constructor, removed by its destructor; main thread only.
class IAssertHook
{
public:
    virtual ~IAssertHook() = default;

    /// Reports the failure and throws; a hook that returns lets AssertionError be thrown by the caller.
    virtual void onFailure(const char* a_pExpression, SourceTag a_oSource) = 0;
};

class DefaultAssertHook : public IAssertHook
{
public:
    DefaultAssertHook();
    ~DefaultAssertHook() override;
    DefaultAssertHook(const DefaultAssertHook&) = delete;
    DefaultAssertHook& operator=(const DefaultAssertHook&) = delete;

    /// True reports failures to syslog (user, error) instead of standard error.
    void setSyslog(bool a_bSyslog) { m_bSyslog = a_bSyslog; }

    void onFailure(const char* a_pExpression, SourceTag a_oSource) override;

private:
    bool m_bSyslog = false;
    IAssertHook* m_pPrevious;
};

/// Reports a failure and throws AssertionError.
[[noreturn]] void fail(const char* a_pExpression, SourceTag a_oSource);

/// Throws AssertionError with the expression's text when the condition is false.
inline void Assert(bool a_bCondition, const char* a_pExpression, SourceTag a_oSource = here())
{
    if (!a_bCondition) {
        fail(a_pExpression, a_oSource);
    }
}

/// A resource that is missing; what() is one line: the text of the expression, " (source:line): " and what is
/// missing.
class ResourceError : public std::runtime_error
{
public:
    using std::runtime_error::runtime_error;
};

/// Throws ResourceError when the condition is false; a_sMissing names the resource and the reason.
void Resource(bool a_bCondition, const char* a_pExpression, const std::string& a_sMissing,
              SourceTag a_oSource = here());

} // namespace zel::error
