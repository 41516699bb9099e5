#pragma once

#include "platform/HostOptions.h"
#include "platform/HostServices.h"
#include "platform/LogSink.h"

namespace quarnel {

// Services as far as the host application provides them. A provider that throws is logged, and its
// service counts as absent.
class HostProvidedServices final : public HostServices {
 public:
  HostProvidedServices(const HostOptions& options, LogSink& log);

  std::optional<AdvertisingIdentity> advertisingIdentity() const override;
  std::shared_ptr<AdClient> sharedAdClient() const override;
  bool classExists(std::string_view name) const override;
  bool hasCloudIdentity() const override;

 private:
  template <typename Answer>
  Answer ask(const std::function<Answer()>& provider, std::string_view purpose) const;

  const std::function<std::optional<AdvertisingIdentity>()> advertisingIdentity_;
  const std::function<std::shared_ptr<AdClient>()> adClient_;
  const std::function<bool()> hasCloudIdentity_;
  const std::vector<std::string> knownClasses_;
  LogSink& log_;
};

}  // namespace quarnel
