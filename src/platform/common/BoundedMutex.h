#pragma once

#include <chrono>
#include <condition_variable>
#include <mutex>

namespace quarnel {

// A mutex that is waited for no longer than one wants. std::timed_mutex does the same, unseen by
// thread sanitizers of some compilers.
class BoundedMutex {
 public:
  void lock() {
    std::unique_lock lock(mutex_);
    freed_.wait(lock, [this] { return !isHeld_; });
    isHeld_ = true;
  }

  bool try_lock() {
    const std::lock_guard lock(mutex_);
    if (isHeld_) return false;
    return isHeld_ = true;
  }

  bool try_lock_until(std::chrono::steady_clock::time_point deadline) {
    std::unique_lock lock(mutex_);
    if (!freed_.wait_until(lock, deadline, [this] { return !isHeld_; })) return false;
    return isHeld_ = true;
  }

  void unlock() {
    {
      const std::lock_guard lock(mutex_);
      isHeld_ = false;
    }
    freed_.notify_one();
  }

 private:
  std::mutex mutex_;
  std::condition_variable freed_;
  bool isHeld_ = false;
};

}  // namespace quarnel
