// What to log of an exception that must go no further.
#pragma once

namespace zel::error {

/// Inside a catch block: the text of the exception being handled, "Unknown exception" when it is none of the
/// standard family. Valid until the end of the block. Needs no memory, which may be what is missing.
const char* describeException() noexcept;

} // namespace zel::error
