#include "compose/Counters.h"

#include <algorithm>
#include <limits>
#include <optional>

#include "platform/UserDefaults.h"
#include "util/PersistedKeys.h"
#include "util/StoredValues.h"

namespace quarnel {
namespace {

// A stored number beyond 32 bits is no counter of ours; it is brought into range.
std::int32_t counterFrom(const std::optional<Value>& stored) {
  constexpr std::int64_t kLeast = std::numeric_limits<std::int32_t>::min();
  constexpr std::int64_t kMost = std::numeric_limits<std::int32_t>::max();
  return static_cast<std::int32_t>(std::clamp(storedInteger(stored), kLeast, kMost));
}

std::int32_t oneMore(std::int32_t number) {
  return number < std::numeric_limits<std::int32_t>::max() ? number + 1 : number;
}

}  // namespace

std::int32_t Counters::increaseAndStore(std::string_view key) {
  // What a second process of the application has counted meanwhile counts here too.
  const auto increase = [](const std::optional<Value>& stored) -> Value {
    return oneMore(counterFrom(stored));
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
    number = increaseAndStore(keys::kCounter);
    context_.log(kOperation, "save counter ", number);
  }
  return number;
}

std::int32_t Counters::getInAppCounter(bool increase) {
  constexpr std::string_view kOperation = "-[QuarnelTracker getInAppCounter:]";
  context_.log(kOperation, "increase=", increase ? 1 : 0);
  const UserDefaults& defaults = context_.platform.userDefaults();
  std::int32_t number = counterFrom(defaults.get(keys::kInAppCounter));
  if (defaults.get(keys::kInAppCounter)) {
    context_.log(kOperation, "in-app counter ", number);
  } else {
    context_.log(kOperation, "no in-app yet");
  }
  if (increase) number = increaseAndStore(keys::kInAppCounter);
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
  return oneMore(number);
}

void Counters::incrementRealLaunchCounter() {
  const std::int32_t number = increaseAndStore(keys::kRealLaunchCounter);
  context_.log("-[QuarnelTracker incrementRealLaunchCounter]",
               "incrementRealLaunchCounter real lanunch counter after increment = ", number);
}

double Counters::getTimePassedSinceLastLaunch() {
  UserDefaults& defaults = context_.platform.userDefaults();
  const double now = secondsSince1970(context_.platform.clock().now());
  const double previous = storedDouble(defaults, keys::kPreviousReport);
  const double passed = previous > 0 ? now - previous : -1.0;
  defaults.set(keys::kPreviousReport, now);
  defaults.synchronize();
  return passed;
}

}  // namespace quarnel
