// Text replacement for SQL literals. Stateless; no failure.
#pragma once

#include <string>
#include <string_view>

namespace systema {

class SqliteString
{
public:
    /// A copy of the subject with every occurrence of a_sFrom replaced by a_sTo, from left to right; what
    /// was put in is not looked at again. An empty a_sFrom replaces nothing.
    static std::string replace(std::string_view a_sSubject, std::string_view a_sFrom, std::string_view a_sTo);
};

} // namespace systema
