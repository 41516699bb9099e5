// The platform's advertising services, as a script says that they are.
#pragma once

#include <QuarnelTvOsLib/HostEnvironment.h>
#include <QuarnelTvOsLib/Value.h>

#include <memory>
#include <mutex>
#include <optional>

namespace host {

// The library asks on its own threads while the script changes the answers.
class AdServices {
 public:
  // {"identifier": "6D92...", "enabled": true}, or absent for no advertising identifier.
  void setIdentity(const std::optional<quarnel::Dictionary>& script);

  // {"operations": [...], "after": seconds, "details": {...}, "purchaseDate": seconds,
  // "impressionDate": seconds, "attributed": true}, or absent for no ad client. Without "after" it
  // answers at once, on the thread that asks.
  void setClient(const std::optional<quarnel::Dictionary>& script);

  std::optional<quarnel::AdvertisingIdentity> identity() const;
  std::shared_ptr<quarnel::AdClient> client() const;

 private:
  mutable std::mutex mutex_;
  std::optional<quarnel::AdvertisingIdentity> identity_;
  std::shared_ptr<quarnel::AdClient> client_;
};

}  // namespace host
