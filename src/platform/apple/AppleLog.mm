#include "platform/apple/AppleLog.h"

#include "platform/apple/FoundationValue.h"

namespace quarnel {

void AppleLog::write(std::string_view line) {
  @autoreleasepool {
    NSLog(@"%@", stringFrom(line));
  }
}

}  // namespace quarnel
