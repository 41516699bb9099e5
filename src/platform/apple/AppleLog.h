#pragma once

#include "platform/LogSink.h"

namespace quarnel {

// The system's log.
class AppleLog final : public LogSink {
 public:
  void write(std::string_view line) override;
};

}  // namespace quarnel
