// The persistence trigger: knows what is not saved yet, decides when it is to be saved, and calls the hook
// that saves it.
//
// A change is unsaved until a save that began after it has succeeded as a whole. Made by main, which owns the
// hook too; it hands itself to the dispatcher, which marks every change of a persistent table. Main thread
// only. The hook's exceptions pass through process; the save then counts as failed.
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
    /// From a save that failed to the next; each further failure doubles it.
    static constexpr std::chrono::seconds c_oFirstRetry = std::chrono::minutes(1);
    static constexpr std::chrono::seconds c_oLongestRetry = std::chrono::hours(1);

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
        /// Begins a save. Is not called while one runs.
        virtual void persist(EPersistMode a_eMode) = 0;
        /// Whether the save that began last has succeeded; nothing while it runs. With a_bWait it waits for
        /// its end.
        virtual std::optional<bool> getResult(bool a_bWait) = 0;
    };

    /// The wait runs from the first change that is not saved yet; 0 seconds means no delayed save.
    PersistScript(IHook& a_oHook, unsigned long a_iWaitSeconds, EPersistMode a_eMode,
                  std::function<Clock::time_point()> a_oNow = &Clock::now);

    /// Begins a save when one is due, and takes the result of one that has ended. True is the last call
    /// before the end: it waits for a save that runs, saves once more what is unsaved then, and waits for
    /// that.
    void process(bool a_bFinal);
    /// True when process would begin a save: one is triggered, the wait is over, or a failed one is to be
    /// tried again; but not while one runs.
    bool isDue() const;
    /// True when there are changes that no save has stored.
    bool isUnsaved() const { return m_oFirstChange || m_oNextTry; }
    /// The next process begins a save in the mode of now, whatever is pending. While a save runs one more
    /// follows it, however many are asked for.
    void trigger();
    /// What the nosqldump mode has left unsaved is saved by the next process once another mode is set.
    void setPersistMode(EPersistMode a_eMode) { m_eMode = a_eMode; }
    /// The mode's name in the FIFO command.
    const char* getPersistModeName() const;
    /// 0 means no delayed save.
    void setWaitTime(unsigned long a_iSeconds);
    std::chrono::seconds getWaitTime() const { return m_oWait; }
    /// A persistent table has changed.
    void markChanged();

private:
    void begin();
    void takeResult(bool a_bWait);

    const int m_iModule;
    IHook& m_oHook;
    std::chrono::seconds m_oWait;
    EPersistMode m_eMode;
    const std::function<Clock::time_point()> m_oNow;
    std::optional<EPersistMode> m_oTriggered;        // the mode in which a save is asked for
    std::optional<Clock::time_point> m_oFirstChange; // since the last save began
    std::optional<Clock::time_point> m_oNextTry;     // of what the last save has left unsaved
    std::chrono::seconds m_oRetry = c_oFirstRetry;
    bool m_bRunning = false;
};

} // namespace zel::cfg
