#pragma once

#include <string_view>

namespace quarnel {

// The platform log. Callable from any thread; a line comes without a line break at its end.
class LogSink {
 public:
  virtual ~LogSink() = default;
  virtual void write(std::string_view line) = 0;
};

}  // namespace quarnel
