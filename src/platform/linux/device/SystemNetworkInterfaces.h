#pragma once

#include "platform/NetworkInterfaces.h"

namespace quarnel {

// The system's interfaces. The name that reports look for is rare on Linux; so the host
// application may say whether the device is on Wi-Fi, and an interface of that name appears or not.
class SystemNetworkInterfaces final : public NetworkInterfaces {
 public:
  explicit SystemNetworkInterfaces(std::optional<bool> wifi) : wifi_(wifi) {}
  std::optional<std::vector<NetworkInterface>> list() const override;

 private:
  const std::optional<bool> wifi_;
};

}  // namespace quarnel
