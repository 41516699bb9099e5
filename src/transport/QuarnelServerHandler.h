#pragma once

#include <QuarnelTvOsLib/Value.h>

#include <functional>
#include <optional>
#include <string>
#include <utility>

#include "platform/DebugLog.h"
#include "platform/HttpSession.h"
#include "transport/RequestReplay.h"

namespace quarnel {

// Sends report records and steers the offline cache by the outcome, and posts JSON for the receipt
// validation. Keeps no state and retries nothing. Only a failed exchange is a failure: an answer of
// any status means that the request has reached the server.
class QuarnelServerHandler {
 public:
  QuarnelServerHandler(HttpSession& session, const DebugLog& log) : session_(session), log_(log) {}

  // Where outcomes go. Set once, before the first request.
  void setReplay(RequestReplay& replay) { replay_ = &replay; }

  // Told of the outcome of each fresh report, on the session's callback queue. Set once, before
  // the first request.
  void setObserver(std::function<void(bool delivered)> freshReportEnded) {
    freshReportEnded_ = std::move(freshReportEnded);
  }

  // Returns at once. `appID` is accepted for the callers' sake and takes no part in the request.
  // Log lines are written while both `isDebug` and the debug mode are on. `onSuccess` may be empty;
  // it runs on the session's callback queue when any response came, never otherwise.
  void sendRequestEventToServer(RequestRecord request, bool isRequestFromCache,
                                const std::optional<std::string>& appID, bool isDebug,
                                std::function<void()> onSuccess);

  // Posts the "data" entry of the parameters as JSON to their "url", with "appId", "quarnelId",
  // "appDevKey" and "sandbox" as its query. The completion runs once, on the session's callback
  // queue, with the transport's error or the answer's body.
  using PostCompletion = std::function<void(const std::optional<Error>& error,
                                            const std::optional<std::string>& body)>;
  void sendPOSTRequest(const Dictionary& parameters, PostCompletion complitionBlock);

 private:
  void complete(const RequestRecord& request, bool isRequestFromCache, bool isDebug,
                const HttpResult& result) const;

  HttpSession& session_;
  const DebugLog& log_;
  RequestReplay* replay_ = nullptr;
  std::function<void(bool delivered)> freshReportEnded_;
};

}  // namespace quarnel
