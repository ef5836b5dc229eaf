// A child of this process. It is killed and reaped when its object goes, and dies with its parent.
#pragma once

#include <functional>
#include <sys/types.h>

namespace bench {

class ChildProcess
{
public:
    /// Runs the body in a child, which ends with the status that the body returns.
    explicit ChildProcess(const std::function<int()>& a_oBody);
    ~ChildProcess();
    ChildProcess(ChildProcess&& a_oOther) noexcept;
    ChildProcess& operator=(ChildProcess&&) = delete;

    pid_t pid() const { return m_iPid; }
    /// Waits for the child to end by itself; true when its status is 0.
    bool wait();

private:
    pid_t m_iPid; // -1 once it is reaped
};

} // namespace bench
