#include "installation/Counters.h"

#include <atomic>
#include <limits>
#include <memory>
#include <string_view>

#include "installation/PersistedKeys.h"
#include "installation/StoredValues.h"
#include "util/DateText.h"
#include "util/Limits.h"

namespace quarnel {
namespace {

std::optional<std::int32_t> optionalCounterFrom(const std::optional<Value>& stored) {
  return stored ? std::optional(storedCounter(stored)) : std::nullopt;
}

// Stays at the largest number.
std::int32_t next(const std::optional<std::int32_t>& number) {
  constexpr std::int32_t kMost = std::numeric_limits<std::int32_t>::max();
  const std::int32_t current = number.value_or(0);
  return current < kMost ? current + 1 : kMost;
}

}  // namespace

std::vector<ReportNumbers> Counters::number(const std::vector<Numbered>& reports) {
  std::vector<ReportNumbers> result;
  // What a second process of the application has counted meanwhile counts here too.
  defaults_.update([&](UserDefaults::Edit& edit) {
    result.clear();
    result.reserve(reports.size());
    auto launches = optionalCounterFrom(edit.get(keys::kCounter));
    auto events = optionalCounterFrom(edit.get(keys::kInAppCounter));
    double previous = storedDouble(edit.get(keys::kPreviousReport));
    for (const Numbered& report : reports) {
      ReportNumbers numbers;
      numbers.launchesBefore = launches;
      numbers.eventsBefore = events;
      auto& counted = report.isInAppEvent ? events : launches;
      counted = next(counted);
      numbers.launches = launches.value_or(0);
      numbers.events = events.value_or(0);
      const double moment = secondsSince1970(report.moment);
      if (previous > 0) numbers.timePassed = moment - previous;
      previous = moment;
      result.push_back(numbers);
    }
    if (launches) edit.set(keys::kCounter, *launches);
    if (events) edit.set(keys::kInAppCounter, *events);
    edit.set(keys::kPreviousReport, previous);
  });
  return result;
}

void Counters::logNumbers(const ReportNumbers& numbers, bool isInAppEvent,
                          std::optional<std::int32_t> endedSessions) const {
  logLaunches(numbers.launchesBefore, !isInAppEvent, numbers.launches);
  if (endedSessions) {
    log_("-[QuarnelTracker getRealLaunchCounter]", "getRealLaunchCounter real lanunch number ",
         *endedSessions);
  }
  logEvents(numbers.eventsBefore, isInAppEvent, numbers.events);
}

void Counters::logLaunches(const std::optional<std::int32_t>& before, bool increase,
                           std::int32_t after) const {
  constexpr std::string_view kOperation = "-[QuarnelTracker getCounter:]";
  log_(kOperation, "increase=", increase ? 1 : 0);
  if (before) {
    log_(kOperation, "lanunch number ", *before);
  } else {
    log_(kOperation, "1st lanunch");
  }
  if (increase) log_(kOperation, "save counter ", after);
}

void Counters::logEvents(const std::optional<std::int32_t>& before, bool increase,
                         std::int32_t after) const {
  constexpr std::string_view kOperation = "-[QuarnelTracker getInAppCounter:]";
  log_(kOperation, "increase=", increase ? 1 : 0);
  if (before) {
    log_(kOperation, "in-app counter ", *before);
  } else {
    log_(kOperation, "no in-app yet");
  }
  // Written whether or not anything was increased.
  log_(kOperation, "save in-app counter ", after);
}

std::int32_t Counters::getCounter() const {
  const auto stored = optionalCounterFrom(defaults_.get(keys::kCounter));
  logLaunches(stored, false, stored.value_or(0));
  return stored.value_or(0);
}

std::int32_t Counters::getRealLaunchCounter(std::optional<std::int32_t> endedSessions) {
  return next(endedSessions);
}

void Counters::incrementRealLaunchCounter() {
  // Shared: the store may keep the change for later.
  const auto number = std::make_shared<std::atomic<std::int32_t>>(0);
  defaults_.updateWithin(limits::kSessionCommit, [number](UserDefaults::Edit& edit) {
    *number = next(optionalCounterFrom(edit.get(keys::kRealLaunchCounter)));
    edit.set(keys::kRealLaunchCounter, number->load());
  });
  log_("-[QuarnelTracker incrementRealLaunchCounter]",
       "incrementRealLaunchCounter real lanunch counter after increment = ", number->load());
}

}  // namespace quarnel
