#pragma once

#include <optional>
#include <string>
#include <string_view>

namespace quarnel {

// The parts of a URL of any scheme, read as the platform's URL object does. Views into the text.
struct UrlParts {
  std::optional<std::string_view> scheme;
  std::optional<std::string_view> query;  // As it stands, without the fragment.
  // Percent-decoded, without one trailing slash; empty for a bare host. Absent for an opaque URL
  // ("app:x") and when an escape in it does not decode.
  std::optional<std::string> path;
};

UrlParts parseUrl(std::string_view url);

// Whether the text is a URL as it stands: every character may stand in one, and "%" begins an
// escape of two hexadecimal digits.
bool isUrl(std::string_view text);

// Whether it is one with the scheme "https" and a host, so that a request can be made of it.
bool isHttpsUrl(std::string_view text);

}  // namespace quarnel
