// The table "WlanScan": the device's own access points and the networks that its WLAN radio sees.
//
// Owned by the status host. Main thread only. Every request scans, and waits for it; inside a transaction
// only the first one does. A radio that is not up fails the request, an access point that is not configured
// is skipped. While the clock is before the last scan, the list stays as it is.
#pragma once

#include "device/wlanapi.h"
#include "status/bootclock.h"
#include "status/frozentable.h"
#include "status/wlanlist.h"
#include "zel/source.h"

#include <ctime>
#include <map>
#include <string>
#include <utility>

namespace zel {

class WlanScan : public FrozenTable<WlanScanEntry>
{
public:
    using WlanScanEntry = zel::WlanScanEntry;

    /// The same warning is not logged more often, however often clients ask a radio that is not there.
    static constexpr std::time_t c_iWarningSeconds = 60;

    explicit WlanScan(BootClock a_oNow);

    void init() override {}
    void update(systema::NameList&) override {}
    bool announces(const std::string&) const override { return false; }

private:
    /// False without a radio that is up.
    bool refresh() override;
    bool isCacheExpired();
    bool scan();
    bool activate(ZEL_WLANAPI_Context& a_oContext, int a_iAccessPoint);
    void retrieveOwn(ZEL_WLANAPI_Context& a_oContext, int a_iAccessPoint);
    void retrieveScanned(ZEL_WLANAPI_Context& a_oContext, int a_iAccessPoint);
    bool warn(int a_iAccessPoint, const std::string& a_sText, SourceTag a_oSource = hereWithExtension());

    const BootClock m_oNow;
    const int m_iModule;
    std::time_t m_iScanTime = 0;
    std::map<std::pair<int, std::string>, std::time_t> m_mWarned; // when each was logged last
};

} // namespace zel
