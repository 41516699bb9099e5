#pragma once

#include <QuarnelTvOsLib/QuarnelTracker.h>

#include <chrono>

namespace quarnel::bench {

void reportEvent(QuarnelTracker& tracker);

// Times `count` calls of the library one by one, and as many of a bare hand-off: a map of the same
// five properties put into a queue that another thread empties. Between calls is `pause`, so that
// the threads behind are asleep; without a pause they are busy. Prints medians and 99th
// percentiles.
void timeCalls(QuarnelTracker& tracker, int count, std::chrono::microseconds pause);

// Makes the same calls without a clock, each within a function of its own, libraryCall and
// bareCall, for a profiler that counts the instructions in there.
void makeCountedCalls(QuarnelTracker& tracker, int count);

}  // namespace quarnel::bench
