#pragma once

#include <QuarnelTvOsLib/TrackerTypes.h>

#include <optional>
#include <string>

#include "compose/TrackerContext.h"

namespace quarnel {

// Links, user activities and pushes: recorded here, carried by the next launch report.
class LinkRecording {
 public:
  explicit LinkRecording(const TrackerContext& context) : context_(context) {}

  void handleOpenURL(std::optional<std::string> url, std::optional<std::string> sourceApplication,
                     const std::optional<Dictionary>& annotation);
  void continueUserActivity(const UserActivity& activity, bool hasRestorationHandler);
  void didUpdateUserActivity(const UserActivity& activity);
  void handlePushNotification(const Dictionary& userInfo);

 private:
  const TrackerContext& context_;
};

}  // namespace quarnel
