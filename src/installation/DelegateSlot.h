#pragma once

#include <QuarnelTvOsLib/QuarnelTrackerDelegate.h>

#include <chrono>
#include <functional>
#include <memory>
#include <mutex>
#include <string_view>
#include <utility>

#include "platform/Dispatcher.h"
#include "util/CallOut.h"

namespace quarnel {

// The application's delegate: the one place from which it is called. The delegate is looked up
// afresh for each call, and a call in progress shares its ownership. Nothing that it throws gets
// any further. Callable from any thread; no lock is held during a call.
class DelegateSlot {
 public:
  template <typename Argument>
  using Operation = std::function<void(const Argument&)> QuarnelTrackerDelegate::*;

  DelegateSlot(SerialQueue& mainQueue, const DebugLog& log) : mainQueue_(mainQueue), log_(log) {}

  void set(std::shared_ptr<QuarnelTrackerDelegate> delegate) {
    const std::lock_guard lock(mutex_);
    std::swap(delegate_, delegate);  // The old one is released after the lock.
  }

  std::shared_ptr<QuarnelTrackerDelegate> get() const {
    const std::lock_guard lock(mutex_);
    return delegate_;
  }

  template <typename Argument>
  bool respondsTo(Operation<Argument> operation) const {
    const auto delegate = get();
    return delegate && isPresent(*delegate) && delegate.get()->*operation;
  }

  // Calls the operation on this thread, if there is a delegate that responds to it.
  template <typename Argument>
  void call(Operation<Argument> operation, const Argument& argument) const {
    const auto delegate = get();
    if (!delegate || !isPresent(*delegate)) return;
    // A copy, should the callback replace itself.
    const auto callback = delegate.get()->*operation;
    if (callback) callOut(log_, kName, [&] { callback(argument); });
  }

  // Calls it on the main queue, 1 millisecond from now, on the delegate of that moment.
  template <typename Argument>
  void post(Operation<Argument> operation, Argument argument) const {
    constexpr std::chrono::milliseconds kDelay{1};
    mainQueue_.postAfter(
        kDelay, [this, operation, argument = std::move(argument)] { call(operation, argument); });
  }

 private:
  static constexpr std::string_view kName = "-[QuarnelTracker delegate]";

  bool isPresent(const QuarnelTrackerDelegate& delegate) const {
    if (!delegate.isPresent) return true;
    bool present = false;
    callOut(log_, kName, [&] { present = delegate.isPresent(); });
    return present;
  }

  SerialQueue& mainQueue_;
  const DebugLog& log_;
  mutable std::mutex mutex_;
  std::shared_ptr<QuarnelTrackerDelegate> delegate_;
};

}  // namespace quarnel
