#pragma once

#include <optional>
#include <string>
#include <string_view>
#include <vector>

namespace quarnel {

// Device properties; nullopt if unavailable.
struct DeviceFacts {
  std::optional<std::string> name;
  std::optional<std::string> systemName;
  std::optional<std::string> systemVersion;
  std::optional<std::string> model;
  std::optional<std::string> localizedModel;
  std::optional<std::string> hardwareMachine;      // The kernel's name of the hardware.
  std::optional<std::string> identifierForVendor;  // Absent: not offered.
  bool isMultitaskingSupported = true;
  std::vector<std::string> preferredLanguages;
  std::optional<std::string> countryCode;
};

// Properties of the application's bundle.
struct BundleFacts {
  std::optional<std::string> bundleIdentifier;
  bool hasInfoDictionary = false;  // Whether there is a main bundle with the three below.
  std::optional<std::string> bundleVersion;
  std::optional<std::string> displayName;
  std::optional<std::string> shortVersion;
  std::optional<std::string> appStoreReceiptPath;
};

// Device and application facts. Cheap enough to ask for every report, apart from the first time;
// callable from any thread.
class Device {
 public:
  virtual ~Device() = default;
  virtual DeviceFacts currentDevice() const = 0;
  // Two of them alone, and cheap the first time too: for the start of the application.
  virtual bool isMultitaskingSupported() const = 0;
  virtual std::optional<std::string> systemVersion() const = 0;
  virtual BundleFacts mainBundle() const = 0;
};

// Replaces the fact that stands in the report field of that name; false when there is none.
bool overrideDeviceFact(DeviceFacts& facts, std::string_view field,
                        std::optional<std::string> value);

}  // namespace quarnel
