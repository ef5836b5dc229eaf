// The D-Bus library's headers, for this room alone. They are not written for our warnings.
#pragma once

#pragma GCC system_header

#include <dbus-c++/dbus.h>
#include <dbus/dbus.h>
