// What everybody does and has done within the last seconds, so that a stall can be laid to something. Any
// thread.
#pragma once

#include <chrono>
#include <list>
#include <mutex>
#include <optional>
#include <string>
#include <vector>

namespace soak {

using Clock = std::chrono::steady_clock;

class Journal
{
    struct Record
    {
        std::string m_sWhat;
        Clock::time_point m_oStart;
        std::optional<Clock::time_point> m_oEnd{};
        bool m_bEcho = false; // may have an effect when it is over
    };

public:
    /// Something that is under way for as long as this lives. The journal must outlive it.
    class Activity
    {
    public:
        Activity(Journal& a_oJournal, std::string a_sWhat)
            : m_oJournal(a_oJournal),
              m_it(a_oJournal.begin(std::move(a_sWhat)))
        {
        }
        ~Activity() { m_oJournal.end(m_it); }
        Activity(const Activity&) = delete;
        Activity& operator=(const Activity&) = delete;

    private:
        Journal& m_oJournal;
        const std::list<Record>::iterator m_it;
    };

    /// Something of which only the beginning can be seen, and that may have an effect for a while.
    void note(std::string a_sWhat);

    /// A line for each of these that overlaps the time: when it began, from its start on, how long it took,
    /// and what it was.
    std::vector<std::string> during(Clock::time_point a_oStart, Clock::time_point a_oEnd) const;

private:
    std::list<Record>::iterator begin(std::string a_sWhat);
    void end(std::list<Record>::iterator a_it);

    mutable std::mutex m_oMutex;
    std::list<Record> m_lRecords; // by their start
};

} // namespace soak
