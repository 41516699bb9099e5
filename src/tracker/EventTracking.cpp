#include "tracker/EventTracking.h"

#include <chrono>
#include <string_view>
#include <utility>

#include "platform/Dispatcher.h"
#include "util/ApproximateSize.h"
#include "util/Json.h"
#include "util/Text.h"

namespace quarnel {
namespace {

constexpr std::chrono::milliseconds kHandOverDelay{1};

bool looksLikeRevenue(const std::string& value) {
  return !value.empty() && value.find_first_not_of("0123456789-.") == std::string::npos;
}

std::size_t sizeOf(const std::optional<std::string>& text) { return text ? text->size() : 0; }

// The values as JSON, escaped for a URL, its commas too. Absent when they have no JSON form.
std::optional<std::string> valueText(const std::optional<Dictionary>& values) {
  if (!values) return "null";
  const std::optional<std::string> json = writeJson(*values);
  if (!json) return std::nullopt;
  const std::string escaped = escapeForUrl(*json);
  std::string text;
  text.reserve(escaped.size() + escaped.size() / 16);
  for (const char c : escaped) {
    if (c == ',') {
      text += "%2C";
    } else {
      text += c;
    }
  }
  return text;
}

}  // namespace

EventTracking::EventTracking(const TrackerContext& context, ReportIntake& intake,
                             ReportBuilder& builder, std::shared_ptr<SerialQueue> workQueue)
    : context_(context), intake_(intake), builder_(builder), workQueue_(std::move(workQueue)) {}

void EventTracking::trackEventWithValue(std::optional<std::string> eventName,
                                        std::optional<std::string> value) {
  // The test serves the log line alone.
  if (context_.log.isEnabled() && value && looksLikeRevenue(*value)) {
    context_.log("-[QuarnelTracker trackEvent:withValue:]", "Quarnel: numeric value '", value,
                 "' for event '", eventName, "' will be categorized as a revenue event.");
  }
  auto ticket =
      intake_.admit("-[QuarnelTracker trackEvent:withValue:]", sizeOf(eventName) + sizeOf(value));
  if (!ticket) return;
  context_.platform.dispatcher().mainQueue().postAfter(
      kHandOverDelay, [this, eventName = std::move(eventName), value = std::move(value),
                       ticket = std::move(ticket)]() mutable {
        builder_.callServerWithEventName(std::move(eventName), std::move(value), true, false,
                                         std::move(ticket));
      });
}

void EventTracking::trackEventWithValues(std::optional<std::string> eventName,
                                         std::optional<Dictionary> values) {
  auto ticket = intake_.admit("-[QuarnelTracker trackEvent:withValues:]",
                              sizeOf(eventName) + (values ? approximateSize(*values) : 0));
  if (!ticket) return;
  workQueue_->post([this, eventName = std::move(eventName), values = std::move(values),
                    ticket = std::move(ticket)]() mutable {
    builder_.callServerWithEventName(std::move(eventName), valueText(values), std::nullopt, true,
                                     true, std::move(ticket));
  });
}

void EventTracking::trackLocation(double longitude, double latitude) {
  trackEventWithValues("qn_location_coordinates",
                       Dictionary{{"qn_long", longitude}, {"qn_lat", latitude}});
}

}  // namespace quarnel
