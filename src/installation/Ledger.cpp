#include "installation/Ledger.h"

namespace quarnel {

void Ledger::count(Tally tally) {
  store_.increment(tally);
  store_.saveSoon();
}

Diagnostics Ledger::read(std::uint64_t waiting, std::uint64_t inFlight,
                         std::uint64_t validating) const {
  const CounterStore::Totals totals = store_.totals();
  Diagnostics result;
  result.accepted = totals[Tally::kAccepted];
  result.notDue = totals[Tally::kNotDue];
  result.built = totals[Tally::kBuilt];
  result.delivered = totals[Tally::kDelivered];
  result.failed = totals[Tally::kFailed];
  result.cached = totals[Tally::kCached];
  result.replayed = totals[Tally::kReplayed];
  result.waiting = waiting;
  result.inFlight = inFlight;
  result.lost.tooManyWaiting = totals[Tally::kTooManyWaiting];
  result.lost.missingDeveloperKey = totals[Tally::kMissingDeveloperKey];
  result.lost.abandoned = totals[Tally::kAbandoned];
  result.lost.cacheFull = totals[Tally::kCacheFull];
  result.lost.cacheWriteFailed = totals[Tally::kCacheWriteFailed];
  result.lost.unreadableRecords = totals[Tally::kUnreadableRecord];
  result.lost.withProcess = totals[Tally::kWithProcess];
  result.lost.deletedFromCache = totals[Tally::kDeletedFromCache];
  result.storesSetAside = totals[Tally::kStoreSetAside];
  result.validating = validating;
  return result;
}

}  // namespace quarnel
