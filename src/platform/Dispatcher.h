#pragma once

#include <chrono>
#include <functional>
#include <memory>
#include <string>

namespace quarnel {

using Task = std::function<void()>;

// Runs tasks one at a time in the order of posting; delayed ones in the order in which they fall
// due. Posting is allowed from any thread and never runs the task before it returns. An exception
// that leaves a task is caught and dropped.
class SerialQueue {
 public:
  virtual ~SerialQueue() = default;
  virtual void post(Task task) = 0;
  virtual void postAfter(std::chrono::nanoseconds delay, Task task) = 0;
};

// Makes labelled serial queues. Tasks that are pending keep their queue going: a queue may be
// released right after posting to it.
class Dispatcher {
 public:
  virtual ~Dispatcher() = default;
  virtual std::shared_ptr<SerialQueue> makeSerialQueue(std::string label) = 0;
  // The application's main loop, or the thread that stands for it.
  virtual SerialQueue& mainQueue() = 0;
};

}  // namespace quarnel
