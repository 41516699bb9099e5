#include "platform/linux/http/CurlNetwork.h"

#include <utility>

namespace quarnel {

CurlSession::CurlSession(std::shared_ptr<CurlEngine> engine,
                         std::shared_ptr<SerialQueue> callbackQueue)
    : engine_(std::move(engine)), callbackQueue_(std::move(callbackQueue)) {}

void CurlSession::startDataTask(HttpRequest request, HttpCompletion completion) {
  engine_->start(std::move(request), callbackQueue_, std::move(completion));
}

CurlBackgroundSession::CurlBackgroundSession(std::shared_ptr<CurlEngine> engine,
                                             std::shared_ptr<SerialQueue> callbackQueue,
                                             DownloadDelegate delegate)
    : engine_(std::move(engine)),
      callbackQueue_(std::move(callbackQueue)),
      delegate_(std::make_shared<const DownloadDelegate>(std::move(delegate))) {}

void CurlBackgroundSession::startDownloadTask(HttpRequest request) {
  const std::string task = request.method + " " + request.url;
  request.connection = ConnectionUse::kFresh;
  engine_->start(std::move(request), callbackQueue_,
                 [delegate = delegate_, task](const HttpResult& result) {
                   if (!result.error && delegate->didFinishDownloading) {
                     delegate->didFinishDownloading();
                   }
                   if (delegate->didComplete) delegate->didComplete(task, result.error);
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
