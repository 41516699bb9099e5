#include "tracker/EventTracking.h"

#include <chrono>
#include <memory>
#include <string_view>
#include <utility>

#include "util/ApproximateSize.h"

namespace quarnel {
namespace {

constexpr std::string_view kWithValue = "-[QuarnelTracker trackEvent:withValue:]";
constexpr std::string_view kWithValues = "-[QuarnelTracker trackEvent:withValues:]";

constexpr std::chrono::milliseconds kHandOverDelay{1};

bool looksLikeRevenue(const std::string& value) {
  return !value.empty() && value.find_first_not_of("0123456789-.") == std::string::npos;
}

std::size_t sizeOf(const std::optional<std::string>& text) { return text ? text->size() : 0; }

}  // namespace

void EventTracking::trackEventWithValue(std::optional<std::string> eventName,
                                        std::optional<std::string> value) {
  // The test serves the log line alone.
  if (log_.isEnabled() && value && looksLikeRevenue(*value)) {
    log_(kWithValue, "Quarnel: numeric value '", value, "' for event '", eventName,
         "' will be categorized as a revenue event.");
  }
  // Shared, as tasks are copyable.
  const auto request = std::make_shared<ReportRequest>();
  request->ticket = intake_.admit(kWithValue, sizeOf(eventName) + sizeOf(value));
  if (!request->ticket) return;
  request->eventName = std::move(eventName);
  request->value = std::move(value);
  request->isEvent = true;
  mainQueue_.postAfter(kHandOverDelay,
                       [this, request] { builder_.callServerWithEventName(std::move(*request)); });
}

void EventTracking::trackEventWithValues(std::optional<std::string> eventName,
                                         std::optional<Dictionary> values) {
  ReportRequest request;
  request.ticket =
      intake_.admit(kWithValues, sizeOf(eventName) + (values ? approximateSize(*values) : 0));
  if (!request.ticket) return;
  request.eventName = std::move(eventName);
  request.values = std::move(values);
  request.isEvent = true;
  request.isNewAPI = true;
  withValues_.put(std::move(request), [this] {
    workQueue_->post([this] { builder_.callServerWithEventNames(withValues_.takeAll()); });
  });
}

void EventTracking::trackLocation(double longitude, double latitude) {
  trackEventWithValues("qn_location_coordinates",
                       Dictionary{{"qn_long", longitude}, {"qn_lat", latitude}});
}

}  // namespace quarnel
