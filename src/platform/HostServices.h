#pragma once

#include <QuarnelTvOsLib/AdClient.h>
#include <QuarnelTvOsLib/HostEnvironment.h>

#include <memory>
#include <optional>
#include <string_view>

namespace quarnel {

// What only the host application or its process can offer. Each service may be absent. Callable
// from any thread.
class HostServices {
 public:
  virtual ~HostServices() = default;

  // The advertising identifier and the user's choice; absent without such a service.
  virtual std::optional<AdvertisingIdentity> advertisingIdentity() const = 0;

  // The platform's ad client, or nullptr.
  virtual std::shared_ptr<AdClient> sharedAdClient() const = 0;

  // Whether a class of that name exists in this process.
  virtual bool classExists(std::string_view name) const = 0;

  // Whether the user has a cloud identity.
  virtual bool hasCloudIdentity() const = 0;
};

}  // namespace quarnel
