#include "platform/apple/ApplePlatform.h"

#include "platform/PlatformFactory.h"
#include "platform/apple/AppleNetwork.h"
#include "platform/apple/AppleNotificationCenter.h"

namespace quarnel {

ApplePlatform::ApplePlatform()
    : hostServices_(*adapterLog_),
      keychain_(*adapterLog_),
      dispatcher_(pending_, adapterLog_),
      counters_(userDefaults_, dispatcher_.makeUncountedQueue("counters")),
      network_(std::make_unique<AppleNetwork>(dispatcher_.makeSerialQueue("refused requests"),
                                              pending_, adapterLog_)) {}

NotificationCenter& ApplePlatform::notificationCenter() { return defaultNotificationCenter(); }

bool ApplePlatform::drain(std::chrono::milliseconds timeout) {
  const bool idle = pending_->waitUntilNone(timeout);
  counters_.save();
  userDefaults_.synchronize();
  return idle;
}

// Everything that a host application could hand in is the system's own here.
std::unique_ptr<Platform> makePlatform(const HostOptions&) {
  return std::make_unique<ApplePlatform>();
}

// Applications cannot fork on this platform.
bool isForkedChild() { return false; }

NotificationCenter& defaultNotificationCenter() {
  static AppleNotificationCenter* const center = new AppleNotificationCenter;
  return *center;
}

}  // namespace quarnel
