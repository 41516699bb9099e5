#pragma once

#include <functional>
#include <string>

#include "platform/LogSink.h"

namespace quarnel {

// Runs the function. Whatever leaves it, an exception of C++ or of Objective-C, ends here with a
// line in the log. All catching is done in C++ sources: in those of Objective-C++ not every runtime
// that they are checked on can.
void sheltered(LogSink& log, const char* what, const std::function<void()>& function) noexcept;

}  // namespace quarnel
