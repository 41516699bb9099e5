#pragma once

#include <chrono>
#include <condition_variable>
#include <cstddef>
#include <memory>
#include <mutex>
#include <utility>

namespace quarnel {

// Counts what is queued, delayed or in flight, so that a host application can wait for the end of
// it. One piece of work that leads to another takes the other's token before it gives back its own;
// so the count is zero only when really nothing is left.
class PendingWork {
 public:
  // One piece of work, pending until the token is destroyed. An empty token counts nothing.
  class Token {
   public:
    Token() = default;
    explicit Token(std::shared_ptr<PendingWork> work) : work_(std::move(work)) {
      if (work_) work_->add();
    }
    Token(Token&& other) noexcept = default;
    Token& operator=(Token&& other) noexcept {
      std::swap(work_, other.work_);
      return *this;
    }
    ~Token() {
      if (work_) work_->finish();
    }

   private:
    std::shared_ptr<PendingWork> work_;
  };

  // False when the timeout came first.
  bool waitUntilNone(std::chrono::milliseconds timeout);

 private:
  void add();
  void finish();

  std::mutex mutex_;
  std::condition_variable none_;
  std::size_t count_ = 0;
};

}  // namespace quarnel
