#include "platform/linux/device/SystemClock.h"

#include <ctime>

namespace quarnel {

static_assert(sizeof(std::time_t) == 8, "Dates would end in 2038.");

// Not std::chrono::system_clock, which the C++ library was compiled with: on a system whose own
// time_t has 32 bits it ends in 2038.
Date SystemClock::now() const {
  std::timespec now{};
  ::clock_gettime(CLOCK_REALTIME, &now);
  return Date(std::chrono::seconds(now.tv_sec) +
              std::chrono::floor<Date::duration>(std::chrono::nanoseconds(now.tv_nsec)));
}

std::chrono::seconds SystemClock::utcOffset(Date at) const {
  const std::time_t seconds =
      std::chrono::floor<std::chrono::seconds>(at.time_since_epoch()).count();
  // Looks again at TZ and at /etc/localtime, which localtime_r() alone does only once.
  ::tzset();
  std::tm local{};
  if (::localtime_r(&seconds, &local) == nullptr) return std::chrono::seconds(0);
  return std::chrono::seconds(local.tm_gmtoff);
}

}  // namespace quarnel
