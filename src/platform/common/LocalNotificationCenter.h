#pragma once

#include <map>
#include <memory>
#include <mutex>
#include <string>
#include <vector>

#include "platform/NotificationCenter.h"

namespace quarnel {

class LocalNotificationCenter final : public NotificationCenter {
 public:
  void addObserver(std::string_view name, Observer observer) override;
  void post(std::string_view name, const Value& userInfo) override;

 private:
  using Observers = std::vector<std::shared_ptr<const Observer>>;

  std::mutex mutex_;
  std::map<std::string, Observers, std::less<>> observers_;
};

}  // namespace quarnel
