// What the device's hardware can do.
//
// Replaced per board. Any thread; nothing throws but std::bad_alloc.
#pragma once

/// 1 when the device has the WLAN radio of the number, counted from 0; else 0.
int ZEL_HWCAP_WLANsupport(int a_iRadio);
