#include "platform/linux/dispatch/LinuxDispatcher.h"

namespace quarnel {
namespace {

// Two, so that a queue that waits for the disk does not hold up the others.
constexpr int kPoolThreads = 2;

constexpr char kMainLabel[] = "the main queue";

}  // namespace

LinuxDispatcher::LinuxDispatcher(ExecutorQueue::Executor mainExecutor,
                                 std::shared_ptr<PendingWork> pending, std::shared_ptr<LogSink> log)
    : pending_(std::move(pending)),
      pool_(std::make_shared<WorkerPool>("quarnel-work", kPoolThreads, log)) {
  if (mainExecutor) {
    mainQueue_ = std::make_unique<ExecutorQueue>(
        std::move(mainExecutor), std::make_unique<StrandQueue>(kMainLabel, pool_, pending_),
        pending_, std::move(log));
  } else {
    mainThread_ = std::make_shared<WorkerPool>("quarnel-main", 1, log);
    mainQueue_ = std::make_unique<StrandQueue>(kMainLabel, mainThread_, pending_);
  }
}

LinuxDispatcher::~LinuxDispatcher() { stop(); }

std::shared_ptr<SerialQueue> LinuxDispatcher::makeSerialQueue(std::string label) {
  return std::make_shared<StrandQueue>("queue " + std::move(label), pool_, pending_);
}

std::shared_ptr<SerialQueue> LinuxDispatcher::makeUncountedQueue(std::string label) {
  return std::make_shared<StrandQueue>("queue " + std::move(label), pool_, nullptr);
}

void LinuxDispatcher::stop() {
  pool_->stop();
  if (mainThread_) mainThread_->stop();
}

}  // namespace quarnel
