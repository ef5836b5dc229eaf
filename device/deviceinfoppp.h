// The device's PPP links: their states, and what their servers said of them.
//
// What is built in is chosen at configure time, and a board may bring its own (docs/porting.md). Main thread
// only: every question about the table "PppStatus" asks for each link, so an answer must not take long.
// Nothing throws but std::bad_alloc.
#pragma once

#include <cstddef>

/// The state of the link "ppp<unit>" now. Any unit may be asked for.
int ZEL_DeviceInfoPPPAPI_getPPPStatus(int a_iUnit);

/// The text of a state, for any number. Never null; lives as long as the program.
const char* ZEL_DeviceInfoPPPAPI_getPPPStatusString(int a_iStatus);

/// Copies the last post-authentication message of the link of that name, without a newline and cut to
/// a_iSize - 1 characters, and ends it with NUL. 0; -1 when there is none, with an empty text.
int ZEL_DeviceInfoPPPAPI_getPostAuthMessageByName(const char* a_pName, char* a_pBuffer, std::size_t a_iSize);
