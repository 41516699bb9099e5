#pragma once

#include <atomic>
#include <functional>
#include <optional>
#include <string>
#include <string_view>
#include <type_traits>
#include <utility>

#include "util/Text.h"

namespace quarnel {

// The diagnostic log: "Quarnel: <full name of the operation> <message>", written only while debug
// mode is on. The flag is read afresh for each line. Thread-safe; no lock is held while the sink is
// called.
class DebugLog {
 public:
  // Takes a line without a line break, on any thread.
  using Sink = std::function<void(std::string_view line)>;

  explicit DebugLog(Sink sink) : sink_(std::move(sink)) {}

  void setEnabled(bool enabled) { enabled_.store(enabled, std::memory_order_relaxed); }
  bool isEnabled() const { return enabled_.load(std::memory_order_relaxed); }

  // The parts are joined only when the line is written. Absent text prints "(null)".
  template <typename... Parts>
  void operator()(std::string_view operation, const Parts&... parts) const {
    if (!isEnabled()) return;
    std::string line = "Quarnel: ";
    line += operation;
    line += ' ';
    (append(line, parts), ...);
    sink_(line);
  }

  // Writes the line whatever the debug mode.
  void always(std::string_view line) const { sink_(line); }

 private:
  template <typename Part>
  static void append(std::string& line, const Part& part) {
    if constexpr (std::is_integral_v<Part>) {
      line += std::to_string(part);
    } else if constexpr (std::is_same_v<Part, std::optional<std::string>>) {
      line += textOrNull(part);
    } else {
      line += std::string_view(part);
    }
  }

  const Sink sink_;
  std::atomic<bool> enabled_{false};
};

}  // namespace quarnel
