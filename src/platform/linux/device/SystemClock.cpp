#include "platform/linux/device/SystemClock.h"

#include <ctime>

namespace quarnel {

Date SystemClock::now() const {
  return std::chrono::floor<Date::duration>(std::chrono::system_clock::now());
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
