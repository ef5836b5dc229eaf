// Why the request under way is refused: what a plugin knows of it beyond the result code.
//
// The contract of the plugins has room for a code only. Whoever refuses notes its reason here, and the
// request handler takes it for the client that asked. One reason a thread, in static memory, so that noting
// one never fails. A reason is for a person; it names tables, columns and limits, never a value, which may be
// secret.
#pragma once

#include "systema/protocol.h"

#include <cstddef>
#include <string>
#include <string_view>

namespace systema {

constexpr std::size_t c_iReasonLimit = 512; // bytes of a reason; a longer one is cut and ends with "..."

/// Notes why the request ends with the code, in the place of what was noted before. Returns the code.
EResultCode noteRefusal(EResultCode a_eCode, std::string_view a_sReason);

/// The reason noted last if it is one for the code, else nothing; it is forgotten.
std::string takeRefusal(EResultCode a_eCode);

} // namespace systema
