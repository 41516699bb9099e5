#pragma once

#include <atomic>
#include <memory>
#include <string_view>
#include <utility>

#include "platform/LogSink.h"

namespace quarnel {

// Passes the adapter's own lines on while debug mode is on. What an operator must know without it
// shows in the diagnostics.
class DebugModeSink final : public LogSink {
 public:
  explicit DebugModeSink(std::shared_ptr<LogSink> sink) : sink_(std::move(sink)) {}

  void setEnabled(bool enabled) { isEnabled_.store(enabled, std::memory_order_relaxed); }
  void write(std::string_view line) override {
    if (isEnabled_.load(std::memory_order_relaxed)) sink_->write(line);
  }

 private:
  const std::shared_ptr<LogSink> sink_;
  std::atomic<bool> isEnabled_ = false;
};

}  // namespace quarnel
