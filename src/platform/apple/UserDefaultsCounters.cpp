#include "platform/apple/UserDefaultsCounters.h"

#include <chrono>
#include <utility>

namespace quarnel {
namespace {

constexpr std::string_view kKey = "QuarnelReportCounts";

// Long enough for a burst of reports to share one use of the entry.
constexpr std::chrono::milliseconds kSaveDelay{10};

CounterStore::Totals totalsFrom(const std::optional<Value>& stored) {
  CounterStore::Totals totals{};
  const Value::Array* const numbers = stored ? stored->array() : nullptr;
  if (numbers == nullptr || numbers->size() != totals.size()) return totals;
  for (std::size_t i = 0; i < totals.size(); ++i) {
    const std::int64_t* const number = (*numbers)[i].integer();
    if (number == nullptr || *number < 0) return {};
    totals[i] = static_cast<std::uint64_t>(*number);
  }
  return totals;
}

}  // namespace

UserDefaultsCounters::UserDefaultsCounters(UserDefaults& defaults,
                                           std::shared_ptr<SerialQueue> queue)
    : defaults_(defaults), queue_(std::move(queue)) {}

void UserDefaultsCounters::increment(std::size_t counter) {
  fresh_[counter].fetch_add(1, std::memory_order_relaxed);
}

void UserDefaultsCounters::saveSoon() {
  if (isScheduled_.load(std::memory_order_relaxed) || isScheduled_.exchange(true)) return;
  queue_->postAfter(kSaveDelay, [this] {
    isScheduled_ = false;  // Before saving: what is counted meanwhile is not forgotten.
    save();
  });
}

void UserDefaultsCounters::save() {
  const std::lock_guard lock(mutex_);
  Totals totals = totalsFrom(defaults_.get(kKey));
  bool isChanged = false;
  Value::Array numbers;
  for (std::size_t i = 0; i < kCounters; ++i) {
    const std::uint64_t added = fresh_[i].exchange(0);
    isChanged = isChanged || added != 0;
    numbers.emplace_back(totals[i] + added);
  }
  if (isChanged) defaults_.set(kKey, std::move(numbers));
}

CounterStore::Totals UserDefaultsCounters::totals() {
  const std::lock_guard lock(mutex_);
  Totals totals = totalsFrom(defaults_.get(kKey));
  for (std::size_t i = 0; i < kCounters; ++i) totals[i] += fresh_[i].load();
  return totals;
}

}  // namespace quarnel
