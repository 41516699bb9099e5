#pragma once

#include <optional>
#include <string>
#include <string_view>

#include "util/Text.h"

namespace quarnel {

// Whether the operating system's version is at least `version`. A device that does not know its
// version counts as new.
inline bool isVersionAtLeast(const std::optional<std::string>& current, std::string_view version) {
  return !current || compareNumerically(*current, version) >= 0;
}

}  // namespace quarnel
