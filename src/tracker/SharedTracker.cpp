// The tracker of this process, and the notification centre that it listens to.
#include <QuarnelTvOsLib/Notifications.h>
#include <QuarnelTvOsLib/QuarnelTracker.h>

#include <mutex>
#include <optional>

#include "platform/HostOptions.h"
#include "platform/NotificationCenter.h"
#include "platform/PlatformFactory.h"

namespace quarnel {
namespace {

// What the host handed in, until the shared tracker is made from it.
struct SharedSetup {
  std::mutex mutex;
  std::optional<HostEnvironment> environment;
  bool isMade = false;
};

// Never destroyed: the tracker may be asked for while the process exits.
SharedSetup& sharedSetup() {
  static SharedSetup& setup = *new SharedSetup;
  return setup;
}

QuarnelTracker* makeSharedTracker() {
  HostEnvironment environment;
  {
    SharedSetup& setup = sharedSetup();
    std::lock_guard lock(setup.mutex);
    setup.isMade = true;
    if (setup.environment) environment = *setup.environment;
  }
  const HostOptions& options = environment.options();
  return new QuarnelTracker(*makePlatform(options).release(), options.services);
}

}  // namespace

bool QuarnelTracker::configureSharedTracker(const HostEnvironment& environment) {
  if (isForkedChild()) return false;
  SharedSetup& setup = sharedSetup();
  std::lock_guard lock(setup.mutex);
  if (setup.isMade) return false;
  setup.environment = environment;
  return true;
}

QuarnelTracker& QuarnelTracker::sharedTracker() {
  static QuarnelTracker& tracker = *makeSharedTracker();
  return tracker;
}

void postNotification(std::string_view name, const Value& userInfo) {
  if (isForkedChild()) return;
  defaultNotificationCenter().post(name, userInfo);
}

}  // namespace quarnel
