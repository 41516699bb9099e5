#include "transport/StatSession.h"

#include <utility>

#include "util/SystemVersion.h"

namespace quarnel {

StatSession::StatSession(Network& network, const Device& device, const std::string& vendorPrefix,
                         const DebugLog& log) {
  if (!isVersionAtLeast(device.systemVersion(), "8")) return;
  BackgroundSessionConfiguration configuration;
  configuration.identifier = vendorPrefix + ".sdk";
  configuration.allowsCellularAccess = true;
  configuration.sessionSendsLaunchEvents = false;
  DownloadDelegate delegate;
  // Written whatever the status of the response.
  delegate.didFinishDownloading = [&log] {
    log("-[QuarnelTracker URLSession:downloadTask:didFinishDownloadingToURL:]", "Response 200 ok.");
  };
  delegate.didComplete = [&log](const std::string& task, const std::optional<Error>& error) {
    if (!error) return;
    log("-[QuarnelTracker URLSession:task:didCompleteWithError:]", "task ", task,
        " completed with error: ", error->description);
  };
  session_ = network.makeBackgroundSession(std::move(configuration), std::move(delegate));
}

void StatSession::start(HttpRequest request) {
  if (session_) session_->startDownloadTask(std::move(request));
}

}  // namespace quarnel
