#include "status/defaultppphelper.h"

#include "device/deviceinfoppp.h"

#include <array>
#include <cstdlib>

namespace zel {

using systema::EResultCode;

namespace {

constexpr const char* c_pTable = "StatusNetifWatch";
constexpr const char* c_pName = "Name";
constexpr std::size_t c_iMessageSize = 64;

} // namespace

std::vector<std::string> DefaultPppHelper::getPppInterfaces()
{
    std::vector<std::string> lInterfaces;
    unsigned int iCount = 0;
    if (m_oConfig.getSize(iCount, this, c_pTable) != EResultCode::Success) {
        return lInterfaces;
    }
    for (unsigned int i = 0; i < iCount && lInterfaces.size() < c_iMostInterfaces; ++i) {
        systema::ValueList lRow;
        if (m_oConfig.selectRow(lRow, this, c_pTable, i, {c_pName}) == EResultCode::Success &&
            lRow.hasValue(c_pName) && lRow.getValue(c_pName).getText().starts_with("ppp")) {
            lInterfaces.push_back(lRow.getValue(c_pName).getText());
        }
    }
    return lInterfaces;
}

int DefaultPppHelper::getPppStatus(const std::string& a_sInterface)
{
    m_iStatus = ZEL_DeviceInfoPPPAPI_getPPPStatus(std::atoi(pppUnit(a_sInterface).c_str()));
    return m_iStatus;
}

std::string DefaultPppHelper::getPppStatusString()
{
    return ZEL_DeviceInfoPPPAPI_getPPPStatusString(m_iStatus);
}

std::string DefaultPppHelper::getPostAuthMessage(const std::string& a_sInterface)
{
    std::array<char, c_iMessageSize> aMessage{};
    ZEL_DeviceInfoPPPAPI_getPostAuthMessageByName(a_sInterface.c_str(), aMessage.data(), aMessage.size());
    return aMessage.data();
}

} // namespace zel
