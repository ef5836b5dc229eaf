// Arbitrary bytes as what the WLAN radio sees: the table gets no more rows than there is room for in a scan,
// numbered, with texts that fit their fields. The radio here is one that always sees the input.
#include "fuzz/require.h"
#include "status/wlanscan.h"

#include <algorithm>
#include <cstring>

struct ZEL_WLANAPI_Context
{
};

namespace {

ZEL_WLANAPI_Context g_oContext;
ZEL_WLANAPI_ScanResult g_oSeen;

bool isText(const std::string& a_sText, std::size_t a_iLongest)
{
    return a_sText.size() <= a_iLongest && a_sText.find('\0') == std::string::npos;
}

} // namespace

void ZEL_WLANAPI_Destruct(ZEL_WLANAPI_Context*) {}

int ZEL_WLANAPI_Construct(ZEL_WLANAPI_Handle& a_pContext)
{
    a_pContext.reset(&g_oContext);
    return 0;
}

int ZEL_WLANAPI_Tools_CheckInterfaceAvailability(ZEL_WLANAPI_Context&)
{
    return c_iWlanUp;
}

int ZEL_WLANAPI_SetActiveConfig(ZEL_WLANAPI_Context&, int)
{
    return 0;
}

const char* ZEL_WLANAPI_Ap_GetSsid(ZEL_WLANAPI_Context&)
{
    return "own";
}

const char* ZEL_WLANAPI_Phy_GetApMac(ZEL_WLANAPI_Context&)
{
    return "02:00:00:00:00:01";
}

int ZEL_WLANAPI_Phy_GetCurrentChannel(ZEL_WLANAPI_Context&)
{
    return 1;
}

int ZEL_WLANAPI_Phy_GetSecondChannel(ZEL_WLANAPI_Context&)
{
    return -1;
}

int ZEL_WLANAPI_Ap_GetMode(ZEL_WLANAPI_Context&)
{
    return 4;
}

int ZEL_WLANAPI_Info_ScanAps(ZEL_WLANAPI_Context&, ZEL_WLANAPI_ScanResult& a_oResult)
{
    a_oResult = g_oSeen;
    return 0;
}

extern "C" int LLVMFuzzerTestOneInput(const unsigned char* a_pBytes, std::size_t a_iSize)
{
    g_oSeen = {};
    if (a_iSize > 0) {
        std::memcpy(&g_oSeen, a_pBytes, std::min(a_iSize, sizeof g_oSeen));
    }
    zel::WlanScan oTable([] { return std::time_t{1000}; });
    oTable.startTransaction(); // one scan for all rows
    const std::string sName = oTable.getTableName();
    unsigned iCount = 0;
    require(oTable.getRowCount(sName, iCount) == systema::EResultCode::Success);
    require(iCount <= g_oSeen.m_aAps.size() + 1);
    for (unsigned i = 0; i < iCount; ++i) {
        systema::ValueList lRow;
        require(oTable.getRow(sName, lRow, i, {}) == systema::EResultCode::Success);
        require(lRow.getValue("Id").getInteger() == static_cast<int>(i + 1));
        require(isText(lRow.getValue("Ssid").getText(), 32));
        require(isText(lRow.getValue("MacAddress").getText(), 26));
        require(lRow.getValue("Channel2").getInteger() >= 0);
    }
    systema::ValueList lNone;
    require(oTable.getRow(sName, lNone, iCount, {}) == systema::EResultCode::NoRow);
    return 0;
}
