#pragma once

#include <memory>

#include "platform/Dispatcher.h"
#include "platform/HttpSession.h"
#include "platform/linux/http/CurlEngine.h"
#include "util/Mailbox.h"

namespace quarnel {

class CurlSession final : public HttpSession {
 public:
  CurlSession(std::shared_ptr<CurlEngine> engine, std::shared_ptr<SerialQueue> callbackQueue);
  void startDataTask(HttpRequest request, HttpCompletion completion) override;

 private:
  // Outcomes on their way to the callback queue, which is woken once for all of them.
  struct Outcomes {
    struct Outcome {
      HttpCompletion completion;
      HttpResult result;
    };
    std::shared_ptr<SerialQueue> queue;
    Mailbox<Outcome> arrived;
  };

  const std::shared_ptr<CurlEngine> engine_;
  const std::shared_ptr<Outcomes> outcomes_;
};

// Linux completes no transfers after the application's end; so this differs from the data session
// only in what it tells.
class CurlBackgroundSession final : public BackgroundSession {
 public:
  CurlBackgroundSession(std::shared_ptr<CurlEngine> engine,
                        std::shared_ptr<SerialQueue> callbackQueue, DownloadDelegate delegate);
  void startDownloadTask(HttpRequest request) override;

 private:
  const std::shared_ptr<CurlEngine> engine_;
  const std::shared_ptr<SerialQueue> callbackQueue_;
  const std::shared_ptr<const DownloadDelegate> delegate_;
};

class CurlNetwork final : public Network {
 public:
  CurlNetwork(std::shared_ptr<CurlEngine> engine, Dispatcher& dispatcher);
  HttpSession& sharedSession() override { return sharedSession_; }
  std::shared_ptr<BackgroundSession> makeBackgroundSession(
      BackgroundSessionConfiguration configuration, DownloadDelegate delegate) override;

 private:
  const std::shared_ptr<CurlEngine> engine_;
  Dispatcher& dispatcher_;
  CurlSession sharedSession_;
};

}  // namespace quarnel
