#pragma once

#include "platform/Random.h"

namespace quarnel {

class AppleRandom final : public Random {
 public:
  std::uint32_t uniform(std::uint32_t bound) override;
};

}  // namespace quarnel
