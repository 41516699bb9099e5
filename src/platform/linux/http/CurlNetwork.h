#pragma once

#include <memory>

#include "platform/Dispatcher.h"
#include "platform/HttpSession.h"
#include "platform/linux/http/CurlEngine.h"

namespace quarnel {

class CurlSession final : public HttpSession {
 public:
  CurlSession(std::shared_ptr<CurlEngine> engine, std::shared_ptr<SerialQueue> callbackQueue);
  void startDataTask(HttpRequest request, HttpCompletion completion) override;

 private:
  const std::shared_ptr<CurlEngine> engine_;
  const std::shared_ptr<SerialQueue> callbackQueue_;
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
