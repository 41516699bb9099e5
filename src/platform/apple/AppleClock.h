#pragma once

#include "platform/Clock.h"

namespace quarnel {

// The system's clock and the default time zone.
class AppleClock final : public Clock {
 public:
  Date now() const override;
  std::chrono::seconds utcOffset(Date at) const override;
};

}  // namespace quarnel
