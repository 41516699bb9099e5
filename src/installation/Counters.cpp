#include "installation/Counters.h"

#include <algorithm>
#include <limits>
#include <optional>

#include "installation/PersistedKeys.h"
#include "installation/StoredValues.h"
#include "platform/UserDefaults.h"

namespace quarnel {
namespace {

// A stored number beyond 32 bits is no counter of ours; it is brought into range.
std::int32_t counterFrom(const std::optional<Value>& stored) {
  constexpr std::int64_t kLeast = std::numeric_limits<std::int32_t>::min();
  constexpr std::int64_t kMost = std::numeric_limits<std::int32_t>::max();
  return static_cast<std::int32_t>(std::clamp(storedInteger(stored), kLeast, kMost));
}

// Stays at the largest number.
std::int32_t sum(std::int32_t number, std::int32_t more) {
  constexpr std::int32_t kMost = std::numeric_limits<std::int32_t>::max();
  return number < kMost - more ? number + more : kMost;
}

}  // namespace

std::int32_t Counters::increaseAndStore(std::string_view key, std::int32_t by) {
  // What a second process of the application has counted meanwhile counts here too.
  const auto increase = [by](const std::optional<Value>& stored) -> Value {
    return sum(counterFrom(stored), by);
  };
  return counterFrom(context_.platform.userDefaults().modify(key, increase));
}

std::int32_t Counters::getCounter(bool increase) {
  constexpr std::string_view kOperation = "-[QuarnelTracker getCounter:]";
  context_.log(kOperation, "increase=", increase ? 1 : 0);
  const UserDefaults& defaults = context_.platform.userDefaults();
  std::int32_t number = counterFrom(defaults.get(keys::kCounter));
  if (defaults.get(keys::kCounter)) {
    context_.log(kOperation, "lanunch number ", number);
  } else {
    context_.log(kOperation, "1st lanunch");
  }
  if (increase) {
    number = increaseAndStore(keys::kCounter, 1);
    context_.log(kOperation, "save counter ", number);
  }
  return number;
}

void Counters::reserveInApp(std::size_t count) {
  if (reserved_ > 0) return;
  const auto more = static_cast<std::int32_t>(count);
  context_.platform.userDefaults().modify(
      keys::kInAppCounter, [this, more](const std::optional<Value>& stored) -> Value {
        lastBeforeReserved_ = stored ? std::optional(counterFrom(stored)) : std::nullopt;
        return sum(counterFrom(stored), more);
      });
  reserved_ = more;
}

std::optional<std::int32_t> Counters::lastInApp() const {
  if (reserved_ > 0) return lastBeforeReserved_;
  const auto stored = context_.platform.userDefaults().get(keys::kInAppCounter);
  return stored ? std::optional(counterFrom(stored)) : std::nullopt;
}

std::int32_t Counters::takeInApp() {
  if (reserved_ == 0) return increaseAndStore(keys::kInAppCounter, 1);
  --reserved_;
  lastBeforeReserved_ = sum(lastBeforeReserved_.value_or(0), 1);
  return *lastBeforeReserved_;
}

std::int32_t Counters::getInAppCounter(bool increase) {
  constexpr std::string_view kOperation = "-[QuarnelTracker getInAppCounter:]";
  context_.log(kOperation, "increase=", increase ? 1 : 0);
  const std::optional<std::int32_t> last = lastInApp();
  if (last) {
    context_.log(kOperation, "in-app counter ", *last);
  } else {
    context_.log(kOperation, "no in-app yet");
  }
  const std::int32_t number = increase ? takeInApp() : last.value_or(0);
  context_.log(kOperation, "save in-app counter ", number);
  return number;
}

std::int32_t Counters::getRealLaunchCounter() {
  const UserDefaults& defaults = context_.platform.userDefaults();
  const std::int32_t number = counterFrom(defaults.get(keys::kRealLaunchCounter));
  if (defaults.get(keys::kRealLaunchCounter)) {
    context_.log("-[QuarnelTracker getRealLaunchCounter]",
                 "getRealLaunchCounter real lanunch number ", number);
  }
  return sum(number, 1);
}

void Counters::incrementRealLaunchCounter() {
  const std::int32_t number = increaseAndStore(keys::kRealLaunchCounter, 1);
  context_.log("-[QuarnelTracker incrementRealLaunchCounter]",
               "incrementRealLaunchCounter real lanunch counter after increment = ", number);
}

double Counters::getTimePassedSinceLastLaunch() {
  UserDefaults& defaults = context_.platform.userDefaults();
  const double now = secondsSince1970(context_.platform.clock().now());
  const double previous = storedDouble(defaults, keys::kPreviousReport);
  const double passed = previous > 0 ? now - previous : -1.0;
  defaults.set(keys::kPreviousReport, now);
  return passed;
}

}  // namespace quarnel
