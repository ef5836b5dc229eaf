// What ends a measurement that cannot go on. main() reports it and makes it the exit status.
#pragma once

#include "client/result.h"

#include <stdexcept>
#include <string>

namespace bench {

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
