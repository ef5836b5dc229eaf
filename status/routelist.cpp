#include "status/routelist.h"

#include <json-c/json.h>

#include <memory>

namespace zel {

namespace {

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

/// Ends at a NUL, which no table may hold.
std::string text(json_object* a_pObject, const char* a_pName)
{
    json_object* pText = member(a_pObject, a_pName, json_type_string);
    return pText == nullptr ? "" : json_object_get_string(pText);
}

/// A gateway of the other family stands in an object of its own.
std::string gateway(json_object* a_pHop)
{
    const std::string sGateway = text(a_pHop, "gateway");
    return sGateway.empty() ? text(member(a_pHop, "via", json_type_object), "host") : sGateway;
}

bool discards(const std::string& a_sType)
{
    return a_sType == "blackhole" || a_sType == "unreachable" || a_sType == "prohibit" || a_sType == "throw";
}

RouteElement element(json_object* a_pJson, int a_iId)
{
    if (!json_object_is_type(a_pJson, json_type_object)) {
        return UnexpectedJson{json_object_get_type(a_pJson)};
    }
    // A route with several next hops has them in a list of their own; the first stands for all.
    json_object* pHops = member(a_pJson, "nexthops", json_type_array);
    json_object* pFirst = pHops == nullptr ? nullptr : json_object_array_get_idx(pHops, 0);
    json_object* pHop = json_object_is_type(pFirst, json_type_object) ? pFirst : a_pJson;
    return RouteEntry{a_iId,
                      text(a_pJson, "dst"),
                      gateway(pHop),
                      text(pHop, "dev"),
                      json_object_get_int(member(a_pJson, "metric", json_type_int)),
                      discards(text(a_pJson, "type"))};
}

} // namespace

std::optional<std::vector<RouteElement>> parseRoutes(const std::string& a_sText)
{
    static_assert(JSON_TOKENER_DEFAULT_DEPTH <= 32);
    const std::unique_ptr<json_object, JsonRelease> pList(json_tokener_parse(a_sText.c_str()));
    if (!json_object_is_type(pList.get(), json_type_array)) {
        return {};
    }
    std::vector<RouteElement> lElements;
    const std::size_t iSize = json_object_array_length(pList.get());
    for (std::size_t i = 0; i < iSize; ++i) {
        lElements.push_back(element(json_object_array_get_idx(pList.get(), i), static_cast<int>(i + 1)));
    }
    return lElements;
}

} // namespace zel
