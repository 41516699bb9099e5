#include "installation/Ledger.h"

#include <initializer_list>

namespace quarnel {

// The tallies that are made on the application's threads are saved with those that follow.
void Ledger::count(Tally tally) {
  store_.increment(static_cast<std::size_t>(tally));
  if (tally != Tally::kAccepted && tally != Tally::kTooManyWaiting) store_.saveSoon();
}

Diagnostics Ledger::read(std::uint64_t waiting, std::uint64_t inFlight) const {
  const CounterStore::Totals totals = store_.totals();
  const auto total = [&totals](Tally tally) { return totals[static_cast<std::size_t>(tally)]; };
  Diagnostics result;
  result.accepted = total(Tally::kAccepted);
  result.notDue = total(Tally::kNotDue);
  result.built = total(Tally::kBuilt);
  result.delivered = total(Tally::kDelivered);
  result.failed = total(Tally::kFailed);
  result.cached = total(Tally::kCached);
  result.replayed = total(Tally::kReplayed);
  result.waiting = waiting;
  result.inFlight = inFlight;
  result.lost.tooManyWaiting = total(Tally::kTooManyWaiting);
  result.lost.missingDeveloperKey = total(Tally::kMissingDeveloperKey);
  result.lost.abandoned = total(Tally::kAbandoned);
  result.lost.cacheFull = total(Tally::kCacheFull);
  result.lost.cacheWriteFailed = total(Tally::kCacheWriteFailed);
  result.lost.unreadableRecords = total(Tally::kUnreadableRecord);
  std::uint64_t known = result.waiting + result.inFlight;
  for (const std::uint64_t outcome :
       {result.notDue, result.delivered, result.cached, result.lost.missingDeveloperKey,
        result.lost.abandoned, result.lost.cacheFull, result.lost.cacheWriteFailed}) {
    known += outcome;
  }
  if (result.accepted > known) result.lost.withProcess = result.accepted - known;
  return result;
}

}  // namespace quarnel
