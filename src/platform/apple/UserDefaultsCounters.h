#pragma once

#include <array>
#include <atomic>
#include <memory>
#include <mutex>

#include "platform/CounterStore.h"
#include "platform/Dispatcher.h"
#include "platform/UserDefaults.h"

namespace quarnel {

// Counters in one entry of the user defaults, of some hundred bytes: the system may empty the cache
// directory, which would lose them. An entry of another form counts as none.
class UserDefaultsCounters final : public CounterStore {
 public:
  // `queue` is for saving; nobody waits for it.
  UserDefaultsCounters(UserDefaults& defaults, std::shared_ptr<SerialQueue> queue);

  void increment(Tally tally) override;
  void saveSoon() override;
  void recordsListed(std::uint64_t records) override;
  Totals totals() override;

  void save();

 private:
  Totals load();
  void store(const Totals& totals);

  UserDefaults& defaults_;
  const std::shared_ptr<SerialQueue> queue_;
  std::array<std::atomic<std::uint64_t>, kCounters> fresh_{};  // Not saved yet.
  std::atomic<bool> isScheduled_ = false;
  std::mutex mutex_;       // Held while the entry is used.
  bool isLoaded_ = false;  // By this process.
};

}  // namespace quarnel
