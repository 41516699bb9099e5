#include "platform/apple/UserDefaultsCounters.h"

#include <algorithm>
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
    totals.at(i) = static_cast<std::uint64_t>(*number);
  }
  return totals;
}

}  // namespace

UserDefaultsCounters::UserDefaultsCounters(UserDefaults& defaults,
                                           std::shared_ptr<SerialQueue> queue)
    : defaults_(defaults), queue_(std::move(queue)) {}

void UserDefaultsCounters::increment(Tally tally) {
  fresh_.at(static_cast<std::size_t>(tally)).fetch_add(1, std::memory_order_relaxed);
}

void UserDefaultsCounters::saveSoon() {
  if (isScheduled_.load(std::memory_order_relaxed) || isScheduled_.exchange(true)) return;
  queue_->postAfter(kSaveDelay, [this] {
    isScheduled_ = false;  // Before saving: what is counted meanwhile is not forgotten.
    save();
  });
}

// With mutex_ held. The application is one process: what an earlier one had accepted and not ended
// has ended with it.
CounterStore::Totals UserDefaultsCounters::load() {
  Totals totals = totalsFrom(defaults_.get(kKey));
  if (std::exchange(isLoaded_, true)) return totals;
  const std::uint64_t open =
      totals[Tally::kAccepted] - std::min(totals[Tally::kAccepted], totals.ended());
  if (open == totals[Tally::kWithProcess]) return totals;
  totals[Tally::kWithProcess] = open;
  store(totals);
  return totals;
}

void UserDefaultsCounters::store(const Totals& totals) {
  defaults_.set(kKey, Value::Array(totals.begin(), totals.end()));
}

void UserDefaultsCounters::save() {
  const std::lock_guard lock(mutex_);
  Totals totals = load();
  bool isChanged = false;
  for (std::size_t i = 0; i < kCounters; ++i) {
    const std::uint64_t added = fresh_.at(i).exchange(0);
    isChanged = isChanged || added != 0;
    totals.at(i) += added;
  }
  if (isChanged) store(totals);
}

void UserDefaultsCounters::recordsListed(std::uint64_t records) {
  const std::uint64_t missing = totals().missingRecords(records);
  fresh_.at(static_cast<std::size_t>(Tally::kDeletedFromCache)).fetch_add(missing);
  saveSoon();
}

CounterStore::Totals UserDefaultsCounters::totals() {
  const std::lock_guard lock(mutex_);
  Totals totals = load();
  for (std::size_t i = 0; i < kCounters; ++i) totals.at(i) += fresh_.at(i).load();
  return totals;
}

}  // namespace quarnel
