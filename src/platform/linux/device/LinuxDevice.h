#pragma once

#include <map>
#include <mutex>
#include <optional>
#include <string>
#include <string_view>

#include "platform/DeviceFacts.h"

namespace quarnel {

// Device facts as the files below `root` ("" for the real system) and the environment tell them,
// but for the identifier for the vendor.
DeviceFacts readDeviceFacts(const std::string& root);

// The one for the vendor of the application with that bundle identifier.
std::optional<std::string> readIdentifierForVendor(
    const std::string& root, const std::optional<std::string>& bundleIdentifier);

// A locale variable's value ("de_AT.UTF-8") as language tag ("de-AT") and country code ("AT").
struct Locale {
  std::string languageTag;
  std::optional<std::string> countryCode;
};
Locale parseLocale(std::string_view name);

// The facts of start-up with what the host application overrides; they do not change. The
// identifier for the vendor is made for the first who asks, which is no longer during start-up: it
// is what OpenSSL is first needed for, and getting that ready takes longer than all the rest of the
// start.
class LinuxDevice final : public Device {
 public:
  using Overrides = std::map<std::string, std::optional<std::string>, std::less<>>;

  LinuxDevice(DeviceFacts facts, const Overrides& overrides, BundleFacts bundle);

  DeviceFacts currentDevice() const override;
  bool isMultitaskingSupported() const override { return facts_.isMultitaskingSupported; }
  std::optional<std::string> systemVersion() const override { return facts_.systemVersion; }
  BundleFacts mainBundle() const override { return bundle_; }

 private:
  mutable std::once_flag identified_;
  mutable DeviceFacts facts_;
  const BundleFacts bundle_;
  const bool hasOwnIdentifier_;
};

}  // namespace quarnel
