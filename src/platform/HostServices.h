#pragma once

#include <QuarnelTvOsLib/AdClient.h>
#include <QuarnelTvOsLib/HostEnvironment.h>

#include <memory>
#include <optional>
#include <string_view>

namespace quarnel {

// The advertising-identifier service.
class AdvertisingIdentifier {
 public:
  virtual ~AdvertisingIdentifier() = default;
  // Absent when the platform has no such service. Callable from any thread.
  virtual std::optional<AdvertisingIdentity> current() const = 0;
};

// Looks up the platform's ad client.
class AdClientLookup {
 public:
  virtual ~AdClientLookup() = default;
  // Null when there is none.
  virtual std::shared_ptr<AdClient> sharedClient() const = 0;
};

// Whether a class of that name exists in this process.
class ClassLookup {
 public:
  virtual ~ClassLookup() = default;
  virtual bool classExists(std::string_view name) const = 0;
};

class CloudIdentity {
 public:
  virtual ~CloudIdentity() = default;
  virtual bool hasIdentityToken() const = 0;
};

}  // namespace quarnel
