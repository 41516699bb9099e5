#pragma once

#include <array>
#include <cstddef>
#include <cstdint>

namespace quarnel {

// A few counters that outlive the process. Processes of one application share them. Callable from
// any thread.
class CounterStore {
 public:
  static constexpr std::size_t kCounters = 16;
  using Totals = std::array<std::uint64_t, kCounters>;

  virtual ~CounterStore() = default;

  // In memory: cheap, and never waits.
  virtual void increment(std::size_t counter) = 0;

  // What was counted reaches the disk within moments.
  virtual void saveSoon() = 0;

  // All that was ever counted. The first call may read a small file.
  virtual Totals totals() = 0;
};

}  // namespace quarnel
