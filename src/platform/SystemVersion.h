#pragma once

#include <string_view>

#include "platform/DeviceFacts.h"
#include "util/Text.h"

namespace quarnel {

// Whether the operating system has at least that version. A device that does not tell its version
// is not taken for an old one.
inline bool isSystemAtLeast(const Device& device, std::string_view version) {
  const auto current = device.systemVersion();
  return !current || compareNumerically(*current, version) >= 0;
}

}  // namespace quarnel
