// Where a log line or an assertion comes from.
//
// here() is the caller's real file and line. A message with a stable tag passes its tag instead, as
// SourceTag{"main", 361}, so that field support finds it again whatever happens to the file around it.
// A plain value: it refers to static text only and may be kept for ever.
#pragma once

#include <source_location>
#include <string_view>

namespace zel {

struct SourceTag
{
    const char* m_pName; // source name, with or without directory and extension
    unsigned m_iLine;
    bool m_bExtension = false; // shown as well

    /// Of tags made at the same place.
    bool operator==(const SourceTag&) const = default;
};

/// The caller's file name and line.
constexpr SourceTag here(std::source_location a_oWhere = std::source_location::current())
{
    return {a_oWhere.file_name(), static_cast<unsigned>(a_oWhere.line())};
}

/// The same, shown as "iproute.cpp", as the readers of these lines know it.
constexpr SourceTag hereWithExtension(std::source_location a_oWhere = std::source_location::current())
{
    return {a_oWhere.file_name(), static_cast<unsigned>(a_oWhere.line()), true};
}

/// The source's name as the log shows it, without directory and as a rule without extension; it lives as long
/// as the tag's name.
constexpr std::string_view shownName(SourceTag a_oSource)
{
    std::string_view sName = a_oSource.m_pName;
    sName.remove_prefix(sName.rfind('/') + 1);
    return a_oSource.m_bExtension ? sName : sName.substr(0, sName.rfind('.'));
}

} // namespace zel
