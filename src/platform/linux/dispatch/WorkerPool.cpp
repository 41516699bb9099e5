#include "platform/linux/dispatch/WorkerPool.h"

#include <unistd.h>

#include <system_error>

#include "platform/PlatformFactory.h"
#include "platform/common/GuardedTask.h"
#include "platform/linux/dispatch/Threads.h"

namespace quarnel {

WorkerPool::WorkerPool(std::string threadName, int threadCount, std::shared_ptr<LogSink> log)
    : threadName_(std::move(threadName)),
      threadCount_(static_cast<std::size_t>(threadCount)),
      log_(std::move(log)) {
  threads_.reserve(threadCount_);
  startMissingThreads();
}

WorkerPool::~WorkerPool() { stop(); }

void WorkerPool::post(const std::shared_ptr<Strand>& strand, Job job) {
  {
    const std::lock_guard lock(mutex_);
    if (stopped_) return;
    schedule(strand, std::move(job));
  }
  startMissingThreads();
}

void WorkerPool::postAt(Clock::time_point due, std::shared_ptr<Strand> strand, Job job) {
  {
    const std::lock_guard lock(mutex_);
    if (stopped_) return;
    const auto place = delayed_.try_emplace(DueTime(due, nextNumber_++),
                                            Delayed{std::move(strand), std::move(job)});
    if (place.first == delayed_.begin()) changed_.notify_one();
  }
  startMissingThreads();
}

void WorkerPool::startMissingThreads() {
  if (isComplete_.load(std::memory_order_relaxed)) return;
  const auto reason = tryToStartThreads();
  if (!reason || hasComplained_.exchange(true)) return;
  log_->write("Quarnel: a thread of " + threadName_ + " cannot be started now: " + *reason);
}

std::optional<std::string> WorkerPool::tryToStartThreads() try {
  const std::lock_guard lock(mutex_);
  while (!stopped_ && threads_.size() < threadCount_) {
    threads_.push_back(startThread(threadName_, [this] { work(); }));
  }
  isComplete_ = true;
  return std::nullopt;
} catch (const std::system_error& error) {
  return error.what();
}

void WorkerPool::stop() {
  {
    const std::lock_guard lock(mutex_);
    if (std::exchange(stopped_, true)) return;
    changed_.notify_all();
  }
  // No thread is added any more.
  for (std::thread& thread : threads_) thread.join();
  dropJobs();
}

void WorkerPool::work() {
  std::unique_lock lock(mutex_);
  while (!stopped_) {
    scheduleDueJobs();
    if (ready_.empty()) {
      wait(lock);
      continue;
    }
    const std::shared_ptr<Strand> strand = std::move(ready_.front());
    ready_.pop_front();
    {
      Job job = std::move(strand->jobs.front());
      strand->jobs.pop_front();
      lock.unlock();
      runGuarded(job.task, strand->label, *log_);
      // A callback has forked and returned here: the rest of the work is the parent's.
      if (isForkedChild()) ::_exit(0);
      // What the task owns goes before the token, so that nothing of it is left once it is not
      // counted any more.
      job.task = nullptr;
    }
    lock.lock();
    strand->isScheduled = !strand->jobs.empty();
    if (strand->isScheduled) ready_.push_back(strand);
  }
}

void WorkerPool::wait(std::unique_lock<std::mutex>& lock) {
  if (delayed_.empty()) {
    changed_.wait(lock);
  } else {
    const Clock::time_point due = delayed_.begin()->first.first;
    changed_.wait_until(lock, due);
  }
}

void WorkerPool::schedule(const std::shared_ptr<Strand>& strand, Job job) {
  strand->jobs.push_back(std::move(job));
  if (std::exchange(strand->isScheduled, true)) return;
  ready_.push_back(strand);
  changed_.notify_one();
}

void WorkerPool::scheduleDueJobs() {
  if (delayed_.empty()) return;
  const Clock::time_point now = Clock::now();
  while (!delayed_.empty() && delayed_.begin()->first.first <= now) {
    auto due = delayed_.extract(delayed_.begin());
    schedule(due.mapped().strand, std::move(due.mapped().job));
  }
}

// What a job owns is foreign: it is destroyed without the lock, and may still post.
void WorkerPool::dropJobs() {
  std::unique_lock lock(mutex_);
  const auto ready = std::exchange(ready_, {});
  const auto delayed = std::exchange(delayed_, {});
  lock.unlock();
  for (const auto& strand : ready) strand->jobs.clear();
}

}  // namespace quarnel
