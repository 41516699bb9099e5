#pragma once

#import <Foundation/Foundation.h>

#include <map>
#include <memory>
#include <mutex>

#include "platform/HttpSession.h"
#include "platform/LogSink.h"
#include "platform/apple/ObjcRef.h"
#include "platform/common/PendingWork.h"

namespace quarnel {

// A background URL session: the system completes its tasks also when the application is suspended
// or has ended, and tells of those at the next run.
class BackgroundTransfers final : public BackgroundSession {
 public:
  BackgroundTransfers(BackgroundSessionConfiguration configuration, DownloadDelegate delegate,
                      std::shared_ptr<PendingWork> pending, std::shared_ptr<LogSink> log);

  void startDownloadTask(HttpRequest request) override;

 private:
  // What the session's delegate shares with this; the session keeps its delegate to the end.
  struct Shared {
    DownloadDelegate delegate;
    std::shared_ptr<LogSink> log;
    std::mutex mutex;
    std::map<NSUInteger, PendingWork::Token> tokens;  // Of the tasks of this run.

    void finished();
    void completed(NSUInteger task, NSString* description, NSError* error);
  };
  friend struct TransferObserver;

  const std::shared_ptr<PendingWork> pending_;
  const std::shared_ptr<Shared> shared_;
  ObjcRef<NSURLSession*> session_;
};

}  // namespace quarnel
