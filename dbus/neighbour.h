// One event of the neighbour service, as it arrived.
#pragma once

#include <chrono>
#include <iosfwd>
#include <string>

namespace zel {

class Neighbour
{
public:
    using Clock = std::chrono::system_clock;

    Neighbour(std::string a_sFirst, std::string a_sSecond, std::string a_sMacAddress, unsigned a_iState,
              bool a_bRemoved, Clock::time_point a_oArrival);

    const std::string& macAddress() const { return m_sMacAddress; }
    /// Prints "Neighbour ", the three texts in quotes, the state, "New " or "Rem ", and the time of arrival.
    void print(std::ostream& a_oStream) const;

private:
    std::string m_sFirst;
    std::string m_sSecond;
    std::string m_sMacAddress;
    unsigned m_iState;
    bool m_bRemoved;
    Clock::time_point m_oArrival;
};

} // namespace zel
