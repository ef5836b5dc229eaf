// Finds the name that was probably meant by a mistyped one. Free functions over plain data.
#pragma once

#include <string>
#include <string_view>
#include <vector>

namespace systema {

/// The text with its ASCII letters in lower case.
std::string lowerCase(std::string a_sText);
/// True when the names differ in nothing but the case of ASCII letters.
bool sameIgnoringCase(std::string_view a_sLeft, std::string_view a_sRight);

/// The first of the names that are the fewest mistypings away: a letter too many, missing or wrong, or two
/// exchanged; letter case is none. Empty when each is further than one for every three letters (in names of
/// two to five letters one in all), or three. Before those comes a path that ends with the name.
std::string nearestName(std::string_view a_sName, const std::vector<std::string>& a_lNames);

/// The nearest as the end of an error's text: ; did you mean "Name"? Empty without one.
std::string suggestion(std::string_view a_sName, const std::vector<std::string>& a_lNames);

/// The text of an error, no column "name" in T; did you mean "Name"? " in T" is left out without a_sWhere.
std::string unknownName(std::string_view a_sWhat, std::string_view a_sName, std::string_view a_sWhere,
                        const std::vector<std::string>& a_lNames);

} // namespace systema
