#pragma once

#include <functional>
#include <memory>
#include <optional>
#include <string>
#include <vector>

#include "platform/HostServices.h"
#include "platform/LogSink.h"

namespace quarnel {

// Services that Linux does not have, as far as the host application provides them. An exception of
// a provider is logged and counts as the service's absence.

class HostAdvertisingIdentifier final : public AdvertisingIdentifier {
 public:
  using Provider = std::function<std::optional<AdvertisingIdentity>()>;
  HostAdvertisingIdentifier(Provider provider, LogSink& log)
      : provider_(std::move(provider)), log_(log) {}
  std::optional<AdvertisingIdentity> current() const override;

 private:
  const Provider provider_;
  LogSink& log_;
};

class HostAdClientLookup final : public AdClientLookup {
 public:
  using Provider = std::function<std::shared_ptr<AdClient>()>;
  HostAdClientLookup(Provider provider, LogSink& log) : provider_(std::move(provider)), log_(log) {}
  std::shared_ptr<AdClient> sharedClient() const override;

 private:
  const Provider provider_;
  LogSink& log_;
};

class HostCloudIdentity final : public CloudIdentity {
 public:
  using Provider = std::function<bool()>;
  HostCloudIdentity(Provider provider, LogSink& log) : provider_(std::move(provider)), log_(log) {}
  bool hasIdentityToken() const override;

 private:
  const Provider provider_;
  LogSink& log_;
};

class DeclaredClasses final : public ClassLookup {
 public:
  explicit DeclaredClasses(std::vector<std::string> names) : names_(std::move(names)) {}
  bool classExists(std::string_view name) const override;

 private:
  const std::vector<std::string> names_;
};

}  // namespace quarnel
