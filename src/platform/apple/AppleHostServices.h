#pragma once

#include "platform/HostServices.h"
#include "platform/LogSink.h"

namespace quarnel {

// Frameworks that the application may or may not be linked with, so classes are looked up by name
// and nothing is linked for them.
class AppleHostServices final : public HostServices {
 public:
  explicit AppleHostServices(LogSink& log) : log_(log) {}

  std::optional<AdvertisingIdentity> advertisingIdentity() const override;
  std::shared_ptr<AdClient> sharedAdClient() const override;
  bool classExists(std::string_view name) const override;
  bool hasCloudIdentity() const override;

 private:
  LogSink& log_;
};

}  // namespace quarnel
