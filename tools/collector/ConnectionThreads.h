// A thread for each connection: a client that is slow or idle keeps nobody else waiting.
#pragma once

#include <httplib.h>

#include <condition_variable>
#include <cstddef>
#include <functional>
#include <mutex>

namespace collector {

class ConnectionThreads : public httplib::TaskQueue {
 public:
  // As long as the given number of connections is open, further ones wait.
  explicit ConnectionThreads(std::size_t most) : most_(most) {}

  void enqueue(std::function<void()> serve) override;
  void shutdown() override;

 private:
  void run(const std::function<void()>& serve);

  const std::size_t most_;
  std::mutex mutex_;
  std::condition_variable ended_;
  std::size_t running_ = 0;
};

}  // namespace collector
