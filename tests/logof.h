// What the function logs, without times and line numbers: "error IPROUTE text" and so on, a line each.
#pragma once

#include <gtest/gtest.h>

#include <functional>
#include <regex>
#include <string>

inline std::string logOf(const std::function<void()>& a_oFunction)
{
    static const std::regex c_oFrame(R"(\S+ \S+ (\w+) +(\w+) \S+:\d+: (.*))");
    testing::internal::CaptureStderr();
    a_oFunction();
    return std::regex_replace(testing::internal::GetCapturedStderr(), c_oFrame, "$1 $2 $3");
}
