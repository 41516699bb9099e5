#pragma once

#include <QuarnelTvOsLib/Value.h>

#include <functional>
#include <string>
#include <string_view>

namespace quarnel {

// Hands posted notifications to the observers of their name, on the posting thread. Observers are
// never removed.
class NotificationCenter {
 public:
  using Observer = std::function<void(const Value& userInfo)>;

  virtual ~NotificationCenter() = default;
  virtual void addObserver(std::string_view name, Observer observer) = 0;
  virtual void post(std::string_view name, const Value& userInfo) = 0;
};

}  // namespace quarnel
