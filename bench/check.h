// What ends a measurement that cannot go on. main() reports it and makes it the exit status, unless the
// measurement was only skipped.
#pragma once

#include "client/result.h"

#include <stdexcept>
#include <string>

namespace bench {

/// A measurement that this user, or this machine, may not make.
class Skipped : public std::runtime_error
{
    using std::runtime_error::runtime_error;
};

inline void check(bool a_bGood, const std::string& a_sWhat)
{
    if (!a_bGood) {
        throw std::runtime_error(a_sWhat);
    }
}

inline void check(const systema::client::Status& a_oStatus)
{
    check(a_oStatus.ok(), std::string(a_oStatus.text()));
}

} // namespace bench
