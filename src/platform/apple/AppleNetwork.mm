#include "platform/apple/AppleNetwork.h"

#import <Foundation/Foundation.h>

#include <utility>

#include "platform/apple/BackgroundTransfers.h"
#include "platform/apple/Requests.h"
#include "platform/apple/Sheltered.h"

namespace quarnel {
namespace {

// What an exchange needs to the end; a block keeps it by the shared pointer that it copies.
struct Exchange {
  HttpCompletion completion;
  std::shared_ptr<LogSink> log;
  PendingWork::Token token;
};

}  // namespace

AppleNetwork::AppleNetwork(std::shared_ptr<SerialQueue> queue, std::shared_ptr<PendingWork> pending,
                           std::shared_ptr<LogSink> log)
    : queue_(std::move(queue)), pending_(std::move(pending)), log_(std::move(log)) {}

void AppleNetwork::startDataTask(HttpRequest request, HttpCompletion completion) {
  @autoreleasepool {
    NSURLRequest* const urlRequest = urlRequestFrom(request);
    if (urlRequest == nil) {
      queue_->post([completion = std::move(completion)] {
        completion({.response = {}, .error = badUrl()});
      });
      return;
    }
    const auto exchange = std::make_shared<Exchange>(
        Exchange{std::move(completion), log_, PendingWork::Token(pending_)});
    NSURLSessionDataTask* const task = [[NSURLSession sharedSession]
        dataTaskWithRequest:urlRequest
          completionHandler:^(NSData* data, NSURLResponse* response, NSError* error) {
            sheltered(*exchange->log, "the completion of an exchange", [&] {
              // Gone before the block is, which the system may keep for a while.
              const HttpCompletion complete = std::exchange(exchange->completion, nullptr);
              const PendingWork::Token token = std::move(exchange->token);
              if (complete) complete(resultFrom(data, response, error));
            });
          }];
    [task resume];
  }
}

std::shared_ptr<BackgroundSession> AppleNetwork::makeBackgroundSession(
    BackgroundSessionConfiguration configuration, DownloadDelegate delegate) {
  return std::make_shared<BackgroundTransfers>(std::move(configuration), std::move(delegate),
                                               pending_, log_);
}

}  // namespace quarnel
