// Time taken, and medians of it.
#pragma once

#include <algorithm>
#include <chrono>
#include <vector>

namespace bench {

using Clock = std::chrono::steady_clock;

inline double microsecondsSince(Clock::time_point a_oStart)
{
    return std::chrono::duration<double, std::micro>(Clock::now() - a_oStart).count();
}

/// The middle one; of an even number the upper of the two. There must be at least one.
inline double median(std::vector<double> a_lValues)
{
    const auto itMiddle = a_lValues.begin() + static_cast<std::ptrdiff_t>(a_lValues.size() / 2);
    std::nth_element(a_lValues.begin(), itMiddle, a_lValues.end());
    return *itMiddle;
}

/// The time of the work, in microseconds.
template<typename Work>
double timeOf(Work a_oWork)
{
    const auto oStart = Clock::now();
    a_oWork();
    return microsecondsSince(oStart);
}

/// Asks for so many figures and returns their median.
template<typename Figure>
double medianOf(int a_iTimes, Figure a_sFigure)
{
    std::vector<double> lFigures;
    lFigures.reserve(static_cast<std::size_t>(a_iTimes));
    for (int i = 0; i < a_iTimes; ++i) {
        lFigures.push_back(a_sFigure());
    }
    return median(std::move(lFigures));
}

/// Does the work so many times and returns the median time of one, in microseconds.
template<typename Work>
double medianTime(int a_iTimes, Work a_oWork)
{
    return medianOf(a_iTimes, [&] { return timeOf(a_oWork); });
}

} // namespace bench
