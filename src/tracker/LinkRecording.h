#pragma once

#include <QuarnelTvOsLib/TrackerTypes.h>

#include <optional>
#include <string>

#include "installation/TrackerState.h"
#include "util/DebugLog.h"

namespace quarnel {

// Links, user activities and pushes: recorded here, carried by the next launch report.
class LinkRecording {
 public:
  LinkRecording(TrackerState& state, const DebugLog& log) : state_(state), log_(log) {}

  void handleOpenURL(std::optional<std::string> url, std::optional<std::string> sourceApplication,
                     const std::optional<Dictionary>& annotation);
  void continueUserActivity(const UserActivity& activity, bool hasRestorationHandler);
  void didUpdateUserActivity(const UserActivity& activity);
  void handlePushNotification(const Dictionary& userInfo);

 private:
  TrackerState& state_;
  const DebugLog& log_;
};

}  // namespace quarnel
