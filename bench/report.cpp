#include "bench/report.h"

#include <json-c/json.h>

#include <array>
#include <iomanip>
#include <memory>
#include <ostream>
#include <sstream>
#include <string>

namespace bench {

namespace {

using Line = std::array<std::string, 6>;

std::string number(double a_fValue, int a_iDecimals)
{
    std::ostringstream oText;
    oText << std::fixed << std::setprecision(a_iDecimals) << a_fValue;
    return oText.str();
}

std::string withUnit(double a_fValue, const char* a_pUnit)
{
    return number(a_fValue, a_fValue < 100 ? 2 : 0) + " " + a_pUnit;
}

std::string goalText(const Measurement& a_oMeasurement)
{
    switch (a_oMeasurement.m_eGoal) {
    case EGoal::None:
        return {};
    case EGoal::Ratio:
        return number(a_oMeasurement.m_fGoal, 1) + " x";
    case EGoal::Value:
        return withUnit(a_oMeasurement.m_fGoal, a_oMeasurement.m_pUnit);
    }
    return {};
}

Line toLine(const Result& a_oResult)
{
    const Measurement& oMeasurement = *a_oResult.m_pMeasurement;
    const Outcome& oOutcome = a_oResult.m_oOutcome;
    const auto oRatio = a_oResult.ratio();
    const auto oMet = a_oResult.isMet();
    return {oMeasurement.m_pWhat,
            oOutcome.m_oLimit
                ? withUnit(*oOutcome.m_oLimit, oMeasurement.m_pUnit) + " " + oMeasurement.m_pLimit
                : "",
            withUnit(oOutcome.m_fOurs, oMeasurement.m_pUnit),
            oRatio ? number(*oRatio, 2) : "",
            goalText(oMeasurement),
            !oMet   ? ""
            : *oMet ? "yes"
                    : "no"};
}

void printTable(std::ostream& a_oStream, const std::vector<Result>& a_lResults, bool a_bMarkdown)
{
    std::vector<Line> lLines{{"What", "Limit", "Ours", "Ratio", "Goal", "Met"}};
    for (const auto& oResult : a_lResults) {
        lLines.push_back(toLine(oResult));
    }
    std::array<std::size_t, std::tuple_size_v<Line>> aWidths{};
    for (const auto& oLine : lLines) {
        for (std::size_t i = 0; i < oLine.size(); ++i) {
            aWidths[i] = std::max(aWidths[i], oLine[i].size());
        }
    }
    const auto printLine = [&](const Line& a_oLine, char a_cFill) {
        for (std::size_t i = 0; i < a_oLine.size(); ++i) {
            const int iWidth = static_cast<int>(aWidths[i]);
            a_oStream << (a_bMarkdown ? "| " : "") << std::left << std::setfill(a_cFill) << std::setw(iWidth)
                      << a_oLine[i] << (a_bMarkdown ? " " : "  ");
        }
        a_oStream << (a_bMarkdown ? "|\n" : "\n");
    };
    printLine(lLines.front(), ' ');
    printLine({}, '-');
    for (std::size_t i = 1; i < lLines.size(); ++i) {
        printLine(lLines[i], ' ');
    }
}

void printJson(std::ostream& a_oStream, const std::vector<Result>& a_lResults)
{
    const auto optional = [](const auto& a_oValue, auto a_oMake) {
        return a_oValue ? a_oMake(*a_oValue) : nullptr;
    };
    const std::unique_ptr<json_object, decltype(&json_object_put)> pList(json_object_new_array(),
                                                                         &json_object_put);
    for (const auto& oResult : a_lResults) {
        const Measurement& oMeasurement = *oResult.m_pMeasurement;
        const Outcome& oOutcome = oResult.m_oOutcome;
        json_object* pResult = json_object_new_object();
        json_object_object_add(pResult, "name", json_object_new_string(oMeasurement.m_pName));
        json_object_object_add(pResult, "what", json_object_new_string(oMeasurement.m_pWhat));
        json_object_object_add(pResult, "unit", json_object_new_string(oMeasurement.m_pUnit));
        json_object_object_add(pResult, "limit", optional(oOutcome.m_oLimit, json_object_new_double));
        json_object_object_add(pResult, "ours", json_object_new_double(oOutcome.m_fOurs));
        json_object_object_add(pResult, "ratio", optional(oResult.ratio(), json_object_new_double));
        json_object_object_add(pResult, "goal", json_object_new_string(goalText(oMeasurement).c_str()));
        json_object_object_add(pResult, "met", optional(oResult.isMet(), json_object_new_boolean));
        json_object_array_add(pList.get(), pResult);
    }
    a_oStream << json_object_to_json_string_ext(pList.get(),
                                                JSON_C_TO_STRING_PRETTY | JSON_C_TO_STRING_SPACED)
              << '\n';
}

} // namespace

std::optional<double> Result::ratio() const
{
    return m_oOutcome.m_oLimit ? std::optional(m_oOutcome.m_fOurs / *m_oOutcome.m_oLimit) : std::nullopt;
}

std::optional<bool> Result::isMet() const
{
    switch (m_pMeasurement->m_eGoal) {
    case EGoal::None:
        return {};
    case EGoal::Ratio:
        return ratio() <= std::optional(m_pMeasurement->m_fGoal);
    case EGoal::Value:
        return m_oOutcome.m_fOurs <= m_pMeasurement->m_fGoal;
    }
    return {};
}

void print(std::ostream& a_oStream, const std::vector<Result>& a_lResults, EFormat a_eFormat)
{
    switch (a_eFormat) {
    case EFormat::Table:
    case EFormat::Markdown:
        return printTable(a_oStream, a_lResults, a_eFormat == EFormat::Markdown);
    case EFormat::Json:
        return printJson(a_oStream, a_lResults);
    }
}

} // namespace bench
