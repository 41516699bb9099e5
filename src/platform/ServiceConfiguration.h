#pragma once

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

}  // namespace quarnel
