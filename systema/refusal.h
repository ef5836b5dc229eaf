// The reason why a request is refused, in words.
//
// An operation of a plugin returns only a code. A plugin that refuses notes the reason here, and the request
// handler sends it to the client that made the request. Each thread has one reason, in static memory, so that
// noting it never fails. A reason is for a person. It names tables, columns and limits, but no value, which
// may be secret.
#pragma once

#include "systema/protocol.h"

#include <cstddef>
#include <string>
#include <string_view>

namespace systema {

constexpr std::size_t c_iReasonLimit = 512; // bytes; a longer reason is cut and ends with "..."

/// Notes the reason of the code and replaces the one before. Returns the code.
EResultCode noteRefusal(EResultCode a_eCode, std::string_view a_sReason);

/// Returns the noted reason if it belongs to the code, else an empty text. Forgets it in both cases.
std::string takeRefusal(EResultCode a_eCode);

} // namespace systema
