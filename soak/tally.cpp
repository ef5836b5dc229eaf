#include "soak/tally.h"

#include <algorithm>
#include <iomanip>
#include <numeric>
#include <ostream>

namespace soak {

namespace {

constexpr std::size_t c_iShownFaults = 20;

} // namespace

void Tally::count(const std::string& a_sKind, const Status& a_oStatus, Codes a_iAllowed,
                  const std::string& a_sWhat)
{
    const unsigned iCode =
        a_oStatus.isConnectionError() ? c_iOther : std::min<unsigned>(a_oStatus.code(), c_iOther);
    {
        const std::lock_guard oGuard(m_oMutex);
        ++m_mCounts[a_sKind][iCode];
    }
    if (iCode == c_iOther || (oneOf(iCode) & a_iAllowed) == 0) {
        fault(a_sWhat + ": " + std::to_string(a_oStatus.code()) + ", " + std::string(a_oStatus.text()));
    }
}

void Tally::count(const std::string& a_sKind)
{
    const std::lock_guard oGuard(m_oMutex);
    ++m_mEvents[a_sKind];
}

void Tally::fault(const std::string& a_sWhat)
{
    const std::lock_guard oGuard(m_oMutex);
    if (++m_iFaults <= c_iShownFaults) {
        m_lFaults.push_back(a_sWhat);
    }
}

bool Tally::isGood() const
{
    const std::lock_guard oGuard(m_oMutex);
    return m_iFaults == 0;
}

void Tally::print(std::ostream& a_oTo) const
{
    const std::lock_guard oGuard(m_oMutex);
    const auto row = [&](const std::string& a_sName, unsigned long a_iAll) -> std::ostream& {
        return a_oTo << "  " << std::left << std::setw(40) << a_sName << std::right << std::setw(9) << a_iAll;
    };
    unsigned long iAll = 0;
    a_oTo << "operations, and their results by code (0 success, 1 failure or transaction lost, 2 busy, 3 "
             "locked,\n"
             "4 read-only, 5 protocol, 6 constraint, 7 type, 8 no table, 9 no column, 10 no row)\n";
    for (const auto& [sKind, lCounts] : m_mCounts) {
        const auto iKind = std::accumulate(lCounts.begin(), lCounts.end(), 0UL);
        iAll += iKind;
        row(sKind, iKind) << "  ";
        for (std::size_t i = 0; i < lCounts.size(); ++i) {
            if (lCounts[i] != 0) {
                a_oTo << "  " << (i == c_iOther ? "other" : std::to_string(i)) << ": " << lCounts[i];
            }
        }
        a_oTo << '\n';
    }
    row("all", iAll) << "\nevents\n";
    for (const auto& [sKind, iCount] : m_mEvents) {
        row(sKind, iCount) << '\n';
    }
    a_oTo << "faults: " << m_iFaults << '\n';
    for (const auto& sFault : m_lFaults) {
        a_oTo << "  " << sFault << '\n';
    }
}

} // namespace soak
