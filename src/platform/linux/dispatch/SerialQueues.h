#pragma once

#include <functional>
#include <memory>
#include <string>

#include "platform/Dispatcher.h"
#include "platform/LogSink.h"
#include "platform/common/PendingWork.h"
#include "platform/linux/dispatch/WorkerPool.h"

namespace quarnel {

// A serial queue on the threads of a pool. Without `pending` its tasks are not waited for.
class StrandQueue final : public SerialQueue {
 public:
  StrandQueue(std::string label, std::shared_ptr<WorkerPool> pool,
              std::shared_ptr<PendingWork> pending);

  void post(Task task) override;
  void postAfter(std::chrono::nanoseconds delay, Task task) override;

 private:
  const std::shared_ptr<WorkerPool> pool_;
  const std::shared_ptr<PendingWork> pending_;
  const std::shared_ptr<WorkerPool::Strand> strand_;
};

// The host application's main loop as a queue.
class ExecutorQueue final : public SerialQueue {
 public:
  using Executor = std::function<void(std::function<void()>)>;

  ExecutorQueue(Executor executor, std::unique_ptr<SerialQueue> timers,
                std::shared_ptr<PendingWork> pending, std::shared_ptr<LogSink> log);

  void post(Task task) override;
  void postAfter(std::chrono::nanoseconds delay, Task task) override;

 private:
  const Executor executor_;
  const std::unique_ptr<SerialQueue> timers_;
  const std::shared_ptr<PendingWork> pending_;
  const std::shared_ptr<LogSink> log_;
};

}  // namespace quarnel
