#pragma once

#include "platform/NotificationCenter.h"

namespace quarnel {

// The default notification centre. Of what a notification carries, the launch options count.
class AppleNotificationCenter final : public NotificationCenter {
 public:
  void addObserver(std::string_view name, Observer observer) override;
  void post(std::string_view name, const Value& userInfo) override;
};

}  // namespace quarnel
