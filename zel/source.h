// Where a log line or an assertion comes from.
//
// here() is the caller's real file and line. A message with a stable tag passes its tag instead, as
// SourceTag{"main", 361}, so that field support finds it again whatever happens to the file around it.
// A plain value: it refers to static text only and may be kept for ever.
#pragma once

#include <source_location>

namespace zel {

struct SourceTag
{
    const char* m_pName; // source name, with or without directory and extension; the logger shows the stem
    unsigned m_iLine;
};

/// The caller's file name and line.
constexpr SourceTag here(std::source_location a_oWhere = std::source_location::current())
{
    return {a_oWhere.file_name(), static_cast<unsigned>(a_oWhere.line())};
}

} // namespace zel
