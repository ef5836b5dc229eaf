#include "soak/memory.h"

#include <algorithm>
#include <iomanip>
#include <ostream>
#include <span>
#include <utility>

namespace soak {

namespace {

constexpr std::size_t c_iLeastSamples = 300; // in less time there is no telling
constexpr double c_fStart = 0.05;            // once the daemon knows its clients
constexpr double c_fMiddle = 0.45;
constexpr double c_fEnd = 0.9;
constexpr double c_fGrowth = 1.03;
constexpr long c_iGrowthKiB = 256;

} // namespace

Usage Memory::least(double a_fFrom) const
{
    const auto iAll = m_lSamples.size();
    const auto iFirst = static_cast<std::size_t>(static_cast<double>(iAll) * a_fFrom);
    const auto oWindow = std::span(m_lSamples).subspan(iFirst, std::max<std::size_t>(1, iAll / 10));
    const auto least = [&](long Usage::*a_pFigure) {
        return std::ranges::min(oWindow, {}, a_pFigure).*a_pFigure;
    };
    return {least(&Usage::m_iResidentKiB), least(&Usage::m_iDescriptors)};
}

bool Memory::isFlat() const
{
    if (m_lSamples.size() < c_iLeastSamples) {
        return true;
    }
    const auto fMiddle = static_cast<double>(least(c_fMiddle).m_iResidentKiB);
    return static_cast<double>(least(c_fEnd).m_iResidentKiB - c_iGrowthKiB) <= fMiddle * c_fGrowth;
}

void Memory::print(std::ostream& a_oTo) const
{
    a_oTo << "memory: "
          << (m_lSamples.size() < c_iLeastSamples ? "too short to tell whether it is flat"
              : isFlat()                          ? "flat"
                                                  : "NOT FLAT")
          << ": at the end at most 3 % and " << c_iGrowthKiB
          << " KiB above the middle (the least in a tenth of the run each)\n";
    for (const auto& [pWhen, fFrom] :
         {std::pair("start", c_fStart), {"middle", c_fMiddle}, {"end", c_fEnd}}) {
        const auto oUsage = least(fFrom);
        a_oTo << "  " << std::left << std::setw(8) << pWhen << std::right << std::setw(10)
              << oUsage.m_iResidentKiB << " KiB" << std::setw(6) << oUsage.m_iDescriptors << " descriptors\n";
    }
}

} // namespace soak
