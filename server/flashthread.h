// The thread that runs the flash-save command, so that the event loop does not wait for slow flash.
//
// Owned by main. Everything shared with the thread is guarded by one mutex, which nobody holds while the
// command runs. So that a command which hangs cannot keep the daemon from its end for ever it is killed at
// its ceiling. A thread that cannot be created is logged; every save then fails.
#pragma once

#include "systema/persistscript.h"

#include <condition_variable>
#include <mutex>
#include <optional>
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

    /// Asks for a flash save in the mode. While one runs, one more follows it. In the nosqldump mode nothing
    /// reaches flash.
    void wake(PersistScript::EPersistMode a_eMode);
    /// Whether the last flash save asked for has succeeded; nothing while it runs. With a_bWait it waits for
    /// its end.
    std::optional<bool> getResult(bool a_bWait);

private:
    static void* run(void* a_pSelf);
    void loop();
    bool save() const;

    const int m_iModule;
    const int m_iCeilingSeconds;
    std::mutex m_oMutex;
    std::condition_variable m_oAsked;
    std::condition_variable m_oDone;
    pthread_t m_oThread{};
    bool m_bCreated = false;
    int m_iMode = PersistScript::c_ePersistNone; // last asked for; not cleared by the command, by design
    bool m_bWoken = false;
    std::optional<bool> m_oResult;
    bool m_bRunning = true;
};

} // namespace zel::cfg
