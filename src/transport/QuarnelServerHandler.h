#pragma once

#include <QuarnelTvOsLib/Value.h>

#include <functional>
#include <optional>
#include <string>
#include <utility>

#include "platform/HttpSession.h"
#include "transport/QuarnelRequestCacheData.h"
#include "util/DebugLog.h"

namespace quarnel {

// Where a record comes from: just composed, or read back from the offline cache.
enum class RecordOrigin { kFresh, kCache };

// Sends records, and posts JSON for the receipt validation. Keeps no state and retries nothing.
// Only a failed exchange is a failure: an answer of any status means that the request has reached
// the server.
class QuarnelServerHandler {
 public:
  // The owner hears of the end of each exchange, on the session's callback queue.
  using Ended =
      std::function<void(const RequestRecord& record, RecordOrigin origin, bool isAnswered)>;

  QuarnelServerHandler(HttpSession& session, const DebugLog& log, Ended ended)
      : session_(session), log_(log), ended_(std::move(ended)) {}

  // Returns at once. `appID` takes no part in the request. Log lines are written while both
  // `isDebug` and the debug mode are on. `onSuccess` may be empty; it runs after the owner has
  // heard of an answer, never otherwise.
  void sendRequestEventToServer(RequestRecord request, bool isRequestFromCache,
                                const std::optional<std::string>& appID, bool isDebug,
                                std::function<void()> onSuccess);

  // Posts the "data" entry of the parameters as JSON to their "url", with "appId", "quarnelId",
  // "appDevKey" and "sandbox" as its query, on a connection of its own. The completion runs once,
  // on the session's callback queue, with the transport's error or the answer's body.
  using PostCompletion = std::function<void(const std::optional<Error>& error,
                                            const std::optional<std::string>& body)>;
  static void sendPOSTRequest(HttpSession& session, const DebugLog& log,
                              const Dictionary& parameters, PostCompletion complitionBlock);

 private:
  void complete(const RequestRecord& request, RecordOrigin origin, bool isDebug,
                const HttpResult& result) const;

  HttpSession& session_;
  const DebugLog& log_;
  const Ended ended_;
};

}  // namespace quarnel
