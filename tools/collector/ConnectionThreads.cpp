#include "ConnectionThreads.h"

#include <exception>
#include <iostream>
#include <system_error>
#include <thread>

namespace collector {

void ConnectionThreads::enqueue(std::function<void()> serve) {
  {
    std::unique_lock lock(mutex_);
    ended_.wait(lock, [this] { return running_ < most_; });
    ++running_;
  }
  try {
    std::thread([this, serve] { run(serve); }).detach();
  } catch (const std::system_error&) {
    run(serve);  // No thread is to be had: new clients wait for this one.
  }
}

void ConnectionThreads::shutdown() {
  std::unique_lock lock(mutex_);
  ended_.wait(lock, [this] { return running_ == 0; });
}

void ConnectionThreads::run(const std::function<void()>& serve) {
  try {
    serve();
  } catch (const std::exception& failure) {
    std::cerr << "quarnel-collector: a connection failed: " << failure.what() << std::endl;
  }
  const std::lock_guard lock(mutex_);
  --running_;
  ended_.notify_all();
}

}  // namespace collector
