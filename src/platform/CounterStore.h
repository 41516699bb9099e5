#pragma once

#include <algorithm>
#include <array>
#include <cstddef>
#include <cstdint>

namespace quarnel {

// What can happen to a report. The order is that of the stored counters: new ones go to the end.
enum class Tally : std::uint8_t {
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
  kWithProcess,  // Counted by the store itself, as are the next two.
  kDeletedFromCache,
  kStoreSetAside,
};

// A few counters that outlive the process. Processes of one application share them. Callable from
// any thread.
class CounterStore {
 public:
  static constexpr std::size_t kCounters = 16;

  // One number for each tally.
  struct Totals : std::array<std::uint64_t, kCounters> {
    std::uint64_t& operator[](Tally tally) { return at(static_cast<std::size_t>(tally)); }
    std::uint64_t operator[](Tally tally) const { return at(static_cast<std::size_t>(tally)); }

    // Accepted reports that have come to their end, and whose process owes nothing for them.
    std::uint64_t ended() const {
      std::uint64_t sum = 0;
      for (const Tally tally :
           {Tally::kNotDue, Tally::kDelivered, Tally::kCached, Tally::kMissingDeveloperKey,
            Tally::kAbandoned, Tally::kCacheFull, Tally::kCacheWriteFailed}) {
        sum += (*this)[tally];
      }
      return sum;
    }

    // Records of the offline cache that are neither there, where `records` lie, nor accounted for.
    std::uint64_t missingRecords(std::uint64_t records) const {
      const std::uint64_t known = (*this)[Tally::kReplayed] + (*this)[Tally::kUnreadableRecord] +
                                  (*this)[Tally::kDeletedFromCache] + records;
      return (*this)[Tally::kCached] - std::min((*this)[Tally::kCached], known);
    }
  };

  virtual ~CounterStore() = default;

  // In memory: cheap, and never waits.
  virtual void increment(Tally tally) = 0;

  // What was counted reaches the disk within moments.
  virtual void saveSoon() = 0;

  // So many usable records lie in the offline cache now. What is missing was deleted by somebody
  // else. Called where the cache's own records are counted, so that none is on its way meanwhile.
  virtual void recordsListed(std::uint64_t records) = 0;

  // All that was ever counted, as far as it is known here: what other processes have counted since
  // this one saved last is not in it. The first call may read a small file.
  virtual Totals totals() = 0;
};

}  // namespace quarnel
