#pragma once

#include <map>
#include <optional>
#include <string>
#include <string_view>

#include "platform/DeviceFacts.h"

namespace quarnel {

// Device facts as the files below `root` ("/" of the real system) and the environment tell them.
// `bundleIdentifier` makes the identifier for the vendor one of the application's vendor.
DeviceFacts readDeviceFacts(const std::string& root,
                            const std::optional<std::string>& bundleIdentifier);

// A locale variable's value ("de_AT.UTF-8") as language tag ("de-AT") and country code ("AT").
struct Locale {
  std::string languageTag;
  std::optional<std::string> countryCode;
};
Locale parseLocale(std::string_view name);

// The facts of start-up with what the host application overrides; they do not change.
class LinuxDevice final : public Device {
 public:
  using Overrides = std::map<std::string, std::optional<std::string>, std::less<>>;

  LinuxDevice(DeviceFacts facts, const Overrides& overrides, BundleFacts bundle);

  DeviceFacts currentDevice() const override { return facts_; }
  BundleFacts mainBundle() const override { return bundle_; }

 private:
  DeviceFacts facts_;
  const BundleFacts bundle_;
};

}  // namespace quarnel
