#include "platform/linux/SerialQueues.h"

#include <algorithm>
#include <asio/post.hpp>
#include <asio/steady_timer.hpp>
#include <cstdint>
#include <exception>
#include <map>
#include <utility>

namespace quarnel {
namespace {

// Keeps the sum of the clock and a delay from overflowing.
constexpr std::chrono::nanoseconds kLongestDelay = std::chrono::hours(24 * 365 * 10);

void runGuarded(const Task& task, const std::string& label, LogSink& log) {
  try {
    task();
  } catch (const std::exception& error) {
    log.write("Quarnel: a task on " + label + " threw: " + error.what());
  } catch (...) {
    log.write("Quarnel: a task on " + label + " threw");
  }
}

}  // namespace

// A task with all that running it takes. Owns nothing of its queue's, which may be gone by then.
class StrandQueue::Job {
 public:
  Job(const StrandQueue& queue, Task task)
      : token_(queue.pending_), task_(std::move(task)), label_(queue.label_), log_(queue.log_) {}

  void run() {
    runGuarded(task_, *label_, *log_);
    // What the task owns goes before the token, so that nothing of it is left once it is not
    // counted any more.
    task_ = nullptr;
    token_ = PendingWork::Token();
  }

 private:
  PendingWork::Token token_;
  Task task_;
  std::shared_ptr<const std::string> label_;
  std::shared_ptr<LogSink> log_;
};

// There is one timer for each job, but timers that fall due together fire in any order. So the
// n-th timer that fires runs the n-th job, in order of due time and then of posting, whichever
// job it was started for. That one is due, too: n timers have fired.
struct StrandQueue::DelayedJobs {
  using Key = std::pair<asio::steady_timer::time_point, std::uint64_t>;

  std::mutex mutex;
  std::uint64_t nextNumber = 0;
  std::map<Key, Job> jobs;

  void add(asio::steady_timer::time_point due, Job job) {
    const std::lock_guard lock(mutex);
    jobs.emplace(Key(due, nextNumber++), std::move(job));
  }

  Job takeFirst() {
    const std::lock_guard lock(mutex);
    return std::move(jobs.extract(jobs.begin()).mapped());
  }
};

StrandQueue::StrandQueue(std::string label, std::shared_ptr<WorkerPool> pool,
                         std::shared_ptr<PendingWork> pending, std::shared_ptr<LogSink> log)
    : label_(std::make_shared<const std::string>(std::move(label))),
      pool_(std::move(pool)),
      pending_(std::move(pending)),
      log_(std::move(log)),
      strand_(pool_->context().get_executor()) {}

void StrandQueue::post(Task task) {
  if (pool_->stopped()) return;
  asio::post(strand_, [job = Job(*this, std::move(task))]() mutable { job.run(); });
}

void StrandQueue::postAfter(std::chrono::nanoseconds delay, Task task) {
  if (pool_->stopped()) return;
  const auto due = asio::steady_timer::clock_type::now() +
                   std::clamp(delay, std::chrono::nanoseconds(0), kLongestDelay);
  auto delayed = delayedJobs();
  delayed->add(due, Job(*this, std::move(task)));
  auto timer = std::make_unique<asio::steady_timer>(strand_, due);
  asio::steady_timer& waiting = *timer;
  waiting.async_wait([timer = std::move(timer), delayed = std::move(delayed)](std::error_code) {
    delayed->takeFirst().run();
  });
}

std::shared_ptr<StrandQueue::DelayedJobs> StrandQueue::delayedJobs() {
  const std::lock_guard lock(mutex_);
  auto delayed = delayed_.lock();
  if (!delayed) {
    delayed = std::make_shared<DelayedJobs>();
    delayed_ = delayed;
  }
  return delayed;
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
