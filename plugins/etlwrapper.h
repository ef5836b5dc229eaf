// The table "etl": the factory values of the device from /etc/etl.conf, a column each.
//
// When it is loaded, each value is also written where the table "EtlMapping" says, if nothing is there yet;
// it is shown hashed as the mapping asks. Owned by the plugin of device information. Main thread only. The
// daemon does not go on without the file. The values are secrets: none is logged.
#pragma once

#include "plugins/deviceinforow.h"
#include "plugins/settings.h"
#include "systema/configpluginbase.h"

namespace zel {

class EtlMappings;

class EtlWrapper : public DeviceInfoRow
{
public:
    /// The dispatcher gives the mappings and serves their targets; it must outlive this object.
    explicit EtlWrapper(systema::ConfigPluginBase& a_oDispatcher);

    /// NAME="value"; what stands around the quotes is not looked at. Without quotes the value is empty; a
    /// line without "=" is no setting.
    static std::optional<Setting> parse(std::string_view a_sLine);

private:
    void read(systema::ValueList& a_lRow) override;
    void fillTarget(const EtlMappings& a_oMappings, const Setting& a_oSetting,
                    const std::string& a_sMode) const;
    std::string hash(const Setting& a_oSetting, const std::string& a_sMode) const;

    systema::ConfigPluginBase& m_oDispatcher;
    const int m_iModule;
};

} // namespace zel
