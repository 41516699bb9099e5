#pragma once

#include <string>
#include <string_view>

namespace quarnel {

// Encodes a report's JSON as Base64 over an alphabet that the developer key permutes. With an empty
// key the alphabet stays unpermuted. The result holds nothing that a URL would have to escape.
std::string encodeBody(std::string_view json, std::string_view developerKey);

}  // namespace quarnel
