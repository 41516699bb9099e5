#pragma once

#include <mutex>

#include "platform/UserDefaults.h"

namespace quarnel {

// The standard user defaults. What is set there reaches the system's own process at once and so
// survives the application's; nothing waits for the disk. One process alone uses them.
class AppleUserDefaults final : public UserDefaults {
 public:
  std::optional<Value> get(std::string_view key) const override;
  void set(std::string_view key, Value value) override;
  void remove(std::string_view key) override;
  void update(const Change& change) override;
  bool updateWithin(std::chrono::milliseconds limit, const Change& change) override;
  bool synchronize() override;

 private:
  std::mutex mutex_;  // One change of several values at a time; not held while synchronising.
};

}  // namespace quarnel
