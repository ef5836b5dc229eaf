#include "device/pppstate.h"

#include "device/deviceinfoppp.h"
#include "device/texts.h"

namespace zel::device {

namespace {

constexpr std::array c_aTexts{"Disconnected", "Connecting", "Connected", "Configuring"};
static_assert(c_aTexts.size() == c_iPppConfiguring + 1);

} // namespace

int pppStateOf(std::string_view a_sText)
{
    return numberOf(c_aTexts, a_sText);
}

} // namespace zel::device

const char* ZEL_DeviceInfoPPPAPI_getPPPStatusString(int a_iStatus)
{
    return zel::device::textOf(zel::device::c_aTexts, a_iStatus, "Unknown");
}
