#include "device/linux/mounts.h"

#include "device/mountsource.h"

#include <algorithm>
#include <iterator>

namespace zel::device {

namespace {

struct Type
{
    std::string_view m_sName;
    EMountSource m_eSource;
};

/// What the device's name does not tell, or not as well.
constexpr Type c_aTypes[] = {
    {"jffs2", c_iFlash},  {"ubifs", c_iFlash},  {"yaffs2", c_iFlash}, {"squashfs", c_iFlash},
    {"cramfs", c_iFlash}, {"romfs", c_iFlash},  {"nfs", c_iNetwork},  {"nfs4", c_iNetwork},
    {"cifs", c_iNetwork}, {"smb3", c_iNetwork}, {"9p", c_iNetwork},   {"tmpfs", c_iRam},
    {"ramfs", c_iRam},    {"rootfs", c_iRam},
};

/// Takes the next field off the line, without the blanks after it; it is empty at the line's end.
std::string_view takeField(std::string_view& a_sLine)
{
    const auto sField = a_sLine.substr(0, a_sLine.find(' '));
    a_sLine.remove_prefix(std::min(a_sLine.find_first_not_of(' ', sField.size()), a_sLine.size()));
    return sField;
}

bool isOctal(std::string_view a_sDigits)
{
    return a_sDigits.size() == 3 && a_sDigits[0] <= '3' &&
           std::ranges::all_of(a_sDigits, [](char a_cDigit) { return a_cDigit >= '0' && a_cDigit <= '7'; });
}

/// Blanks and backslashes stand as a backslash and three octal digits.
std::string unescape(std::string_view a_sField)
{
    std::string sText;
    while (!a_sField.empty()) {
        const auto sDigits = a_sField.substr(1, 3);
        const bool bEscaped = a_sField.front() == '\\' && isOctal(sDigits);
        sText += bEscaped
                     ? static_cast<char>((sDigits[0] - '0') * 64 + (sDigits[1] - '0') * 8 + sDigits[2] - '0')
                     : a_sField.front();
        a_sField.remove_prefix(bEscaped ? 4 : 1);
    }
    return sText;
}

} // namespace

std::optional<Mount> parseMount(std::string_view a_sLine)
{
    const auto sDevice = takeField(a_sLine);
    const auto sPoint = takeField(a_sLine);
    const auto sType = takeField(a_sLine);
    if (sDevice.empty() || sType.empty()) {
        return std::nullopt;
    }
    return Mount{unescape(sDevice), unescape(sPoint), unescape(sType)};
}

int sourceOf(const Mount& a_oMount)
{
    const auto* pType = std::ranges::find(c_aTypes, a_oMount.m_sType, &Type::m_sName);
    if (pType != std::end(c_aTypes)) {
        return pType->m_eSource;
    }
    if (a_oMount.m_sDevice.starts_with("/dev/mtd") || a_oMount.m_sDevice.starts_with("/dev/ubi")) {
        return c_iFlash;
    }
    return a_oMount.m_sDevice.starts_with("/dev/") ? c_iDisk : c_iOther;
}

} // namespace zel::device
