#pragma once

#include <QuarnelTvOsLib/Value.h>

#include <chrono>

namespace quarnel {

// The wall clock and the device's time zone. Callable from any thread.
class Clock {
 public:
  virtual ~Clock() = default;
  virtual Date now() const = 0;
  // How far local time is ahead of UTC at the given moment.
  virtual std::chrono::seconds utcOffset(Date at) const = 0;
};

}  // namespace quarnel
