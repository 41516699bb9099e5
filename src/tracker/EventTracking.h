#pragma once

#include <QuarnelTvOsLib/Value.h>

#include <memory>
#include <optional>
#include <string>

#include "compose/ReportBuilder.h"
#include "compose/ReportIntake.h"
#include "platform/Dispatcher.h"
#include "util/DebugLog.h"
#include "util/Mailbox.h"

namespace quarnel {

// In-app events and locations: decides which queue an event is handed over on, and what its request
// is.
class EventTracking {
 public:
  // `workQueue` takes events with several values and locations, and nothing else.
  EventTracking(ReportIntake& intake, ReportBuilder& builder, SerialQueue& mainQueue,
                std::shared_ptr<SerialQueue> workQueue, const DebugLog& log)
      : intake_(intake),
        builder_(builder),
        mainQueue_(mainQueue),
        workQueue_(std::move(workQueue)),
        log_(log) {}

  void trackEventWithValue(std::optional<std::string> eventName, std::optional<std::string> value);
  void trackEventWithValues(std::optional<std::string> eventName, std::optional<Dictionary> values);
  void trackLocation(double longitude, double latitude);

 private:
  ReportIntake& intake_;
  ReportBuilder& builder_;
  SerialQueue& mainQueue_;
  const std::shared_ptr<SerialQueue> workQueue_;
  const DebugLog& log_;
  Mailbox<ReportRequest> withValues_;
};

}  // namespace quarnel
