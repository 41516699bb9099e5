#pragma once

#include <cstdint>

namespace quarnel {

class Random {
 public:
  virtual ~Random() = default;
  // A uniformly distributed number from 0 to bound - 1. Callable from any thread.
  virtual std::uint32_t uniform(std::uint32_t bound) = 0;
};

}  // namespace quarnel
