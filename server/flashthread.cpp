#include "server/flashthread.h"

#include "zel/exception.h"
#include "zel/execute.h"
#include "zel/log.h"

#include <csignal>
#include <cstring>
#include <string_view>
#include <unistd.h>
#include <utility>

namespace zel::cfg {

namespace {
constexpr std::size_t c_iStackSize = 131072;
constexpr std::size_t c_iOutputSize = 2048;
constexpr const char* c_pSaveCommand = "srv-save-config-active";
} // namespace

FlashThread::FlashThread(int a_iModule, int a_iCeilingSeconds)
    : m_iModule(a_iModule),
      m_iCeilingSeconds(a_iCeilingSeconds)
{
    pthread_attr_t oAttributes;
    pthread_attr_init(&oAttributes);
    pthread_attr_setstacksize(&oAttributes, c_iStackSize);
    pthread_attr_setguardsize(&oAttributes, static_cast<std::size_t>(::sysconf(_SC_PAGESIZE)));
    // Signals are for the main thread: they end its wait for events.
    sigset_t oAll;
    sigset_t oBefore;
    sigfillset(&oAll);
    pthread_sigmask(SIG_SETMASK, &oAll, &oBefore); // is inherited
    const int iError = pthread_create(&m_oThread, &oAttributes, &FlashThread::run, this);
    pthread_sigmask(SIG_SETMASK, &oBefore, nullptr);
    pthread_attr_destroy(&oAttributes);
    m_bCreated = iError == 0;
    if (!m_bCreated) {
        ZEL_Sysloglevel_error(m_iModule, {"main", 186}, "Could not create flash thread: %s",
                              std::strerror(iError));
    }
}

FlashThread::~FlashThread()
{
    {
        const std::lock_guard oLock(m_oMutex);
        m_bRunning = false;
    }
    m_oAsked.notify_one();
    if (m_bCreated) {
        pthread_join(m_oThread, nullptr);
    }
}

void FlashThread::wake(PersistScript::EPersistMode a_eMode)
{
    {
        const std::lock_guard oLock(m_oMutex);
        if (!m_bCreated) {
            m_oResult = false;
            return;
        }
        if (!m_bWoken ||
            a_eMode != PersistScript::c_ePersistNoSqlDump) { // a save not yet begun stays asked for
            m_iMode = a_eMode;
        }
        m_bWoken = true;
        m_oResult.reset();
    }
    m_oAsked.notify_one();
}

std::optional<bool> FlashThread::getResult(bool a_bWait)
{
    std::unique_lock oLock(m_oMutex);
    if (a_bWait) {
        m_oDone.wait(oLock, [this] { return m_oResult.has_value(); });
    }
    return m_oResult;
}

void* FlashThread::run(void* a_pSelf)
{
    static_cast<FlashThread*>(a_pSelf)->loop();
    return nullptr;
}

void FlashThread::loop()
{
    std::unique_lock oLock(m_oMutex);
    for (;;) {
        m_oAsked.wait(oLock, [this] { return m_bWoken || !m_bRunning; });
        if (!std::exchange(m_bWoken, false)) {
            return;
        }
        const bool bCommand =
            m_iMode == PersistScript::c_ePersistDefault || m_iMode == PersistScript::c_ePersistRedundant;
        oLock.unlock();
        const bool bSaved = bCommand && save();
        oLock.lock();
        if (!m_bWoken) {
            m_oResult = bSaved;
            m_oDone.notify_one();
        }
    }
}

bool FlashThread::save() const
{
    try {
        char aOutput[c_iOutputSize] = "";
        const int iResult = ZEL_Execute_Command(c_pSaveCommand, aOutput, sizeof aOutput,
                                                std::chrono::seconds(m_iCeilingSeconds));
        if (iResult != 0) {
            const std::string_view sOutput(aOutput);
            const auto iLength = static_cast<int>(sOutput.find_last_not_of('\n') + 1);
            ZEL_Sysloglevel_error(m_iModule, {"main", 152}, "srv-save-config-active failed: %d (%.*s)",
                                  iResult, iLength, aOutput);
        }
        return iResult == 0;
    } catch (...) {
        ZEL_Sysloglevel_error(m_iModule, here(), "The flash save failed: %s", error::describeException());
        return false;
    }
}

} // namespace zel::cfg
