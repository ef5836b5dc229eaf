#include "device/sim/simfile.h"

#include "device/mountsource.h"
#include "device/pppstate.h"
#include "zel/lines.h"
#include "zel/systempath.h"

#include <algorithm>
#include <json-c/json.h>
#include <limits>
#include <memory>

namespace zel::device {

namespace {

constexpr std::string_view c_sFile = "/var/run/ledgerd-sim.json";
constexpr std::size_t c_iMostBytes = 64U << 10U;

struct JsonRelease
{
    void operator()(json_object* a_pJson) const { json_object_put(a_pJson); }
};

/// The member, null when it is of another type or not there. Lives as long as the object.
json_object* member(json_object* a_pObject, const char* a_pName, json_type a_eType)
{
    json_object* pMember = nullptr;
    json_object_object_get_ex(a_pObject, a_pName, &pMember);
    return json_object_is_type(pMember, a_eType) ? pMember : nullptr;
}

json_object* object(json_object* a_pObject, const char* a_pName)
{
    return member(a_pObject, a_pName, json_type_object);
}

std::optional<std::string> optionalText(json_object* a_pObject, const char* a_pName)
{
    json_object* pText = member(a_pObject, a_pName, json_type_string);
    if (pText == nullptr) {
        return std::nullopt;
    }
    return std::string(json_object_get_string(pText),
                       static_cast<std::size_t>(json_object_get_string_len(pText)));
}

std::string text(json_object* a_pObject, const char* a_pName)
{
    return optionalText(a_pObject, a_pName).value_or("");
}

/// A number that does not fit is moved to the nearer end.
template<class Number>
Number number(json_object* a_pObject, const char* a_pName, Number a_iFallback = 0)
{
    json_object* pNumber = member(a_pObject, a_pName, json_type_int);
    return pNumber == nullptr
               ? a_iFallback
               : static_cast<Number>(std::clamp<std::int64_t>(json_object_get_int64(pNumber),
                                                              std::numeric_limits<Number>::min(),
                                                              std::numeric_limits<Number>::max()));
}

/// What is given by its text or, where there is none for it, by its number.
template<class Number>
Number named(json_object* a_pObject, const char* a_pName, Number (*a_pNumberOf)(std::string_view))
{
    const auto oText = optionalText(a_pObject, a_pName);
    return oText ? a_pNumberOf(*oText) : number<Number>(a_pObject, a_pName);
}

/// The elements as what the function makes of each; nothing when there is no list.
template<class Element>
std::optional<std::vector<Element>> list(json_object* a_pObject, const char* a_pName,
                                         Element (*a_pParse)(json_object*))
{
    json_object* pList = member(a_pObject, a_pName, json_type_array);
    if (pList == nullptr) {
        return std::nullopt;
    }
    std::vector<Element> lElements;
    const std::size_t iSize = json_object_array_length(pList);
    for (std::size_t i = 0; i < iSize; ++i) {
        lElements.push_back(a_pParse(json_object_array_get_idx(pList, i)));
    }
    return lElements;
}

AccessPoint parseAccessPoint(json_object* a_pJson)
{
    return {text(a_pJson, "ssid"), text(a_pJson, "mac"), number<int>(a_pJson, "channel"),
            number<int>(a_pJson, "channel2", -1), number<int>(a_pJson, "mode")};
}

ZEL_WLANAPI_ScanAp parseNetwork(json_object* a_pJson)
{
    const AccessPoint oAccessPoint = parseAccessPoint(a_pJson);
    ZEL_WLANAPI_ScanAp oNetwork{};
    oNetwork.m_iChannel = oAccessPoint.m_iChannel;
    oNetwork.m_iChannel2 = oAccessPoint.m_iChannel2;
    oNetwork.m_iSignal = number<std::int32_t>(a_pJson, "signal");
    oNetwork.m_iMode = static_cast<std::uint32_t>(oAccessPoint.m_iMode);
    putText(oNetwork.m_aSsid, oAccessPoint.m_sSsid);
    putText(oNetwork.m_aMac, oAccessPoint.m_sMac);
    return oNetwork;
}

SimAccessPoint parseSimAccessPoint(json_object* a_pJson)
{
    return {parseAccessPoint(a_pJson), list(a_pJson, "networks", &parseNetwork)};
}

std::map<std::string, SimPppLink> parsePppLinks(json_object* a_pJson)
{
    std::map<std::string, SimPppLink> mLinks;
    if (a_pJson != nullptr) {
        json_object_object_foreach(a_pJson, pName, pLink)
        {
            mLinks[pName] = {named(pLink, "state", &pppStateOf), optionalText(pLink, "message")};
        }
    }
    return mLinks;
}

} // namespace

SimDevice parseSimDevice(const std::string& a_sText)
{
    const std::unique_ptr<json_object, JsonRelease> pRoot(json_tokener_parse(a_sText.c_str()));
    json_object* pMounts = object(pRoot.get(), "mounts");
    json_object* pDsl = object(pRoot.get(), "dsl");
    json_object* pWlan = object(pRoot.get(), "wlan");
    return {{named(pMounts, "rootfs", &mountSourceOf), named(pMounts, "servicefs", &mountSourceOf),
             named(pMounts, "defconfig", &mountSourceOf)},
            {named(pDsl, "state", &dslStateOf), number<std::uint32_t>(pDsl, "upstream-rate"),
             number<std::uint32_t>(pDsl, "downstream-rate"),
             parseTransmissionSystem(text(pDsl, "transmission-system"))},
            parsePppLinks(object(pRoot.get(), "ppp")),
            number<int>(pWlan, "radios"),
            number<int>(pWlan, "availability"),
            list(pWlan, "access-points", &parseSimAccessPoint).value_or(std::vector<SimAccessPoint>())};
}

SimDevice readSimDevice()
{
    return parseSimDevice(readFile(systemPath(c_sFile), c_iMostBytes).value_or(""));
}

} // namespace zel::device
