#pragma once

#include <memory>
#include <string>

#include "platform/Dispatcher.h"
#include "platform/LogSink.h"
#include "platform/common/PendingWork.h"
#include "platform/linux/dispatch/SerialQueues.h"

namespace quarnel {

// Serial queues on a small pool of threads; a thread of its own as main queue unless the host
// application has a main loop.
class LinuxDispatcher final : public Dispatcher {
 public:
  LinuxDispatcher(ExecutorQueue::Executor mainExecutor, std::shared_ptr<PendingWork> pending,
                  std::shared_ptr<LogSink> log);
  ~LinuxDispatcher() override;

  std::shared_ptr<SerialQueue> makeSerialQueue(std::string label) override;
  SerialQueue& mainQueue() override { return *mainQueue_; }

  // A queue for housekeeping that nobody waits for.
  std::shared_ptr<SerialQueue> makeUncountedQueue(std::string label);

  // Waits for the tasks that are running and drops those that are not.
  void stop();

 private:
  const std::shared_ptr<PendingWork> pending_;
  const std::shared_ptr<WorkerPool> pool_;
  std::shared_ptr<WorkerPool> mainThread_;  // Null when the host application runs the main queue.
  std::unique_ptr<SerialQueue> mainQueue_;
};

}  // namespace quarnel
