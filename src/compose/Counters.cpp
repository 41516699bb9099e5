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
std::int32_t storedCounter(const UserDefaults& defaults, std::string_view key) {
  constexpr std::int64_t kLeast = std::numeric_limits<std::int32_t>::min();
  constexpr std::int64_t kMost = std::numeric_limits<std::int32_t>::max();
  return static_cast<std::int32_t>(std::clamp(storedInteger(defaults, key), kLeast, kMost));
}

}  // namespace

std::int32_t Counters::increaseAndStore(std::string_view key, std::int32_t number) {
  if (number < std::numeric_limits<std::int32_t>::max()) ++number;
  UserDefaults& defaults = context_.platform.userDefaults();
  defaults.set(key, number);
  defaults.synchronize();
  return number;
}

std::int32_t Counters::getCounter(bool increase) {
  constexpr std::string_view kOperation = "-[QuarnelTracker getCounter:]";
  context_.log(kOperation, "increase=", increase ? 1 : 0);
  const UserDefaults& defaults = context_.platform.userDefaults();
  std::int32_t number = storedCounter(defaults, keys::kCounter);
  if (defaults.get(keys::kCounter)) {
    context_.log(kOperation, "lanunch number ", number);
  } else {
    context_.log(kOperation, "1st lanunch");
  }
  if (increase) {
    number = increaseAndStore(keys::kCounter, number);
    context_.log(kOperation, "save counter ", number);
  }
  return number;
}

std::int32_t Counters::getInAppCounter(bool increase) {
  constexpr std::string_view kOperation = "-[QuarnelTracker getInAppCounter:]";
  context_.log(kOperation, "increase=", increase ? 1 : 0);
  const UserDefaults& defaults = context_.platform.userDefaults();
  std::int32_t number = storedCounter(defaults, keys::kInAppCounter);
  if (defaults.get(keys::kInAppCounter)) {
    context_.log(kOperation, "in-app counter ", number);
  } else {
    context_.log(kOperation, "no in-app yet");
  }
  if (increase) number = increaseAndStore(keys::kInAppCounter, number);
  context_.log(kOperation, "save in-app counter ", number);
  return number;
}

std::int32_t Counters::getRealLaunchCounter() {
  const UserDefaults& defaults = context_.platform.userDefaults();
  const std::int32_t number = storedCounter(defaults, keys::kRealLaunchCounter);
  if (defaults.get(keys::kRealLaunchCounter)) {
    context_.log("-[QuarnelTracker getRealLaunchCounter]",
                 "getRealLaunchCounter real lanunch number ", number);
  }
  return number < std::numeric_limits<std::int32_t>::max() ? number + 1 : number;
}

void Counters::incrementRealLaunchCounter() {
  const UserDefaults& defaults = context_.platform.userDefaults();
  const std::int32_t number =
      increaseAndStore(keys::kRealLaunchCounter, storedCounter(defaults, keys::kRealLaunchCounter));
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
