// What the device's hardware can do, as the kernel tells.
#include "device/hwcap.h"

#include "device/linux/nl80211.h"

int ZEL_HWCAP_WLANsupport(int a_iRadio)
{
    const auto lRadios = zel::device::Nl80211().getRadios();
    return a_iRadio >= 0 && static_cast<std::size_t>(a_iRadio) < lRadios.size() ? 1 : 0;
}
