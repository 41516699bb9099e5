#include "platform/common/PendingWork.h"

#include <algorithm>

namespace quarnel {
namespace {

// Far beyond any sensible wait, and far from overflowing the clock.
constexpr std::chrono::milliseconds kLongestWait = std::chrono::hours(24 * 365);

}  // namespace

bool PendingWork::waitUntilNone(std::chrono::milliseconds timeout) {
  std::unique_lock lock(mutex_);
  return none_.wait_for(lock, std::clamp(timeout, std::chrono::milliseconds::zero(), kLongestWait),
                        [this] { return count_ == 0; });
}

void PendingWork::add() {
  const std::lock_guard lock(mutex_);
  ++count_;
}

void PendingWork::finish() {
  const std::lock_guard lock(mutex_);
  if (--count_ == 0) none_.notify_all();
}

}  // namespace quarnel
