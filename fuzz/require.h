// What a fuzz target expects of its input's result; a program that finds otherwise ends, which the fuzzer
// sees.
#pragma once

#include <cstdlib>

inline void require(bool a_bCondition)
{
    if (!a_bCondition) {
        std::abort();
    }
}
