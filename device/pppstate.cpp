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

int putMessage(const std::optional<std::string>& a_oMessage, char* a_pBuffer, std::size_t a_iSize)
{
    if (a_pBuffer == nullptr || a_iSize == 0) {
        return -1;
    }
    const std::string_view sText = a_oMessage ? std::string_view(*a_oMessage) : std::string_view();
    a_pBuffer[sText.substr(0, sText.find('\n')).copy(a_pBuffer, a_iSize - 1)] = '\0';
    return a_oMessage ? 0 : -1;
}

} // namespace zel::device

const char* ZEL_DeviceInfoPPPAPI_getPPPStatusString(int a_iStatus)
{
    return zel::device::textOf(zel::device::c_aTexts, a_iStatus, "Unknown");
}
