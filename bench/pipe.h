// A pipe by which processes of a measurement wait for one another. Every failure ends the measurement.
#pragma once

#include "bench/check.h"
#include "zel/uniquefd.h"

#include <fcntl.h>
#include <string>
#include <unistd.h>

namespace bench {

struct Pipe
{
    Pipe()
    {
        int aFds[2];
        check(::pipe2(aFds, O_CLOEXEC) == 0, "no pipe");
        m_oRead.reset(aFds[0]);
        m_oWrite.reset(aFds[1]);
    }

    void tell(const std::string& a_sWhat = ".") const
    {
        check(::write(m_oWrite.get(), a_sWhat.data(), a_sWhat.size()) == static_cast<ssize_t>(a_sWhat.size()),
              "a pipe broke");
    }
    void awaitTells(int a_iCount) const
    {
        for (char c = 0; a_iCount > 0; --a_iCount) {
            check(::read(m_oRead.get(), &c, 1) == 1, "a process failed");
        }
    }
    /// What is told until nobody holds the end to write to, of which this process lets go.
    std::string awaitEnd()
    {
        m_oWrite.reset();
        std::string sTold;
        char aPart[1024];
        for (ssize_t iSize = 0; (iSize = ::read(m_oRead.get(), aPart, sizeof aPart)) > 0;) {
            sTold.append(aPart, static_cast<std::size_t>(iSize));
        }
        return sTold;
    }

    zel::UniqueFd m_oRead;
    zel::UniqueFd m_oWrite;
};

} // namespace bench
