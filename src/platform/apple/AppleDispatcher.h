#pragma once

#include <memory>
#include <string>

#include "platform/Dispatcher.h"
#include "platform/LogSink.h"
#include "platform/common/PendingWork.h"

namespace quarnel {

// libdispatch's queues.
class AppleDispatcher final : public Dispatcher {
 public:
  AppleDispatcher(std::shared_ptr<PendingWork> pending, std::shared_ptr<LogSink> log);

  std::shared_ptr<SerialQueue> makeSerialQueue(std::string label) override;
  SerialQueue& mainQueue() override { return *main_; }

  // One whose tasks nobody waits for.
  std::shared_ptr<SerialQueue> makeUncountedQueue(std::string label);

 private:
  const std::shared_ptr<PendingWork> pending_;
  const std::shared_ptr<LogSink> log_;
  const std::unique_ptr<SerialQueue> main_;
};

}  // namespace quarnel
