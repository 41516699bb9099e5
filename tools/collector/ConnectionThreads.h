// A thread for each connection: a client that is slow or idle keeps nobody else waiting.
#pragma once

#include <httplib.h>

#include <condition_variable>
#include <functional>
#include <mutex>

namespace collector {

class ConnectionThreads : public httplib::TaskQueue {
 public:
  void enqueue(std::function<void()> serve) override;
  void shutdown() override;

 private:
  void run(const std::function<void()>& serve);

  std::mutex mutex_;
  std::condition_variable ended_;
  int running_ = 0;
};

}  // namespace collector
