// What to log of an exception that must go no further.
#pragma once

#include <string>

namespace zel::error {

/// Inside a catch block: the text of the exception being handled, "Unknown exception" when it is none of the
/// standard family.
std::string describeException();

} // namespace zel::error
