// The status file of a modem's control daemon: lines key=value.
//
// A free function over text, which may hold any bytes; any thread, nothing throws.
#pragma once

#include "device/dslline.h"

namespace zel::device {

/// Takes what a line of the file tells into the line's data; other lines change nothing.
void takeStatusLine(DslLine& a_oLine, std::string_view a_sText);

} // namespace zel::device
