// Parameters of queries, and of bodies that are written like one.
#pragma once

#include <map>
#include <string>
#include <string_view>

namespace collector {

using Parameters = std::map<std::string, std::string>;

// Names and values are percent-decoded and made valid UTF-8. Of parameters with the same name the
// last one counts.
Parameters parametersOf(std::string_view query);

// The same of a body in which nothing is escaped.
Parameters plainParametersOf(std::string_view body);

// A text with its percent escapes undone, valid UTF-8.
std::string decodedText(std::string_view text);

// The same as one line of JSON.
std::string jsonObject(const Parameters& parameters);

}  // namespace collector
