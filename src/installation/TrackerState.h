#pragma once

#include <QuarnelTvOsLib/QuarnelTrackerDelegate.h>
#include <QuarnelTvOsLib/Value.h>

#include <cstdint>
#include <mutex>
#include <optional>
#include <string>
#include <utility>

namespace quarnel {

// What the tracker's operations share. The debug flag is not here: it belongs to the DebugLog.
struct TrackerFields {
  // Configuration, set by the application.
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
  QuarnelTrackerDelegate* delegate = nullptr;
  std::optional<Value> userEmails;  // An array.
  std::int32_t emailCryptType = 0;

  // Taken once at start.
  std::string platfromDevName;

  // Recorded by links, activities, pushes and launch notifications; taken by the next launch
  // report.
  std::optional<std::string> deeplink;
  std::optional<std::string> sourceApplication;
  std::optional<Value> pushPayload;
  std::optional<Value> referralURL;  // No report carries it.

  // Written as the application comes and goes, and as reports are built.
  std::optional<Date> lastLaunchTime;
  std::optional<Date> timeWentToBG;
  bool didCollectIAdData = false;
  std::optional<Value> iADV3data;  // A dictionary.
  std::optional<std::string> advertiserId;
};

// The fields under their one mutex, which is never held while calling out of the library. Copying
// fields is cheap: large content is shared.
class TrackerState {
 public:
  TrackerFields snapshot() const {
    std::lock_guard lock(mutex_);
    return fields_;
  }

  // Runs a short function on the fields and returns what it returns. The function must not call
  // out.
  template <typename Function>
  auto with(Function&& function) {
    std::lock_guard lock(mutex_);
    return std::forward<Function>(function)(fields_);
  }

  template <typename T>
  T get(T TrackerFields::*member) const {
    std::lock_guard lock(mutex_);
    return fields_.*member;
  }

  template <typename T>
  void set(T TrackerFields::*member, T value) {
    std::lock_guard lock(mutex_);
    std::swap(fields_.*member, value);  // The old content dies with the argument.
  }

 private:
  mutable std::mutex mutex_;
  TrackerFields fields_;
};

}  // namespace quarnel
