#include "restore/generations.h"

#include "zel/lines.h"

#include <algorithm>
#include <filesystem>
#include <optional>
#include <string_view>

namespace fs = std::filesystem;

namespace zel::cfg {

namespace {

constexpr std::string_view c_sPrefix = "generation.";
constexpr std::size_t c_iMostDigits = 18; // what the shell of the save command can count with

std::optional<std::uint64_t> numberOf(const std::string& a_sName)
{
    if (!a_sName.starts_with(c_sPrefix)) {
        return std::nullopt;
    }
    const std::string sNumber = a_sName.substr(c_sPrefix.size());
    if (sNumber.empty() || sNumber.size() > c_iMostDigits || sNumber.starts_with('0') ||
        sNumber.find_first_not_of("0123456789") != std::string::npos) {
        return std::nullopt;
    }
    return std::stoull(sNumber);
}

} // namespace

std::vector<Generation> findGenerations(const std::string& a_sStore)
{
    std::vector<Generation> lGenerations;
    if (!fs::exists(a_sStore)) {
        return lGenerations;
    }
    for (const auto& oEntry : fs::directory_iterator(a_sStore)) {
        const auto oNumber = numberOf(oEntry.path().filename());
        if (oNumber && oEntry.is_directory()) {
            lGenerations.push_back({*oNumber, oEntry.path()});
        }
    }
    std::ranges::sort(lGenerations, std::ranges::greater(), &Generation::m_iNumber);
    return lGenerations;
}

bool lists(const Generation& a_oGeneration, const std::string& a_sDump)
{
    constexpr std::size_t c_iLineSize = 256;
    constexpr std::size_t c_iMostBytes = 4096;
    bool bListed = false;
    readLines(a_oGeneration.m_sDirectory + "/" + c_pContents, c_iLineSize, c_iMostBytes,
              [&](std::string_view a_sLine) { bListed = bListed || a_sLine == a_sDump; });
    return bListed;
}

} // namespace zel::cfg
