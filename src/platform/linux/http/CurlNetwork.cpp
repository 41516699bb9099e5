#include "platform/linux/http/CurlNetwork.h"

#include <exception>
#include <utility>

namespace quarnel {
namespace {

// One that throws must not keep the others from being called.
void callCompletion(const HttpCompletion& completion, const HttpResult& result) {
  try {
    completion(result);
  } catch (const std::exception&) {
    // As with a task of its own: the queue would drop the exception.
  }
}

}  // namespace

CurlSession::CurlSession(std::shared_ptr<CurlEngine> engine,
                         std::shared_ptr<SerialQueue> callbackQueue)
    : engine_(std::move(engine)), outcomes_(std::make_shared<Outcomes>()) {
  outcomes_->queue = std::move(callbackQueue);
}

void CurlSession::startDataTask(HttpRequest request, HttpCompletion completion) {
  // The completion moves along, so that what it owns is released on the callback queue too.
  engine_->start(std::move(request), [outcomes = outcomes_, completion = std::move(completion)](
                                         HttpResult result) mutable {
    outcomes->arrived.put({std::move(completion), std::move(result)}, [&outcomes] {
      outcomes->queue->post([outcomes] {
        for (Outcomes::Outcome& outcome : outcomes->arrived.takeAll()) {
          callCompletion(outcome.completion, outcome.result);
        }
      });
    });
  });
}

CurlBackgroundSession::CurlBackgroundSession(std::shared_ptr<CurlEngine> engine,
                                             std::shared_ptr<SerialQueue> callbackQueue,
                                             DownloadDelegate delegate)
    : engine_(std::move(engine)),
      callbackQueue_(std::move(callbackQueue)),
      delegate_(std::make_shared<const DownloadDelegate>(std::move(delegate))) {}

void CurlBackgroundSession::startDownloadTask(HttpRequest request) {
  request.connection = ConnectionUse::kFresh;
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
