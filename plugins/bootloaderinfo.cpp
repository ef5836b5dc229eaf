#include "plugins/bootloaderinfo.h"

#include "zel/assert.h"
#include "zel/convert.h"

#include <array>

namespace zel {

namespace {

constexpr std::size_t c_iLineBufferSize = 128;

} // namespace

std::optional<Setting> BootLoader::parse(std::string_view a_sLine)
{
    std::array<char, c_iLineBufferSize> aLine{};
    a_sLine.copy(aLine.data(), aLine.size() - 1);
    std::array<char*, 2> aParts{};
    if (ZEL_Convert_split(aParts.data(), 2, aLine.data(), '=') != 2) {
        return std::nullopt;
    }
    const std::string_view sQuoted = aParts[1];
    error::Assert(sQuoted.starts_with('"'), "/etc/bootloader.conf: '\"' == value[0]");
    const std::string_view sValue = sQuoted.substr(1);
    return Setting{aParts[0], std::string(sValue.substr(0, sValue.find('"')))};
}

void BootLoader::read(systema::ValueList& a_lRow)
{
    for (auto& oSetting : readSettings("/etc/bootloader.conf", &parse, "true == oFile.is_open()")) {
        addText(a_lRow, std::move(oSetting.m_sName), std::move(oSetting.m_sValue));
    }
}

} // namespace zel
