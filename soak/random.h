// What is left to chance, of one thread: the same seed gives the same numbers.
#pragma once

#include <algorithm>
#include <chrono>
#include <cstddef>
#include <iterator>
#include <numeric>
#include <random>

namespace soak {

class Random
{
public:
    /// Each user of one run has a number of its own.
    Random(unsigned a_iSeed, unsigned a_iUser) : m_oEngine(a_iSeed * 1000003U + a_iUser) {}

    /// A number from 0 on, less than the limit, which is at least 1.
    std::size_t below(std::size_t a_iLimit)
    {
        return std::uniform_int_distribution<std::size_t>(0, a_iLimit - 1)(m_oEngine);
    }
    bool oneIn(std::size_t a_iTimes) { return below(a_iTimes) == 0; }
    template<typename List>
    auto& pick(List& a_lFrom)
    {
        return *std::next(std::begin(a_lFrom), static_cast<std::ptrdiff_t>(below(std::size(a_lFrom))));
    }
    /// The same, but the first ones in order, so that each comes once at first.
    template<typename List>
    const auto& pick(const List& a_lFrom, std::size_t a_iTurn)
    {
        return a_iTurn < std::size(a_lFrom) ? a_lFrom[a_iTurn] : pick(a_lFrom);
    }
    /// One of these pairs, whose first is how often it comes in relation to the others.
    template<typename List>
    const auto& pickByWeight(const List& a_lFrom)
    {
        std::size_t iRest = below(
            std::accumulate(std::begin(a_lFrom), std::end(a_lFrom), std::size_t(0),
                            [](std::size_t a_iSum, const auto& a_oPair) { return a_iSum + a_oPair.first; }));
        auto it = std::begin(a_lFrom);
        for (; iRest >= it->first; ++it) {
            iRest -= it->first;
        }
        return *it;
    }
    /// A pause as people make it: mostly shorter than the mean, now and then up to five times as long.
    std::chrono::milliseconds pause(std::chrono::milliseconds a_oMean)
    {
        const double fTimes = std::exponential_distribution<double>(1)(m_oEngine);
        return std::chrono::duration_cast<std::chrono::milliseconds>(a_oMean * std::min(fTimes, 5.0));
    }

private:
    std::mt19937 m_oEngine;
};

} // namespace soak
