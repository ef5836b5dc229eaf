// The results, put into words.
#pragma once

#include "bench/measurement.h"

#include <iosfwd>
#include <vector>

namespace bench {

struct Result
{
    const Measurement* m_pMeasurement;
    Outcome m_oOutcome;

    std::optional<double> ratio() const;
    /// Nothing when there is no goal.
    std::optional<bool> isMet() const;
};

enum class EFormat
{
    Table,
    Markdown,
    Json
};

void print(std::ostream& a_oStream, const std::vector<Result>& a_lResults, EFormat a_eFormat);

} // namespace bench
