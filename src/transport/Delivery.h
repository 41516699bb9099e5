#pragma once

#include <functional>
#include <memory>
#include <optional>
#include <string>

#include "installation/Ledger.h"
#include "platform/Clock.h"
#include "platform/Dispatcher.h"
#include "platform/FileSystem.h"
#include "platform/HttpSession.h"
#include "transport/QuarnelRequestCache.h"
#include "transport/QuarnelServerHandler.h"
#include "util/DebugLog.h"

namespace quarnel {

// Sends reports and decides what becomes of them.
//
//   fresh ──answered──▶ delivered, and the offline cache is replayed
//     └────failed────▶ cached, or lost and counted
//   replayed ──answered──▶ deleted from the cache, then the next record
//     └─────failed────▶ stays, then the next record
//
// "Answered" means any HTTP status. One exchange is one request on the wire: nothing below this
// class sends again.
//
// Thread-safe. Outcomes are handled on the session's callback queue.
class Delivery {
 public:
  // Called once for each fresh report, when it has left memory: delivered, on disk, or lost. On a
  // queue of the library's.
  using Settled = std::function<void(const QuarnelRequestCacheData& record)>;

  Delivery(HttpSession& session, FileSystem& files, Dispatcher& dispatcher, const Clock& clock,
           const std::string& cacheLabel, Ledger& ledger, const DebugLog& log, Settled settled);

  // Sends a fresh report. `onSuccess` may be empty; it runs on the session's callback queue once
  // the report was answered, never otherwise. Returns at once.
  void send(RequestRecord record, const std::optional<std::string>& appID,
            std::function<void()> onSuccess);

 private:
  void decide(const RequestRecord& record, RecordOrigin origin, bool isAnswered);

  Ledger& ledger_;
  const DebugLog& log_;
  const Settled settled_;
  QuarnelServerHandler sender_;
  QuarnelRequestCache cache_;
};

}  // namespace quarnel
