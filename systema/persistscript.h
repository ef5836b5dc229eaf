// The persistence trigger: decides when changed data is to be saved, and calls the hook that saves it.
//
// Made by main, which owns the hook too; it hands itself to the dispatcher, which marks every change of a
// persistent table. Main thread only. The hook's exceptions pass through process.
#pragma once

#include <chrono>
#include <functional>
#include <optional>

namespace zel::cfg {

class PersistScript
{
public:
    using Clock = std::chrono::steady_clock;

    static constexpr unsigned long c_iDefaultWaitSeconds = 10;

    enum EPersistMode
    {
        c_ePersistNone = 0,
        c_ePersistDefault = 1,
        c_ePersistRedundant = 2,
        c_ePersistNoSqlDump = 4,
    };

    /// Saves the data.
    class IHook
    {
    public:
        virtual ~IHook() = default;
        virtual void persist(EPersistMode a_eMode) = 0;
    };

    /// The wait runs from the first change that is not saved yet; 0 seconds means no delayed save.
    PersistScript(IHook& a_oHook, unsigned long a_iWaitSeconds, EPersistMode a_eMode,
                  std::function<Clock::time_point()> a_oNow = &Clock::now);

    /// Calls the hook when a save is triggered or the wait is over. True is the last call before the end:
    /// it calls the hook whenever anything is unsaved.
    void process(bool a_bFinal);
    /// True when process would call the hook.
    bool isDue() const;
    /// The next process calls the hook whatever is pending.
    void trigger() { m_bTriggered = true; }
    /// What the nosqldump mode has not saved is unsaved again once another mode is set.
    void setPersistMode(EPersistMode a_eMode);
    /// 0 means no delayed save.
    void setWaitTime(unsigned long a_iSeconds);
    /// A persistent table has changed.
    void markChanged();

private:
    IHook& m_oHook;
    std::chrono::seconds m_oWait;
    EPersistMode m_eMode;
    const std::function<Clock::time_point()> m_oNow;
    bool m_bTriggered = false;
    bool m_bHeldBack = false; // changed, and told to the hook only in the nosqldump mode
    std::optional<Clock::time_point> m_oFirstUnsaved;
};

} // namespace zel::cfg
