#pragma once

#include <asio/executor_work_guard.hpp>
#include <asio/io_context.hpp>
#include <atomic>
#include <string>
#include <thread>
#include <vector>

namespace quarnel {

// A few threads that run one Asio context. Queues share its ownership, so a queue that outlives the
// dispatcher is harmless: what is posted to it then is dropped.
class WorkerPool {
 public:
  WorkerPool(const std::string& threadName, int threadCount);
  WorkerPool(const WorkerPool&) = delete;
  WorkerPool& operator=(const WorkerPool&) = delete;
  ~WorkerPool();

  asio::io_context& context() { return context_; }
  bool stopped() const { return stopped_; }

  // Waits for the tasks that are running and drops those that are not. Not from a pool thread.
  void stop();

 private:
  // Dropping handlers without destroying the context lets strands outlive the handlers.
  class Context : public asio::io_context {
   public:
    using asio::io_context::io_context;
    void dropHandlers() { shutdown(); }
  };

  Context context_;
  asio::executor_work_guard<asio::io_context::executor_type> keepRunning_;
  std::atomic<bool> stopped_ = false;
  std::vector<std::thread> threads_;
};

}  // namespace quarnel
