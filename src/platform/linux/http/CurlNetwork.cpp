#include "platform/linux/http/CurlNetwork.h"

#include <utility>

namespace quarnel {

CurlSession::CurlSession(std::shared_ptr<CurlEngine> engine,
                         std::shared_ptr<SerialQueue> callbackQueue)
    : engine_(std::move(engine)), callbackQueue_(std::move(callbackQueue)) {}

void CurlSession::startDataTask(HttpRequest request, HttpCompletion completion) {
  // The completion moves along, so that what it owns is released on the callback queue too.
  engine_->start(std::move(request), [queue = callbackQueue_, completion = std::move(completion)](
                                         HttpResult result) mutable {
    queue->post(
        [completion = std::move(completion), result = std::move(result)] { completion(result); });
  });
}

CurlBackgroundSession::CurlBackgroundSession(std::shared_ptr<CurlEngine> engine,
                                             std::shared_ptr<SerialQueue> callbackQueue,
                                             DownloadDelegate delegate)
    : engine_(std::move(engine)),
      callbackQueue_(std::move(callbackQueue)),
      delegate_(std::make_shared<const DownloadDelegate>(std::move(delegate))) {}

void CurlBackgroundSession::startDownloadTask(HttpRequest request) {
  const std::string task = request.method + " " + request.url;
  engine_->start(std::move(request),
                 [queue = callbackQueue_, delegate = delegate_, task](HttpResult result) {
                   queue->post([delegate, task, error = std::move(result.error)] {
                     if (!error && delegate->didFinishDownloading) delegate->didFinishDownloading();
                     if (delegate->didComplete) delegate->didComplete(task, error);
                   });
                 });
}

CurlNetwork::CurlNetwork(std::shared_ptr<CurlEngine> engine, Dispatcher& dispatcher)
    : engine_(std::move(engine)),
      dispatcher_(dispatcher),
      sharedSession_(engine_, dispatcher_.makeSerialQueue("shared session")) {}

std::shared_ptr<BackgroundSession> CurlNetwork::makeBackgroundSession(
    BackgroundSessionConfiguration configuration, DownloadDelegate delegate) {
  return std::make_shared<CurlBackgroundSession>(
      engine_, dispatcher_.makeSerialQueue("session " + configuration.identifier),
      std::move(delegate));
}

}  // namespace quarnel
