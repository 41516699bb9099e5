#pragma once

#include <cstddef>
#include <cstdint>
#include <optional>
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

  // Commits the increases for so many in-app events at once; the next ones take their numbers from
  // these. As what is counted for a report that is never made, they are gone with the process. Like
  // getInAppCounter for the thread that builds reports only.
  void reserveInApp(std::size_t count);

  // In-app event reports so far, this one included when `increase` is set.
  std::int32_t getInAppCounter(bool increase);

  // Seconds since the previous call, -1 on the first one. The time of this call is committed with
  // the counter that is increased next.
  double getTimePassedSinceLastLaunch();

 private:
  std::optional<std::int32_t> lastInApp() const;
  std::int32_t takeInApp();
  std::int32_t increaseAndStore(std::string_view key, std::int32_t by);

  const TrackerContext& context_;

  // In-app events: so many numbers after the last one are committed and not taken yet.
  std::int32_t reserved_ = 0;
  std::optional<std::int32_t> lastBeforeReserved_;
};

}  // namespace quarnel
