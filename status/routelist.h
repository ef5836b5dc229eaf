// The output of "ip -j route list" as routes.
//
// A free function over text, which may hold any bytes: nothing throws, and nothing is kept.
#pragma once

#include <optional>
#include <string>
#include <variant>
#include <vector>

namespace zel {

/// A route; a text is empty and the metric 0 where the list does not say it, or not as a text and an integer.
/// Gateway and interface of a route with several next hops are those of the first; a gateway may be of the
/// other family.
struct RouteEntry
{
    int m_iId = 0; // place in the list, counted from 1
    std::string m_sDestination{};
    std::string m_sGateway{};
    std::string m_sInterface{};
    int m_iMetric = 0; // a number beyond 32 bits is moved to the nearer end
    bool m_bDiscards =
        false; // it leads nowhere: what it matches is dropped, refused or left to another table

    bool operator==(const RouteEntry&) const = default;
};

/// A JSON value where a route should be, named by the number that json-c gives to its type.
struct UnexpectedJson
{
    int m_iType;

    bool operator==(const UnexpectedJson&) const = default;
};

using RouteElement = std::variant<RouteEntry, UnexpectedJson>;

/// The elements of a JSON list in their order; what follows its end is ignored, and a NUL ends the text.
/// Nothing when it is no list, is cut off, or is nested more than 32 deep.
std::optional<std::vector<RouteElement>> parseRoutes(const std::string& a_sText);

} // namespace zel
