#include "platform/common/HostProvidedServices.h"

#include <algorithm>
#include <exception>
#include <string>
#include <string_view>

namespace quarnel {

HostProvidedServices::HostProvidedServices(const HostOptions& options, LogSink& log)
    : advertisingIdentity_(options.advertisingIdentity),
      adClient_(options.adClient),
      hasCloudIdentity_(options.hasCloudIdentity),
      knownClasses_(options.knownClasses),
      log_(log) {}

template <typename Answer>
Answer HostProvidedServices::ask(const std::function<Answer()>& provider,
                                 std::string_view purpose) const {
  if (!provider) return Answer();
  const std::string line = "Quarnel: the application's " + std::string(purpose) + " provider threw";
  try {
    return provider();
  } catch (const std::exception& error) {
    log_.write(line + ": " + error.what());
  } catch (...) {
    log_.write(line);
  }
  return Answer();
}

std::optional<AdvertisingIdentity> HostProvidedServices::advertisingIdentity() const {
  return ask(advertisingIdentity_, "advertising identity");
}

std::shared_ptr<AdClient> HostProvidedServices::sharedAdClient() const {
  return ask(adClient_, "ad client");
}

bool HostProvidedServices::classExists(std::string_view name) const {
  return std::find(knownClasses_.begin(), knownClasses_.end(), name) != knownClasses_.end();
}

bool HostProvidedServices::hasCloudIdentity() const {
  return ask(hasCloudIdentity_, "cloud identity");
}

}  // namespace quarnel
