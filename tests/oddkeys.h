// Keys that a careless comparison takes for the value of a cell, and such that no cell has.
#pragma once

#include <string>
#include <vector>

namespace tests {

inline std::vector<std::string> oddKeys(const std::string& a_sShown)
{
    std::vector<std::string> lKeys{"",           "-1",
                                   "abc",        "1x",
                                   "01",         " 3",
                                   "4294967298", "18446744073709551617",
                                   "1.0",        "1e0",
                                   "0x1",
                                   "\xd9\xa1", // an Arabic 1
                                   "\xff",       std::string(10240, '0') + "1"};
    for (const char* pBefore : {"", " ", "0", "+", "-", "0x"}) {
        for (const char* pAfter : {"", " ", "\n", "x", ".0", "e0"}) {
            lKeys.push_back(pBefore + a_sShown + pAfter);
        }
    }
    const bool bNumber = !a_sShown.empty() && a_sShown.find_first_not_of("0123456789") == std::string::npos;
    if (bNumber && a_sShown.size() < 11) {
        lKeys.push_back(std::to_string(std::stoll(a_sShown) + (1LL << 32U)));
        lKeys.push_back(std::to_string(std::stoll(a_sShown) - (1LL << 32U)));
    }
    return lKeys;
}

} // namespace tests
