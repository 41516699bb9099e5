#include "platform/apple/AppleDispatcher.h"

#import <Foundation/Foundation.h>
#include <dispatch/dispatch.h>

#include <utility>

#include "platform/common/GuardedTask.h"

namespace quarnel {
namespace {

class DispatchQueue final : public SerialQueue {
 public:
  // Takes over the caller's reference to the queue.
  DispatchQueue(dispatch_queue_t queue, std::string label, std::shared_ptr<PendingWork> pending,
                std::shared_ptr<LogSink> log)
      : queue_(queue),
        label_(std::move(label)),
        pending_(std::move(pending)),
        log_(std::move(log)) {}
  ~DispatchQueue() override { dispatch_release(queue_); }

  void post(Task task) override { dispatch_async_f(queue_, made(std::move(task)), &run); }

  void postAfter(std::chrono::nanoseconds delay, Task task) override {
    dispatch_after_f(dispatch_time(DISPATCH_TIME_NOW, delay.count()), queue_, made(std::move(task)),
                     &run);
  }

 private:
  struct Work {
    Task task;
    std::string label;
    std::shared_ptr<LogSink> log;
    PendingWork::Token token;
  };

  void* made(Task task) const {
    return new Work{std::move(task), label_, log_, PendingWork::Token(pending_)};
  }

  static void run(void* context) {
    @autoreleasepool {
      const std::unique_ptr<Work> work(static_cast<Work*>(context));
      runGuarded(work->task, work->label, *work->log);
    }
  }

  const dispatch_queue_t queue_;
  const std::string label_;
  const std::shared_ptr<PendingWork> pending_;
  const std::shared_ptr<LogSink> log_;
};

dispatch_queue_t retainedMainQueue() {
  dispatch_retain(dispatch_get_main_queue());
  return dispatch_get_main_queue();
}

}  // namespace

AppleDispatcher::AppleDispatcher(std::shared_ptr<PendingWork> pending, std::shared_ptr<LogSink> log)
    : pending_(std::move(pending)),
      log_(std::move(log)),
      main_(std::make_unique<DispatchQueue>(retainedMainQueue(), "main queue", pending_, log_)) {}

std::shared_ptr<SerialQueue> AppleDispatcher::makeSerialQueue(std::string label) {
  const dispatch_queue_t queue = dispatch_queue_create(label.c_str(), DISPATCH_QUEUE_SERIAL);
  return std::make_shared<DispatchQueue>(queue, std::move(label), pending_, log_);
}

std::shared_ptr<SerialQueue> AppleDispatcher::makeUncountedQueue(std::string label) {
  const dispatch_queue_t queue = dispatch_queue_create(label.c_str(), DISPATCH_QUEUE_SERIAL);
  return std::make_shared<DispatchQueue>(queue, std::move(label), nullptr, log_);
}

}  // namespace quarnel
