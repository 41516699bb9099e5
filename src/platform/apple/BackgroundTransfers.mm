#include "platform/apple/BackgroundTransfers.h"

#include <functional>
#include <string>
#include <utility>

#include "platform/apple/FoundationValue.h"
#include "platform/apple/Requests.h"
#include "platform/apple/Sheltered.h"

namespace quarnel {

struct TransferObserver {
  std::shared_ptr<BackgroundTransfers::Shared> shared;
};

}  // namespace quarnel

@interface QuarnelTransferDelegate : NSObject <NSURLSessionDownloadDelegate> {
 @private
  void* _observer;
}
- (instancetype)initWithObserver:(quarnel::TransferObserver)observer;
@end

@implementation QuarnelTransferDelegate

- (instancetype)initWithObserver:(quarnel::TransferObserver)observer {
  self = [super init];
  if (self != nil) _observer = new quarnel::TransferObserver(std::move(observer));
  return self;
}

- (void)dealloc {
  delete static_cast<quarnel::TransferObserver*>(_observer);
  [super dealloc];
}

- (void)URLSession:(NSURLSession*)session
                 downloadTask:(NSURLSessionDownloadTask*)downloadTask
    didFinishDownloadingToURL:(NSURL*)location {
  static_cast<quarnel::TransferObserver*>(_observer)->shared->finished();
}

- (void)URLSession:(NSURLSession*)session
                    task:(NSURLSessionTask*)task
    didCompleteWithError:(NSError*)error {
  static_cast<quarnel::TransferObserver*>(_observer)->shared->completed([task taskIdentifier],
                                                                        [task description], error);
}

@end

namespace quarnel {

void BackgroundTransfers::Shared::finished() {
  sheltered(*log, "the end of a transfer", [this] { delegate.didFinishDownloading(); });
}

void BackgroundTransfers::Shared::completed(NSUInteger task, NSString* description,
                                            NSError* error) {
  sheltered(*log, "the end of a transfer", [&] {
    PendingWork::Token token;
    {
      const std::lock_guard lock(mutex);
      if (const auto found = tokens.find(task); found != tokens.end()) {
        token = std::move(found->second);
        tokens.erase(found);
      }
    }
    delegate.didComplete(textFrom(description).value_or(""),
                         error != nil ? std::optional(errorFrom(error)) : std::nullopt);
  });
}

BackgroundTransfers::BackgroundTransfers(BackgroundSessionConfiguration configuration,
                                         DownloadDelegate delegate,
                                         std::shared_ptr<PendingWork> pending,
                                         std::shared_ptr<LogSink> log)
    : pending_(std::move(pending)), shared_(std::make_shared<Shared>()) {
  shared_->delegate = std::move(delegate);
  shared_->log = std::move(log);
  @autoreleasepool {
    NSURLSessionConfiguration* const settings = [NSURLSessionConfiguration
        backgroundSessionConfigurationWithIdentifier:stringFrom(std::string_view(
                                                         configuration.identifier))];
    [settings setAllowsCellularAccess:configuration.allowsCellularAccess];
    [settings setSessionSendsLaunchEvents:configuration.sessionSendsLaunchEvents];
    id const object =
        [[[QuarnelTransferDelegate alloc] initWithObserver:TransferObserver{shared_}] autorelease];
    session_ = ObjcRef<NSURLSession*>([NSURLSession sessionWithConfiguration:settings
                                                                    delegate:object
                                                               delegateQueue:nil]);
  }
}

void BackgroundTransfers::startDownloadTask(HttpRequest request) {
  @autoreleasepool {
    NSURLRequest* const urlRequest = urlRequestFrom(request);
    NSURLSessionDownloadTask* const task =
        urlRequest != nil ? [session_.get() downloadTaskWithRequest:urlRequest] : nil;
    if (task == nil) {
      sheltered(*shared_->log, "the end of a transfer", [&] {
        shared_->delegate.didComplete("<no task for " + request.url + ">", badUrl());
      });
      return;
    }
    {
      const std::lock_guard lock(shared_->mutex);
      shared_->tokens.emplace([task taskIdentifier], PendingWork::Token(pending_));
    }
    [task resume];
  }
}

}  // namespace quarnel
