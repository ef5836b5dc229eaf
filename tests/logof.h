// What the function logs, without times and line numbers: "error IPROUTE text" and so on, a line each.
#pragma once

#include <gtest/gtest.h>

#include <functional>
#include <sstream>
#include <string>

inline std::string logOf(const std::function<void()>& a_oFunction)
{
    testing::internal::CaptureStderr();
    a_oFunction();
    std::istringstream oLog(testing::internal::GetCapturedStderr());
    std::string sLines;
    std::string sDate, sTime, sLevel, sModule, sSource, sText;
    while (oLog >> sDate >> sTime >> sLevel >> sModule >> sSource && std::getline(oLog, sText)) {
        sLines += sLevel + " " + sModule + sText + "\n";
    }
    return sLines;
}
