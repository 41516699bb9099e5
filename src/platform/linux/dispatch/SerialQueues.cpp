#include "platform/linux/dispatch/SerialQueues.h"

#include <algorithm>
#include <utility>

#include "platform/common/GuardedTask.h"

namespace quarnel {
namespace {

// Keeps the sum of the clock and a delay from overflowing.
constexpr std::chrono::nanoseconds kLongestDelay = std::chrono::hours(24 * 365 * 10);

}  // namespace

StrandQueue::StrandQueue(std::string label, std::shared_ptr<WorkerPool> pool,
                         std::shared_ptr<PendingWork> pending)
    : pool_(std::move(pool)),
      pending_(std::move(pending)),
      strand_(std::make_shared<WorkerPool::Strand>(std::move(label))) {}

void StrandQueue::post(Task task) {
  pool_->post(strand_, {PendingWork::Token(pending_), std::move(task)});
}

void StrandQueue::postAfter(std::chrono::nanoseconds delay, Task task) {
  const auto due =
      WorkerPool::Clock::now() + std::clamp(delay, std::chrono::nanoseconds(0), kLongestDelay);
  pool_->postAt(due, strand_, {PendingWork::Token(pending_), std::move(task)});
}

ExecutorQueue::ExecutorQueue(Executor executor, std::unique_ptr<SerialQueue> timers,
                             std::shared_ptr<PendingWork> pending, std::shared_ptr<LogSink> log)
    : executor_(std::move(executor)),
      timers_(std::move(timers)),
      pending_(std::move(pending)),
      log_(std::move(log)) {}

void ExecutorQueue::post(Task task) {
  struct Job {
    PendingWork::Token token;
    Task task;
  };
  auto job = std::make_shared<Job>(Job{PendingWork::Token(pending_), std::move(task)});
  const auto handOver = [this, &job] {
    executor_([job = std::move(job), log = log_] {
      if (!job->task) return;  // The executor ran it before.
      runGuarded(std::exchange(job->task, nullptr), "the main queue", *log);
      job->token = PendingWork::Token();
    });
  };
  runGuarded(handOver, "the application's main executor", *log_);
}

void ExecutorQueue::postAfter(std::chrono::nanoseconds delay, Task task) {
  timers_->postAfter(delay, [this, task = std::move(task)] { post(task); });
}

}  // namespace quarnel
