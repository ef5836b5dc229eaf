// What a function logs, without times: as one text of lines "error IPROUTE text", or as lines that keep the
// place in the source, "error   ledgerd main:152: text".
#pragma once

#include <gtest/gtest.h>

#include <functional>
#include <sstream>
#include <string>
#include <vector>

/// What else is written to standard error is left out.
inline std::vector<std::string> logLinesOf(const std::function<void()>& a_oFunction)
{
    constexpr std::size_t c_iTimeSize = 24;
    testing::internal::CaptureStderr();
    a_oFunction();
    std::istringstream oLog(testing::internal::GetCapturedStderr());
    std::vector<std::string> lLines;
    for (std::string sLine; std::getline(oLog, sLine);) {
        if (sLine.starts_with("20") && sLine.size() > c_iTimeSize) {
            lLines.push_back(sLine.substr(c_iTimeSize));
        }
    }
    return lLines;
}

inline std::string logOf(const std::function<void()>& a_oFunction)
{
    std::string sAll;
    for (const auto& sLine : logLinesOf(a_oFunction)) {
        std::istringstream oWords(sLine);
        std::string sLevel, sModule, sSource, sText;
        oWords >> sLevel >> sModule >> sSource;
        std::getline(oWords, sText);
        sAll += sLevel + " " + sModule + sText + "\n";
    }
    return sAll;
}
