// A program that a test runs. Owned by the test, which is its parent: it is killed and reaped when its object
// goes, and dies with the test program. What it writes is kept in memory, so that it never waits for a
// reader.
#pragma once

#include "zel/uniquefd.h"

#include <chrono>
#include <functional>
#include <optional>
#include <string>
#include <sys/types.h>
#include <utility>
#include <vector>

namespace e2e {

#if defined(__SANITIZE_ADDRESS__) || defined(__SANITIZE_THREAD__)
constexpr bool c_bSanitized = true;
#else
constexpr bool c_bSanitized = false;
#endif

/// How long a test waits for what must come.
constexpr std::chrono::seconds c_oDeadline{c_bSanitized ? 60 : 20};

/// Waits until the condition holds; false when it does not within the deadline.
bool eventually(const std::function<bool()>& a_oCondition);

class Process
{
public:
    struct Start
    {
        std::vector<std::string> m_lArguments;
        std::vector<std::pair<std::string, std::string>> m_lEnvironment{}; // besides our own
        std::string m_sInput{};
        std::function<void()> m_oInChild{}; // before the program takes over
    };

    Process(const std::string& a_sProgram, const Start& a_oStart);
    ~Process();
    Process(const Process&) = delete;
    Process& operator=(const Process&) = delete;

    pid_t pid() const { return m_iPid; }
    void signal(int a_iSignal) const;
    /// The wait status once it has ended; nothing when it does not within the deadline.
    std::optional<int> wait();
    bool hasEnded();

    /// What it has written so far.
    std::string output() const;
    std::string errors() const;

private:
    pid_t m_iPid;
    std::optional<int> m_oStatus;
    zel::UniqueFd m_oInput;
    zel::UniqueFd m_oOutput;
    zel::UniqueFd m_oErrors;
};

/// What a program came to: its exit status (-1 when it did not exit by itself) and what it wrote.
struct Finished
{
    int m_iStatus;
    std::string m_sOutput;
    std::string m_sErrors;
};

/// Runs a program to its end.
Finished run(const std::string& a_sProgram, const Process::Start& a_oStart);

} // namespace e2e
