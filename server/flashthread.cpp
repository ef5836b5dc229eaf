#include "server/flashthread.h"

#include "zel/execute.h"
#include "zel/log.h"

#include <csignal>
#include <cstring>
#include <string_view>
#include <unistd.h>

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
    pthread_mutex_init(&m_oMutex, nullptr);
    pthread_cond_init(&m_oCondition, nullptr);
    pthread_cond_init(&m_oTaken, nullptr);
    pthread_attr_init(&m_oAttributes);
    pthread_attr_setstacksize(&m_oAttributes, c_iStackSize);
    pthread_attr_setguardsize(&m_oAttributes, static_cast<std::size_t>(::sysconf(_SC_PAGESIZE)));
    // Signals are for the main thread: they end its wait for events.
    sigset_t oAll;
    sigset_t oBefore;
    sigfillset(&oAll);
    pthread_sigmask(SIG_SETMASK, &oAll, &oBefore); // is inherited
    const int iError = pthread_create(&m_oThread, &m_oAttributes, &FlashThread::run, this);
    pthread_sigmask(SIG_SETMASK, &oBefore, nullptr);
    m_bCreated = iError == 0;
    if (!m_bCreated) {
        ZEL_Sysloglevel_error(m_iModule, {"main", 186}, "Could not create flash thread: %s",
                              std::strerror(iError));
    }
}

FlashThread::~FlashThread()
{
    pthread_mutex_lock(&m_oMutex);
    while (m_bCreated && m_bWoken) {
        pthread_cond_wait(&m_oTaken, &m_oMutex);
    }
    m_bRunning = false;
    request(PersistScript::c_ePersistNone);
    pthread_mutex_unlock(&m_oMutex);
    if (m_bCreated) {
        pthread_join(m_oThread, nullptr);
    }
    pthread_cond_destroy(&m_oTaken);
    pthread_cond_destroy(&m_oCondition);
    pthread_mutex_destroy(&m_oMutex);
    pthread_attr_destroy(&m_oAttributes);
}

void FlashThread::wake(PersistScript::EPersistMode a_eMode)
{
    pthread_mutex_lock(&m_oMutex);
    request(a_eMode);
    pthread_mutex_unlock(&m_oMutex);
}

bool FlashThread::hasFailed()
{
    pthread_mutex_lock(&m_oMutex);
    const bool bFailed = m_bFailed;
    pthread_mutex_unlock(&m_oMutex);
    return bFailed;
}

void FlashThread::request(PersistScript::EPersistMode a_eMode)
{
    if (!m_bWoken || a_eMode != PersistScript::c_ePersistNoSqlDump) { // a save not yet begun stays asked for
        m_iMode = a_eMode;
    }
    m_bWoken = true;
    pthread_cond_signal(&m_oCondition);
}

void* FlashThread::run(void* a_pSelf)
{
    static_cast<FlashThread*>(a_pSelf)->loop();
    return nullptr;
}

void FlashThread::loop()
{
    for (;;) {
        pthread_mutex_lock(&m_oMutex);
        if (!m_bRunning) {
            pthread_mutex_unlock(&m_oMutex);
            return;
        }
        while (!m_bWoken) {
            pthread_cond_wait(&m_oCondition, &m_oMutex);
        }
        m_bWoken = false;
        pthread_cond_signal(&m_oTaken);
        if (m_iMode == PersistScript::c_ePersistDefault || m_iMode == PersistScript::c_ePersistRedundant) {
            char aOutput[c_iOutputSize] = "";
            const int iResult = ZEL_Execute_Command(c_pSaveCommand, aOutput, sizeof aOutput,
                                                    std::chrono::seconds(m_iCeilingSeconds));
            m_bFailed = iResult != 0;
            if (m_bFailed) {
                const std::string_view sOutput(aOutput);
                const auto iLength = static_cast<int>(sOutput.find_last_not_of('\n') + 1);
                ZEL_Sysloglevel_error(m_iModule, {"main", 152}, "srv-save-config-active failed: %d (%.*s)",
                                      iResult, iLength, aOutput);
            }
        }
        pthread_mutex_unlock(&m_oMutex);
    }
}

} // namespace zel::cfg
