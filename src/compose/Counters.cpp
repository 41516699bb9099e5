#include "compose/Counters.h"

#include <algorithm>
#include <limits>
#include <optional>

#include "platform/UserDefaults.h"
#include "util/StoredValues.h"

namespace quarnel {
namespace {

constexpr std::string_view kCounter = "QuarnelCounter";
constexpr std::string_view kRealLaunchCounter = "QuarnelRealLaunchCounter";
constexpr std::string_view kInAppCounter = "QuarnelInAppCounter";
constexpr std::string_view kPreviousReport = "QuarnelTimePassedSincePrevLaunch";

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
  std::int32_t number = storedCounter(defaults, kCounter);
  if (defaults.get(kCounter)) {
    context_.log(kOperation, "lanunch number ", number);
  } else {
    context_.log(kOperation, "1st lanunch");
  }
  if (increase) {
    number = increaseAndStore(kCounter, number);
    context_.log(kOperation, "save counter ", number);
  }
  return number;
}

std::int32_t Counters::getInAppCounter(bool increase) {
  constexpr std::string_view kOperation = "-[QuarnelTracker getInAppCounter:]";
  context_.log(kOperation, "increase=", increase ? 1 : 0);
  const UserDefaults& defaults = context_.platform.userDefaults();
  std::int32_t number = storedCounter(defaults, kInAppCounter);
  if (defaults.get(kInAppCounter)) {
    context_.log(kOperation, "in-app counter ", number);
  } else {
    context_.log(kOperation, "no in-app yet");
  }
  if (increase) number = increaseAndStore(kInAppCounter, number);
  context_.log(kOperation, "save in-app counter ", number);
  return number;
}

std::int32_t Counters::getRealLaunchCounter() {
  const UserDefaults& defaults = context_.platform.userDefaults();
  const std::int32_t number = storedCounter(defaults, kRealLaunchCounter);
  if (defaults.get(kRealLaunchCounter)) {
    context_.log("-[QuarnelTracker getRealLaunchCounter]",
                 "getRealLaunchCounter real lanunch number ", number);
  }
  return number < std::numeric_limits<std::int32_t>::max() ? number + 1 : number;
}

void Counters::incrementRealLaunchCounter() {
  const UserDefaults& defaults = context_.platform.userDefaults();
  const std::int32_t number =
      increaseAndStore(kRealLaunchCounter, storedCounter(defaults, kRealLaunchCounter));
  context_.log("-[QuarnelTracker incrementRealLaunchCounter]",
               "incrementRealLaunchCounter real lanunch counter after increment = ", number);
}

double Counters::getTimePassedSinceLastLaunch() {
  UserDefaults& defaults = context_.platform.userDefaults();
  const double now = secondsSince1970(context_.platform.clock().now());
  const double previous = storedDouble(defaults, kPreviousReport);
  const double passed = previous > 0 ? now - previous : -1.0;
  defaults.set(kPreviousReport, now);
  defaults.synchronize();
  return passed;
}

}  // namespace quarnel
