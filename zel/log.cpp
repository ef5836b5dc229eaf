#include "zel/log.h"

#include "zel/logline.h"
#include "zel/systempath.h"

#include <algorithm>
#include <array>
#include <atomic>
#include <cerrno>
#include <cstdarg>
#include <cstdio>
#include <cstdlib>
#include <mutex>
#include <string_view>
#include <syslog.h>

namespace zel {

namespace {

struct Level
{
    ELogBit m_eBit;
    std::string_view m_sName;
    int m_iPriority;
};

constexpr Level c_oError{c_iLogError, "error", LOG_ERR};
constexpr Level c_oWarning{c_iLogWarning, "warning", LOG_WARNING};
constexpr Level c_oInfo{c_iLogInfo, "info", LOG_INFO};
constexpr Level c_oStatus{c_iLogStatus, "status", LOG_NOTICE};
constexpr Level c_oDebug{c_iLogDebug, "debug", LOG_DEBUG};
constexpr Level c_oTrace{c_iLogTrace, "trace", LOG_DEBUG};

/// Who asks for the others wants to see everything.
constexpr unsigned c_iLimited = c_iLogError | c_iLogWarning | c_iLogInfo | c_iLogStatus;

constexpr int c_iModules = 256;

/// A name of at most 47 bytes, always terminated.
class ModuleName
{
public:
    static std::string_view cut(const char* a_pName)
    {
        return std::string_view(a_pName).substr(0, c_iRoom - 1);
    }
    std::string_view get() const { return m_aText.data(); }
    void set(std::string_view a_sName) { *std::copy(a_sName.begin(), a_sName.end(), m_aText.begin()) = '\0'; }

private:
    static constexpr std::size_t c_iRoom = 48;
    std::array<char, c_iRoom> m_aText{};
};

struct Module
{
    ModuleName m_oName; // written once, before the module's handle is given to anybody
    std::atomic<int> m_iLevel{0};
};

/// The modules by handle. Writers hold the mutex; a line reads its own module without it.
class Registry
{
public:
    int add(const char* a_pName)
    {
        const std::lock_guard oGuard(m_oMutex);
        return findOrAdd(a_pName);
    }

    void setLevel(const char* a_pName, int a_iLevel)
    {
        const std::lock_guard oGuard(m_oMutex);
        m_aModules[findOrAdd(a_pName)].m_iLevel = a_iLevel;
    }

    int level(const char* a_pName)
    {
        const std::lock_guard oGuard(m_oMutex);
        const int iAt = find(ModuleName::cut(a_pName));
        return iAt < m_iCount ? m_aModules[iAt].m_iLevel.load() : m_iDefaultLevel;
    }

    void setDefaultLevel(int a_iLevel)
    {
        const std::lock_guard oGuard(m_oMutex);
        m_iDefaultLevel = a_iLevel;
    }

    const Module* get(int a_iHandle) const
    {
        return a_iHandle >= 0 && a_iHandle < c_iModules ? &m_aModules[a_iHandle] : nullptr;
    }

private:
    int find(std::string_view a_sName) const
    {
        int iAt = 0;
        while (iAt < m_iCount && m_aModules[iAt].m_oName.get() != a_sName) {
            ++iAt;
        }
        return iAt;
    }

    int findOrAdd(const char* a_pName)
    {
        const std::string_view sName = ModuleName::cut(a_pName);
        const int iAt = std::min(find(sName), c_iModules - 1);
        if (iAt == m_iCount) {
            m_aModules[iAt].m_oName.set(sName);
            m_aModules[iAt].m_iLevel = m_iDefaultLevel;
            ++m_iCount;
        }
        return iAt;
    }

    std::mutex m_oMutex;
    std::array<Module, c_iModules> m_aModules{};
    int m_iCount = 0;
    int m_iDefaultLevel = c_iTraceLevelNormal;
};

constinit Registry s_oRegistry;
constinit std::atomic<bool> s_bBackground{false};

__attribute__((format(printf, 4, 0))) void log(const Level& a_oLevel, int a_iModule, SourceTag a_oSource,
                                               const char* a_pFormat, va_list a_lArguments)
{
    const Module* pModule = s_oRegistry.get(a_iModule);
    if (!pModule || !(pModule->m_iLevel.load(std::memory_order_relaxed) & a_oLevel.m_eBit)) {
        return;
    }
    const int iErrno = errno;
    // The text's share of the line is smaller than this, so a character cut here is cut again there.
    std::array<char, c_iLogLineLimit> aText;
    const bool bFormatted = std::vsnprintf(aText.data(), aText.size(), a_pFormat, a_lArguments) >= 0;
    std::string_view sText = bFormatted ? aText.data() : a_pFormat;
    if (sText.ends_with('\n')) {
        sText.remove_suffix(1);
    }
    const bool bBackground = s_bBackground;
    const LogHead oHead(bBackground, pModule->m_oName.get(), a_oSource);
    const LogLine oLine{LOG_DAEMON | a_oLevel.m_iPriority, a_oLevel.m_sName, a_oSource, oHead.get(), sText};
    writeLogLine(bBackground, oLine, a_oLevel.m_eBit & c_iLimited);
    errno = iErrno;
}

} // namespace

} // namespace zel

void ZEL_Sysloglevel_construct2(const char* a_pProgram)
{
    zel::openLog(a_pProgram, zel::systemPath("/dev/log"));
    zel::s_bBackground = false;
    static const bool s_bFinishes = std::atexit([] { zel::finishLog(zel::s_bBackground); }) == 0;
    (void)s_bFinishes;
}

void ZEL_Sysloglevel_flush()
{
    zel::flushLog(zel::s_bBackground);
}

int ZEL_Sysloglevel_registerModul(const char* a_pModule)
{
    return zel::s_oRegistry.add(a_pModule);
}

void ZEL_Sysloglevel_setDefaultTracelevel(int a_iLevel)
{
    zel::s_oRegistry.setDefaultLevel(a_iLevel);
}

void ZEL_Sysloglevel_changeTracelevel(const char* a_pModule, int a_iLevel)
{
    zel::s_oRegistry.setLevel(a_pModule, a_iLevel);
}

int ZEL_Sysloglevel_getTracelevel(const char* a_pModule)
{
    return zel::s_oRegistry.level(a_pModule);
}

void ZEL_Sysloglevel_set(bool a_bBackground)
{
    zel::s_bBackground = a_bBackground;
}

void ZEL_Sysloglevel_error(int a_iModule, zel::SourceTag a_oSource, const char* a_pFormat, ...)
{
    va_list lArguments;
    va_start(lArguments, a_pFormat);
    zel::log(zel::c_oError, a_iModule, a_oSource, a_pFormat, lArguments);
    va_end(lArguments);
}

void ZEL_Sysloglevel_warning(int a_iModule, zel::SourceTag a_oSource, const char* a_pFormat, ...)
{
    va_list lArguments;
    va_start(lArguments, a_pFormat);
    zel::log(zel::c_oWarning, a_iModule, a_oSource, a_pFormat, lArguments);
    va_end(lArguments);
}

void ZEL_Sysloglevel_info(int a_iModule, zel::SourceTag a_oSource, const char* a_pFormat, ...)
{
    va_list lArguments;
    va_start(lArguments, a_pFormat);
    zel::log(zel::c_oInfo, a_iModule, a_oSource, a_pFormat, lArguments);
    va_end(lArguments);
}

void ZEL_Sysloglevel_status(int a_iModule, zel::SourceTag a_oSource, const char* a_pFormat, ...)
{
    va_list lArguments;
    va_start(lArguments, a_pFormat);
    zel::log(zel::c_oStatus, a_iModule, a_oSource, a_pFormat, lArguments);
    va_end(lArguments);
}

void ZEL_Sysloglevel_debug(int a_iModule, zel::SourceTag a_oSource, const char* a_pFormat, ...)
{
    va_list lArguments;
    va_start(lArguments, a_pFormat);
    zel::log(zel::c_oDebug, a_iModule, a_oSource, a_pFormat, lArguments);
    va_end(lArguments);
}

void ZEL_Sysloglevel_trace(int a_iModule, zel::SourceTag a_oSource, const char* a_pFormat, ...)
{
    va_list lArguments;
    va_start(lArguments, a_pFormat);
    zel::log(zel::c_oTrace, a_iModule, a_oSource, a_pFormat, lArguments);
    va_end(lArguments);
}
