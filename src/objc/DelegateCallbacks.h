#pragma once

#include <QuarnelTvOsLib/QuarnelTrackerDelegate.h>

#include <memory>

#include "objc/CoreTracker.h"
#include "objc/WeakReference.h"

namespace quarnel::objc {

// The operations that the delegate responds to; an empty pointer for an absent delegate. The
// delegate is retained during a call, and not called any more once it is gone.
std::unique_ptr<Callbacks> callbacksOf(const std::shared_ptr<WeakReference>& delegate);

}  // namespace quarnel::objc
