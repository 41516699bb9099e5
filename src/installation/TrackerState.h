#pragma once

#include <QuarnelTvOsLib/Value.h>

#include <functional>
#include <memory>
#include <mutex>
#include <optional>
#include <string>
#include <utility>

#include "installation/Settings.h"

namespace quarnel {

// What was recorded since the last launch report, which takes it.
struct PendingLaunch {
  std::optional<std::string> deeplink;
  std::optional<std::string> sourceApplication;
  std::optional<Value> pushPayload;
};

// What the tracker's operations share. The debug flag belongs to the DebugLog, the delegate to the
// DelegateSlot: both are read at each line and each call.
struct TrackerFields {
  std::shared_ptr<const Settings> settings = std::make_shared<const Settings>();

  PendingLaunch pending;
  std::optional<Value> referralURL;  // Recorded; no report carries it.

  std::optional<Date> lastLaunchTime;
  std::optional<Date> timeWentToBG;
  bool didCollectIAdData = false;
  std::optional<Value> iADV3data;  // A dictionary.
  std::optional<std::string> advertiserId;
};

// The fields under their one mutex, which is never held while calling out of the library. Callable
// from any thread.
class TrackerState {
 public:
  // The settings of this moment.
  std::shared_ptr<const Settings> settings() const {
    const std::lock_guard lock(mutex_);
    return fields_.settings;
  }

  // Makes a new snapshot, changed by `change`, the settings of all that follows.
  void changeSettings(const std::function<void(Settings&)>& change);

  // Runs a short function on the fields and returns what it returns. The function must not call
  // out.
  template <typename Function>
  auto update(const Function& function) {
    const std::lock_guard lock(mutex_);
    return function(fields_);
  }

  template <typename T>
  T get(T TrackerFields::*member) const {
    const std::lock_guard lock(mutex_);
    return fields_.*member;
  }

  template <typename T>
  void set(T TrackerFields::*member, T value) {
    const std::lock_guard lock(mutex_);
    std::swap(fields_.*member, value);  // The old content dies with the argument.
  }

 private:
  mutable std::mutex mutex_;
  TrackerFields fields_;
};

}  // namespace quarnel
