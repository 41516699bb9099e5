#pragma once

#include <QuarnelTvOsLib/Diagnostics.h>

#include <cstdint>

#include "platform/CounterStore.h"

namespace quarnel {

// Keeps count of what becomes of reports. Callable from any thread.
class Ledger {
 public:
  explicit Ledger(CounterStore& store) : store_(store) {}

  void count(Tally tally);

  // So many usable records lie in the offline cache; see CounterStore.
  void recordsListed(std::uint64_t records) { store_.recordsListed(records); }

  // With what this process has: reports that wait to be built, those that the transport has, and
  // purchases that are being validated.
  Diagnostics read(std::uint64_t waiting, std::uint64_t inFlight, std::uint64_t validating) const;

 private:
  CounterStore& store_;
};

}  // namespace quarnel
