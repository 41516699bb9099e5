#pragma once

#include <QuarnelTvOsLib/Diagnostics.h>

#include <cstdint>

#include "platform/CounterStore.h"

namespace quarnel {

// What can happen to a report. The order is that of the stored counters: new ones go to the end.
enum class Tally {
  kAccepted,
  kNotDue,
  kBuilt,
  kDelivered,
  kFailed,
  kCached,
  kReplayed,
  kTooManyWaiting,
  kMissingDeveloperKey,
  kAbandoned,
  kCacheFull,
  kCacheWriteFailed,
  kUnreadableRecord,
};

// Keeps count of what becomes of reports. Callable from any thread.
class Ledger {
 public:
  explicit Ledger(CounterStore& store) : store_(store) {}

  void count(Tally tally);

  // With what this process has: reports that wait to be built, and those that the transport has.
  Diagnostics read(std::uint64_t waiting, std::uint64_t inFlight) const;

 private:
  CounterStore& store_;
};

}  // namespace quarnel
