// The states of a PPP link, for boards that have no numbers of their own, and the way of its message.
//
// Plain values; any thread. ZEL_DeviceInfoPPPAPI_getPPPStatusString comes with them.
#pragma once

#include <cstddef>
#include <optional>
#include <string>
#include <string_view>

namespace zel::device {

enum EPppState
{
    c_iPppDisconnected = 0,
    c_iPppConnecting = 1,
    c_iPppConnected = 2,
    c_iPppConfiguring = 3
};

/// The number of the text, 0 for a text that is none.
int pppStateOf(std::string_view a_sText);

/// Puts the message, or none, into a buffer as ZEL_DeviceInfoPPPAPI_getPostAuthMessageByName does, and gives
/// its result.
int putMessage(const std::optional<std::string>& a_oMessage, char* a_pBuffer, std::size_t a_iSize);

} // namespace zel::device
