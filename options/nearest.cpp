#include "options/nearest.h"

#include <algorithm>
#include <numeric>

namespace systema {

namespace {

constexpr std::size_t c_iLettersPerMistyping = 3;
constexpr std::size_t c_iMostMistypings = 3;

char lower(char a_cLetter)
{
    return a_cLetter >= 'A' && a_cLetter <= 'Z' ? static_cast<char>(a_cLetter - 'A' + 'a') : a_cLetter;
}

/// How many letters must be added, removed, replaced or exchanged with their neighbour to make one name of
/// the other, letter case ignored. Reckons row by row in the table of all beginnings of both.
std::size_t mistypings(std::string_view a_sLeft, std::string_view a_sRight)
{
    std::vector<std::size_t> lTwoBefore(a_sRight.size() + 1);
    std::vector<std::size_t> lBefore(a_sRight.size() + 1);
    std::vector<std::size_t> lRow(a_sRight.size() + 1);
    std::iota(lRow.begin(), lRow.end(), std::size_t{0});
    for (std::size_t i = 1; i <= a_sLeft.size(); ++i) {
        lTwoBefore.swap(lBefore);
        lBefore.swap(lRow);
        lRow[0] = i;
        for (std::size_t j = 1; j <= a_sRight.size(); ++j) {
            const auto same = [&](std::size_t a_iLeft, std::size_t a_iRight) {
                return lower(a_sLeft[a_iLeft - 1]) == lower(a_sRight[a_iRight - 1]);
            };
            lRow[j] = std::min({lBefore[j] + 1, lRow[j - 1] + 1, lBefore[j - 1] + (same(i, j) ? 0 : 1)});
            if (i > 1 && j > 1 && same(i, j - 1) && same(i - 1, j)) {
                lRow[j] = std::min(lRow[j], lTwoBefore[j - 2] + 1);
            }
        }
    }
    return lRow.back();
}

/// Whether the letters of the first name stand in the second, in their order, from its first letter on.
bool isShortened(std::string_view a_sShort, std::string_view a_sLong)
{
    if (a_sShort.empty() || a_sLong.empty() || lower(a_sShort.front()) != lower(a_sLong.front())) {
        return false;
    }
    for (const char cLetter : a_sLong) {
        if (!a_sShort.empty() && lower(cLetter) == lower(a_sShort.front())) {
            a_sShort.remove_prefix(1);
        }
    }
    return a_sShort.empty();
}

/// The shortest name of which the given one is a short form, at most half of its letters left out, or else
/// the longest that the given one holds; names of one or two letters are in too many others.
std::string relatedName(std::string_view a_sName, const std::vector<std::string>& a_lNames)
{
    constexpr std::size_t c_iLeast = 3;
    const std::string sGiven = lowerCase(std::string(a_sName));
    std::string sLonger;
    std::string sPart;
    for (const std::string& sName : a_lNames) {
        if (sName.size() < c_iLeast || a_sName.size() < c_iLeast) {
            continue;
        }
        if (sName.size() <= 2 * a_sName.size() && isShortened(a_sName, sName) &&
            (sLonger.empty() || sName.size() < sLonger.size())) {
            sLonger = sName;
        } else if (sGiven.find(lowerCase(sName)) != std::string::npos && sName.size() > sPart.size()) {
            sPart = sName;
        }
    }
    return sLonger.empty() ? sPart : sLonger;
}

} // namespace

std::string lowerCase(std::string a_sText)
{
    std::ranges::transform(a_sText, a_sText.begin(), lower);
    return a_sText;
}

bool sameIgnoringCase(std::string_view a_sLeft, std::string_view a_sRight)
{
    return std::ranges::equal(a_sLeft, a_sRight, {}, lower, lower);
}

std::string nearestName(std::string_view a_sName, const std::vector<std::string>& a_lNames)
{
    const std::size_t iAtLeast = a_sName.size() > 1 ? 1 : 0;
    // Tables of files are named by their whole paths.
    const auto itFile = std::ranges::find_if(
        a_lNames, [&](const std::string& a_sFile) { return a_sFile.ends_with("/" + std::string(a_sName)); });
    if (!a_sName.empty() && itFile != a_lNames.end()) {
        return *itFile;
    }
    std::size_t iLeast = std::clamp(a_sName.size() / c_iLettersPerMistyping, iAtLeast, c_iMostMistypings) + 1;
    std::string sNearest;
    for (const std::string& sName : a_lNames) {
        const std::size_t iFar =
            sName.size() > a_sName.size() ? sName.size() - a_sName.size() : a_sName.size() - sName.size();
        const std::size_t iMistypings = iFar < iLeast ? mistypings(a_sName, sName) : iFar;
        if (iMistypings < iLeast) {
            iLeast = iMistypings;
            sNearest = sName;
        }
    }
    return sNearest.empty() ? relatedName(a_sName, a_lNames) : sNearest;
}

std::string suggestion(std::string_view a_sName, const std::vector<std::string>& a_lNames)
{
    const std::string sNearest = nearestName(a_sName, a_lNames);
    return sNearest.empty() ? std::string() : "; did you mean \"" + sNearest + "\"?";
}

std::string unknownName(std::string_view a_sWhat, std::string_view a_sName, std::string_view a_sWhere,
                        const std::vector<std::string>& a_lNames)
{
    std::string sText("no ");
    sText.append(a_sWhat).append(" \"").append(a_sName).append("\"");
    if (!a_sWhere.empty()) {
        sText.append(" in ").append(a_sWhere);
    }
    return sText + suggestion(a_sName, a_lNames);
}

} // namespace systema
