// <syslog.h> stays out: with fortified headers it defines syslog itself.
#include "tests/unit/zel/fakesyslog.h"

#include <cstdarg>
#include <cstdio>

namespace {

std::vector<std::pair<int, std::string>> s_lMessages;
const char* s_pName = nullptr;

void keep(int a_iPriority, const char* a_pFormat, va_list a_lArguments) __attribute__((format(printf, 2, 0)));

void keep(int a_iPriority, const char* a_pFormat, va_list a_lArguments)
{
    char aText[2048];
    std::vsnprintf(aText, sizeof aText, a_pFormat, a_lArguments);
    s_lMessages.emplace_back(a_iPriority, aText);
}

} // namespace

std::vector<std::pair<int, std::string>> takeSyslog()
{
    return std::exchange(s_lMessages, {});
}

const char* openedSyslogName()
{
    return s_pName;
}

extern "C" {

void openlog(const char* a_pName, int, int)
{
    s_pName = a_pName;
}

__attribute__((format(printf, 2, 3))) void syslog(int a_iPriority, const char* a_pFormat, ...)
{
    va_list lArguments;
    va_start(lArguments, a_pFormat);
    keep(a_iPriority, a_pFormat, lArguments);
    va_end(lArguments);
}

__attribute__((format(printf, 3, 4))) void __syslog_chk(int a_iPriority, int, const char* a_pFormat, ...)
{
    va_list lArguments;
    va_start(lArguments, a_pFormat);
    keep(a_iPriority, a_pFormat, lArguments);
    va_end(lArguments);
}

} // extern "C"
