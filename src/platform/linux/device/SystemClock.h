#pragma once

#include "platform/Clock.h"

namespace quarnel {

class SystemClock final : public Clock {
 public:
  Date now() const override;
  std::chrono::seconds utcOffset(Date at) const override;
};

}  // namespace quarnel
