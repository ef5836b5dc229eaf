#include "dbus/neighbour.h"

#include <ctime>
#include <iomanip>
#include <ostream>
#include <utility>

namespace zel {

Neighbour::Neighbour(std::string a_sFirst, std::string a_sSecond, std::string a_sMacAddress,
                     unsigned a_iState, bool a_bRemoved, Clock::time_point a_oArrival)
    : m_sFirst(std::move(a_sFirst)),
      m_sSecond(std::move(a_sSecond)),
      m_sMacAddress(std::move(a_sMacAddress)),
      m_iState(a_iState),
      m_bRemoved(a_bRemoved),
      m_oArrival(a_oArrival)
{
}

void Neighbour::print(std::ostream& a_oStream) const
{
    const std::time_t oArrival = Clock::to_time_t(m_oArrival);
    std::tm oLocal{};
    ::localtime_r(&oArrival, &oLocal);
    a_oStream << "Neighbour '" << m_sFirst << "' '" << m_sSecond << "' '" << m_sMacAddress << "' " << m_iState
              << ' ' << (m_bRemoved ? "Rem " : "New ") << std::put_time(&oLocal, "%H:%M:%S");
}

} // namespace zel
