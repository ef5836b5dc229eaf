// The thread that runs the flash-save command, so that the event loop does not wait for slow flash unless a
// second save comes while the first one runs.
//
// Owned by main. Everything shared with the thread is guarded by one mutex, which the thread holds while the
// command runs: a wake-up that comes meanwhile waits for its end, and the command then runs once more. So
// that a command which hangs cannot hold the daemon up for ever it is killed at its ceiling. A thread that
// cannot be created is logged; the daemon then runs without flash saves.
#pragma once

#include "systema/persistscript.h"

#include <pthread.h>

namespace zel::cfg {

class FlashThread
{
public:
    /// Seconds that the flash-save command may take.
    static constexpr int c_iCeilingSeconds = 30;

    /// Creates the thread; a_iModule is the log module of main.
    explicit FlashThread(int a_iModule, int a_iCeilingSeconds = c_iCeilingSeconds);
    /// Ends and joins the thread. A save asked for before is still run, and waited for.
    ~FlashThread();
    FlashThread(const FlashThread&) = delete;
    FlashThread& operator=(const FlashThread&) = delete;

    /// Asks for a flash save in the mode. In the nosqldump mode nothing reaches flash.
    void wake(PersistScript::EPersistMode a_eMode);
    /// True when the last save failed. Waits for one that runs.
    bool hasFailed();

private:
    static void* run(void* a_pSelf);
    void loop();
    /// With the mutex held.
    void request(PersistScript::EPersistMode a_eMode);

    const int m_iModule;
    const int m_iCeilingSeconds;
    pthread_mutex_t m_oMutex;
    pthread_cond_t m_oCondition; // something is asked for
    pthread_cond_t m_oTaken;     // what was asked for is being done
    pthread_attr_t m_oAttributes;
    pthread_t m_oThread{};
    bool m_bCreated = false;
    int m_iMode = PersistScript::c_ePersistNone; // last asked for; not cleared by the command, by design
    bool m_bWoken = false;
    bool m_bFailed = false;
    bool m_bRunning = true;
};

} // namespace zel::cfg
