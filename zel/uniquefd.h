// A file descriptor that is closed when its owner goes.
#pragma once

#include <unistd.h>
#include <utility>

namespace zel {

class UniqueFd
{
public:
    UniqueFd() = default;
    explicit UniqueFd(int a_iFd) : m_iFd(a_iFd) {}
    ~UniqueFd() { reset(); }
    UniqueFd(UniqueFd&& a_oOther) noexcept : m_iFd(std::exchange(a_oOther.m_iFd, -1)) {}
    UniqueFd& operator=(UniqueFd&& a_oOther) noexcept
    {
        reset(std::exchange(a_oOther.m_iFd, -1));
        return *this;
    }

    /// The descriptor, -1 when there is none.
    int get() const { return m_iFd; }
    explicit operator bool() const { return m_iFd >= 0; }

    /// Closes the descriptor held so far and takes the new one.
    void reset(int a_iFd = -1)
    {
        if (m_iFd >= 0) {
            ::close(m_iFd);
        }
        m_iFd = a_iFd;
    }

private:
    int m_iFd = -1;
};

} // namespace zel
