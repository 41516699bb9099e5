#include "transport/Delivery.h"

#include <utility>

namespace quarnel {

Delivery::Delivery(HttpSession& session, FileSystem& files, Dispatcher& dispatcher,
                   const Clock& clock, const std::string& cacheLabel, Ledger& ledger,
                   const DebugLog& log, Settled settled)
    : ledger_(ledger),
      log_(log),
      settled_(std::move(settled)),
      sender_(session, log,
              [this](const RequestRecord& record, RecordOrigin origin, bool isAnswered) {
                decide(record, origin, isAnswered);
              }),
      cache_(
          files, dispatcher, clock, cacheLabel, ledger, log, [this](const RequestRecord& record) {
            sender_.sendRequestEventToServer(record, true, std::nullopt, log_.isEnabled(), nullptr);
          }) {}

void Delivery::send(RequestRecord record, const std::optional<std::string>& appID,
                    std::function<void()> onSuccess) {
  try {
    sender_.sendRequestEventToServer(record, false, appID, log_.isEnabled(), std::move(onSuccess));
  } catch (const std::exception&) {
    // Memory has run out, and the exchange has not begun.
    decide(record, RecordOrigin::kFresh, false);
  }
}

void Delivery::decide(const RequestRecord& record, RecordOrigin origin, bool isAnswered) {
  if (origin == RecordOrigin::kCache) {
    if (isAnswered) cache_.deleteRequest(record);
    cache_.sendNextCachedEvents();
    return;
  }
  ledger_.count(isAnswered ? Tally::kDelivered : Tally::kFailed);
  if (isAnswered) {
    settled_(*record);
    cache_.processCache();
  } else {
    cache_.cacheRequest(record, [this, record] { settled_(*record); });
  }
}

}  // namespace quarnel
