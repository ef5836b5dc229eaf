#include "device/mountsource.h"

#include "device/deviceinfoenv.h"
#include "device/texts.h"

namespace zel::device {

namespace {

constexpr std::array c_aTexts{"none", "flash", "network", "ram", "disk", "other"};
static_assert(c_aTexts.size() == c_iOther + 1);

} // namespace

int mountSourceOf(std::string_view a_sText)
{
    return numberOf(c_aTexts, a_sText);
}

} // namespace zel::device

const char* ZEL_DeviceInfoEnvAPI_mountSourceString(int a_iSource)
{
    return zel::device::textOf(zel::device::c_aTexts, a_iSource, "unknown");
}
