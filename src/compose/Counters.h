#pragma once

#include <cstdint>
#include <string_view>

#include "compose/TrackerContext.h"

namespace quarnel {

// The persistent counters and the time since the previous report. A missing value always means
// "first time". No two increases give the same number, not even in two processes.
class Counters {
 public:
  explicit Counters(const TrackerContext& context) : context_(context) {}

  // Launch reports so far, this one included when `increase` is set.
  std::int32_t getCounter(bool increase);

  // The number of the current session.
  std::int32_t getRealLaunchCounter();
  void incrementRealLaunchCounter();

  // In-app event reports so far, this one included when `increase` is set.
  std::int32_t getInAppCounter(bool increase);

  // Seconds since the previous call, -1 on the first one.
  double getTimePassedSinceLastLaunch();

 private:
  std::int32_t increaseAndStore(std::string_view key);

  const TrackerContext& context_;
};

}  // namespace quarnel
