// What the user of the collector changes while it runs: faults to try an application against, and
// the conversion data and receipts to answer with. Thread-safe.
#pragma once

#include <array>
#include <chrono>
#include <mutex>
#include <optional>
#include <string>
#include <string_view>

#include "JsonText.h"
#include "ReceivedRequest.h"

namespace collector {

struct Fault {
  std::optional<int> status;  // Instead of the ordinary one.
  std::chrono::milliseconds delay{0};
  bool drop = false;
};

class Controls {
 public:
  // Makes an answer of the endpoint for that kind as bad as it is to be.
  void apply(Kind endpoint, Answer& answer) const;

  // JSON objects to use instead of the files that the collector was started with.
  std::optional<std::string> conversion() const;
  std::optional<std::string> receipts() const;

  // All of it as a JSON object, and from one. Without success `error` says why, and nothing has
  // changed.
  std::string json() const;
  bool set(std::string_view json, std::string& error);

 private:
  static constexpr std::size_t kEndpoints = 6;

  struct Settings {
    std::array<Fault, kEndpoints> faults;  // In the order of the kinds.
    std::optional<std::string> conversion;
    std::optional<std::string> receipts;
  };

  static bool read(std::string_view json, Settings& settings, std::string& error);
  static bool readFaults(const JsonMember& faults, Settings& settings, std::string& error);

  mutable std::mutex mutex_;
  Settings settings_;
};

}  // namespace collector
