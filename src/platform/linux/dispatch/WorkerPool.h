#pragma once

#include <atomic>
#include <chrono>
#include <condition_variable>
#include <cstdint>
#include <deque>
#include <map>
#include <memory>
#include <mutex>
#include <optional>
#include <string>
#include <thread>
#include <utility>
#include <vector>

#include "platform/Dispatcher.h"
#include "platform/LogSink.h"
#include "platform/common/PendingWork.h"

namespace quarnel {

// A few threads that run the jobs of strands: those of one strand one at a time and in order, those
// of different strands side by side. Queues share the ownership of the pool, so a queue that
// outlives the dispatcher is harmless: what is posted to it then is dropped.
//
// When the system has no thread to give, the work is done by fewer, or waits for one.
class WorkerPool {
 public:
  using Clock = std::chrono::steady_clock;

  struct Job {
    PendingWork::Token token;
    Task task;
  };

  // idle       Not scheduled, without jobs.
  // scheduled  In the pool's line, or one of its jobs is running. After each job it goes to the end
  //            of the line, so that a busy strand does not hold up the others.
  struct Strand {
    explicit Strand(std::string queueLabel) : label(std::move(queueLabel)) {}

    const std::string label;
    // Guarded by the pool's mutex.
    std::deque<Job> jobs;
    bool isScheduled = false;
  };

  WorkerPool(std::string threadName, int threadCount, std::shared_ptr<LogSink> log);
  WorkerPool(const WorkerPool&) = delete;
  WorkerPool& operator=(const WorkerPool&) = delete;
  ~WorkerPool();

  void post(const std::shared_ptr<Strand>& strand, Job job);
  // Jobs that fall due at the same moment run in the order of posting.
  void postAt(Clock::time_point due, std::shared_ptr<Strand> strand, Job job);

  // Waits for the jobs that are running and drops those that are not. Not from a pool thread.
  void stop();

 private:
  struct Delayed {
    std::shared_ptr<Strand> strand;
    Job job;
  };
  using DueTime = std::pair<Clock::time_point, std::uint64_t>;

  // Starts the threads that there are not yet. For every piece of new work.
  void startMissingThreads();
  // Absent when all threads run, else why not.
  std::optional<std::string> tryToStartThreads();
  void work();
  void wait(std::unique_lock<std::mutex>& lock);
  void schedule(const std::shared_ptr<Strand>& strand, Job job);
  void scheduleDueJobs();
  void dropJobs();

  const std::string threadName_;
  const std::size_t threadCount_;
  const std::shared_ptr<LogSink> log_;
  std::atomic<bool> isComplete_ = false;  // All threads run.
  std::atomic<bool> hasComplained_ = false;
  std::mutex mutex_;  // Guards what follows.
  std::condition_variable changed_;
  std::deque<std::shared_ptr<Strand>> ready_;
  std::map<DueTime, Delayed> delayed_;
  std::uint64_t nextNumber_ = 0;
  bool stopped_ = false;
  std::vector<std::thread> threads_;
};

}  // namespace quarnel
