#pragma once

#include <mutex>
#include <utility>
#include <vector>

namespace quarnel {

// Hands things from any thread to one queue, in order: a task is posted for the first of them only,
// and takes all that have arrived by then.
template <typename T>
class Mailbox {
 public:
  // `post` posts a task that calls takeAll. If it throws, the next put posts again.
  template <typename Post>
  void put(T thing, const Post& post) {
    {
      const std::lock_guard lock(mutex_);
      things_.push_back(std::move(thing));
      if (std::exchange(isTaskPosted_, true)) return;
    }
    try {
      post();
    } catch (...) {
      const std::lock_guard lock(mutex_);
      isTaskPosted_ = false;
      throw;
    }
  }

  std::vector<T> takeAll() {
    const std::lock_guard lock(mutex_);
    isTaskPosted_ = false;
    return std::exchange(things_, {});
  }

 private:
  std::mutex mutex_;
  std::vector<T> things_;
  bool isTaskPosted_ = false;
};

}  // namespace quarnel
