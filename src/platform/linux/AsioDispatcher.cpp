#include "platform/linux/AsioDispatcher.h"

namespace quarnel {
namespace {

// Two, so that a queue that waits for the disk does not hold up the others.
constexpr int kPoolThreads = 2;

constexpr char kMainLabel[] = "the main queue";

}  // namespace

AsioDispatcher::AsioDispatcher(ExecutorQueue::Executor mainExecutor,
                               std::shared_ptr<PendingWork> pending, std::shared_ptr<LogSink> log)
    : pending_(std::move(pending)),
      log_(std::move(log)),
      pool_(std::make_shared<WorkerPool>("quarnel-work", kPoolThreads)) {
  if (mainExecutor) {
    mainQueue_ = std::make_unique<ExecutorQueue>(
        std::move(mainExecutor), std::make_unique<StrandQueue>(kMainLabel, pool_, pending_, log_),
        pending_, log_);
  } else {
    mainThread_ = std::make_shared<WorkerPool>("quarnel-main", 1);
    mainQueue_ = std::make_unique<StrandQueue>(kMainLabel, mainThread_, pending_, log_);
  }
}

AsioDispatcher::~AsioDispatcher() { stop(); }

std::shared_ptr<SerialQueue> AsioDispatcher::makeSerialQueue(std::string label) {
  return std::make_shared<StrandQueue>("queue " + std::move(label), pool_, pending_, log_);
}

std::shared_ptr<SerialQueue> AsioDispatcher::makeUncountedQueue(std::string label) {
  return std::make_shared<StrandQueue>("queue " + std::move(label), pool_, nullptr, log_);
}

void AsioDispatcher::stop() {
  pool_->stop();
  if (mainThread_) mainThread_->stop();
}

}  // namespace quarnel
