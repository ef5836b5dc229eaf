#include "device/hwcap.h"

#include "device/sim/simfile.h"

int ZEL_HWCAP_WLANsupport(int a_iRadio)
{
    return a_iRadio >= 0 && a_iRadio < zel::device::readSimDevice().m_iRadios ? 1 : 0;
}
