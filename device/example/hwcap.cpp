// The radio of this board is soldered on: it is there before its driver is.
#include "device/hwcap.h"

int ZEL_HWCAP_WLANsupport(int a_iRadio)
{
    return a_iRadio == 0 ? 1 : 0;
}
