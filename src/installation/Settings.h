#pragma once

#include <QuarnelTvOsLib/Value.h>

#include <cstdint>
#include <optional>
#include <string>

namespace quarnel {

// What the application has configured. A snapshot never changes: setting a property makes a new
// one, so a report keeps the settings of its own moment at the price of a pointer.
struct Settings {
  std::optional<std::string> customerUserID;
  std::optional<Value> customData;  // A dictionary.
  std::optional<std::string> quarnelDevKey;
  std::optional<std::string> appleAppID;
  std::optional<std::string> currencyCode;
  bool disableAppleAdSupportTracking = false;
  bool shouldCollectDeviceName = true;
  bool deviceTrackingDisabled = false;
  bool disableIAdTracking = false;
  bool useReceiptValidationSandbox = false;
  std::optional<Value> userEmails;  // An array.
  std::int32_t emailCryptType = 0;
  std::string platfromDevName;  // Taken once at start.
};

}  // namespace quarnel
