#pragma once

#include "platform/DeviceFacts.h"

namespace quarnel {

// UIDevice, NSLocale, NSBundle and the kernel.
class AppleDevice final : public Device {
 public:
  DeviceFacts currentDevice() const override;
  bool isMultitaskingSupported() const override;
  std::optional<std::string> systemVersion() const override;
  BundleFacts mainBundle() const override;
};

}  // namespace quarnel
