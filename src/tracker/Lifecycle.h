#pragma once

#include <QuarnelTvOsLib/Value.h>

#include <functional>
#include <memory>
#include <string_view>

#include "compose/TrackerContext.h"
#include "installation/Counters.h"
#include "installation/DeviceIdentity.h"
#include "transport/StatSession.h"
#include "util/Admission.h"

namespace quarnel {

class SerialQueue;

// Follows the application through the three notifications of its life, and reports the session's
// statistics each time it goes to the background.
class Lifecycle {
 public:
  Lifecycle(const TrackerContext& context, Counters& counters, DeviceIdentity& identity,
            StatSession& statSession);

  // Writes the first log line and, on a device with multitasking, registers for the notifications.
  void start();

 private:
  // The name has to live as long as this.
  void observe(std::string_view notification, std::function<void(const Value& userInfo)> handler);
  void handleDidFinishLaunch(const Value& userInfo);
  void handleWillResignActive();
  void handleEnteredBackground();
  void backgroundstatCall(std::optional<Date> lastLaunchTime, Date now);
  std::string statistics(double timeInApp);

  const TrackerContext& context_;
  Counters& counters_;
  DeviceIdentity& identity_;
  StatSession& statSession_;
  Admission waiting_{{64, 0}};
  const std::shared_ptr<SerialQueue> queue_;
};

}  // namespace quarnel
