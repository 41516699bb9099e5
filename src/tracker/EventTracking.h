#pragma once

#include <QuarnelTvOsLib/Value.h>

#include <memory>
#include <optional>
#include <string>

#include "compose/ReportBuilder.h"
#include "compose/ReportIntake.h"
#include "compose/TrackerContext.h"

namespace quarnel {

// In-app events and locations: decides which queue an event takes and what its value is.
class EventTracking {
 public:
  // `workQueue` takes events with several values and locations, and nothing else.
  EventTracking(const TrackerContext& context, ReportIntake& intake, ReportBuilder& builder,
                std::shared_ptr<SerialQueue> workQueue);

  void trackEventWithValue(std::optional<std::string> eventName, std::optional<std::string> value);
  void trackEventWithValues(std::optional<std::string> eventName, std::optional<Dictionary> values);
  void trackLocation(double longitude, double latitude);

 private:
  const TrackerContext& context_;
  ReportIntake& intake_;
  ReportBuilder& builder_;
  const std::shared_ptr<SerialQueue> workQueue_;
};

}  // namespace quarnel
