#pragma once

#include <QuarnelTvOsLib/HostEnvironment.h>

#include <string>

#include "platform/ServiceDefaults.h"

namespace quarnel {

// Where the services live and under which names the library keeps its things. The defaults are set
// at build time.
struct ServiceConfiguration {
  std::string launchHost = QUARNEL_LAUNCH_HOST;
  std::string eventsHost = QUARNEL_EVENTS_HOST;
  std::string statsHost = QUARNEL_STATS_HOST;
  std::string conversionHost = QUARNEL_CONVERSION_HOST;
  std::string servicesHost = QUARNEL_SERVICES_HOST;
  std::string registerHost = QUARNEL_REGISTER_HOST;

  // The vendor's reverse-DNS prefixes. The keychain's differs from the other in letter case only;
  // earlier installations are found by it.
  std::string vendorPrefix = QUARNEL_VENDOR_PREFIX;
  std::string keychainPrefix = QUARNEL_KEYCHAIN_PREFIX;
  std::string shortVendorPrefix = QUARNEL_SHORT_VENDOR_PREFIX;
};

// The host of a service; null for a number that is none.
inline std::string* hostOf(ServiceConfiguration& services, Endpoint endpoint) {
  switch (endpoint) {
    case Endpoint::kLaunch:
      return &services.launchHost;
    case Endpoint::kEvents:
      return &services.eventsHost;
    case Endpoint::kStats:
      return &services.statsHost;
    case Endpoint::kConversion:
      return &services.conversionHost;
    case Endpoint::kServices:
      return &services.servicesHost;
    case Endpoint::kRegister:
      return &services.registerHost;
  }
  return nullptr;
}

}  // namespace quarnel
