#pragma once

#include "platform/NetworkInterfaces.h"

namespace quarnel {

class AppleNetworkInterfaces final : public NetworkInterfaces {
 public:
  std::optional<std::vector<NetworkInterface>> list() const override;
};

}  // namespace quarnel
