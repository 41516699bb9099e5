// Calls of the application's delegate: nothing that the delegate throws gets any further.
#pragma once

#include <chrono>
#include <functional>
#include <string_view>
#include <utility>

#include "compose/TrackerContext.h"
#include "platform/CallOut.h"
#include "platform/Dispatcher.h"

namespace quarnel {

// Calls an operation of the tracker's present delegate, if it has one and responds, on this thread.
template <typename Argument>
void callDelegate(const TrackerContext& context,
                  std::function<void(const Argument&)> QuarnelTrackerDelegate::*operation,
                  const Argument& argument) {
  constexpr std::string_view kOperation = "-[QuarnelTracker delegate]";
  const QuarnelTrackerDelegate* delegate = context.state.get(&TrackerFields::delegate);
  if (delegate == nullptr || !(delegate->*operation)) return;
  callOut(context.log, kOperation, [&] { (delegate->*operation)(argument); });
}

// The same on the main queue, 1 millisecond from now, for the delegate that the tracker has then.
template <typename Argument>
void postToDelegate(const TrackerContext& context,
                    std::function<void(const Argument&)> QuarnelTrackerDelegate::*operation,
                    Argument argument) {
  constexpr std::chrono::milliseconds kDelay{1};
  context.platform.dispatcher().mainQueue().postAfter(
      kDelay, [&context, operation, argument = std::move(argument)] {
        callDelegate(context, operation, argument);
      });
}

}  // namespace quarnel
