#include "platform/common/LocalNotificationCenter.h"

namespace quarnel {

void LocalNotificationCenter::addObserver(std::string_view name, Observer observer) {
  const std::lock_guard lock(mutex_);
  observers_[std::string(name)].push_back(std::make_shared<const Observer>(std::move(observer)));
}

void LocalNotificationCenter::post(std::string_view name, const Value& userInfo) {
  Observers observers;
  {
    const std::lock_guard lock(mutex_);
    const auto found = observers_.find(name);
    if (found != observers_.end()) observers = found->second;
  }
  for (const auto& observer : observers) (*observer)(userInfo);
}

}  // namespace quarnel
