#pragma once

#include <memory>

#include "platform/Dispatcher.h"
#include "platform/HttpSession.h"
#include "platform/LogSink.h"
#include "platform/common/PendingWork.h"

namespace quarnel {

// NSURLSession. One exchange is one task. What the system does below a task is its own affair: it
// chooses the connection, follows redirects, and may send a request again when a connection that it
// has reused turns out to be closed.
class AppleNetwork final : public Network, private HttpSession {
 public:
  // Requests that cannot be made are answered on `queue`.
  AppleNetwork(std::shared_ptr<SerialQueue> queue, std::shared_ptr<PendingWork> pending,
               std::shared_ptr<LogSink> log);

  HttpSession& sharedSession() override { return *this; }
  std::shared_ptr<BackgroundSession> makeBackgroundSession(
      BackgroundSessionConfiguration configuration, DownloadDelegate delegate) override;

 private:
  void startDataTask(HttpRequest request, HttpCompletion completion) override;

  const std::shared_ptr<SerialQueue> queue_;
  const std::shared_ptr<PendingWork> pending_;
  const std::shared_ptr<LogSink> log_;
};

}  // namespace quarnel
