#pragma once

#include <QuarnelTvOsLib/Value.h>

#include <functional>
#include <memory>
#include <optional>
#include <string>
#include <string_view>

#include "installation/Counters.h"
#include "installation/DeviceIdentity.h"
#include "installation/TrackerState.h"
#include "platform/Clock.h"
#include "platform/DeviceFacts.h"
#include "platform/Dispatcher.h"
#include "platform/NotificationCenter.h"
#include "platform/ServiceConfiguration.h"
#include "platform/UserDefaults.h"
#include "transport/StatSession.h"
#include "util/Admission.h"
#include "util/DebugLog.h"
#include "util/Limits.h"

namespace quarnel {

// Follows the application through the three notifications of its life, and reports the session's
// statistics each time it goes to the background.
class Lifecycle {
 public:
  // Runs a task on a queue of the library's once all launches of before are counted.
  using AfterGathering = std::function<void(Task)>;

  Lifecycle(NotificationCenter& notifications, const Clock& clock, const Device& device,
            const UserDefaults& defaults, const ServiceConfiguration& services, TrackerState& state,
            Counters& counters, DeviceIdentity& identity, StatSession& statSession,
            const DebugLog& log, AfterGathering afterGathering)
      : notifications_(notifications),
        clock_(clock),
        device_(device),
        defaults_(defaults),
        services_(services),
        state_(state),
        counters_(counters),
        identity_(identity),
        statSession_(statSession),
        log_(log),
        afterGathering_(std::move(afterGathering)) {}

  // Writes the first log line and, on a device with multitasking, registers for the notifications.
  void start();

 private:
  // What the statistics tell of the moment of the notification. What is stored is read later: the
  // launch counter when all launches that were handed over before are counted, and nothing here
  // must wait for the store.
  struct Statistics {
    std::shared_ptr<const Settings> settings;
    double timeInApp = 0;
  };

  // The name has to live as long as this.
  void observe(std::string_view notification, std::function<void(const Value& userInfo)> handler);
  void handleDidFinishLaunch(const Value& userInfo);
  void handleWillResignActive();
  void handleEnteredBackground();
  void backgroundstatCall(const Statistics& statistics);
  std::string bodyOf(const Statistics& statistics);

  NotificationCenter& notifications_;
  const Clock& clock_;
  const Device& device_;
  const UserDefaults& defaults_;
  const ServiceConfiguration& services_;
  TrackerState& state_;
  Counters& counters_;
  DeviceIdentity& identity_;
  StatSession& statSession_;
  const DebugLog& log_;
  const AfterGathering afterGathering_;
  Admission waiting_{{limits::kMostStatistics, 0}};
};

}  // namespace quarnel
