#include "platform/apple/AppleClock.h"

#include "platform/apple/FoundationValue.h"

namespace quarnel {

Date AppleClock::now() const {
  return std::chrono::floor<Date::duration>(std::chrono::system_clock::now());
}

std::chrono::seconds AppleClock::utcOffset(Date at) const {
  @autoreleasepool {
    NSTimeZone* const zone = [NSTimeZone defaultTimeZone];
    return std::chrono::seconds([zone secondsFromGMTForDate:objectFrom(Value(at))]);
  }
}

}  // namespace quarnel
