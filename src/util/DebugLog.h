#pragma once

#include <atomic>
#include <functional>
#include <initializer_list>
#include <optional>
#include <string>
#include <string_view>
#include <type_traits>
#include <utility>

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

  // The parts, texts and whole numbers, are joined only when the line is written. Absent text
  // prints
  // "(null)".
  template <typename... Parts>
  void operator()(std::string_view operation, const Parts&... parts) const {
    if (isEnabled()) write(operation, {Part(parts)...});
  }

  // Writes the line whatever the debug mode.
  void always(std::string_view line) const { sink_(line); }

 private:
  class Part {
   public:
    explicit Part(std::string_view text) : text_(text) {}
    explicit Part(const char* text) : text_(text) {}
    explicit Part(const std::string& text) : text_(text) {}
    explicit Part(const std::optional<std::string>& text)
        : text_(text ? std::string_view(*text) : std::string_view("(null)")) {}
    template <typename Number, std::enable_if_t<std::is_integral_v<Number>, int> = 0>
    explicit Part(Number number) : digits_(std::to_string(number)) {}
    std::string_view text() const { return digits_.empty() ? text_ : std::string_view(digits_); }

   private:
    std::string_view text_;
    std::string digits_;
  };

  void write(std::string_view operation, std::initializer_list<Part> parts) const;

  const Sink sink_;
  std::atomic<bool> enabled_{false};
};

}  // namespace quarnel
