#include "platform/common/HostProvidedServices.h"

#include <algorithm>
#include <exception>
#include <string_view>

namespace quarnel {
namespace {

template <typename Answer>
Answer ask(const std::function<Answer()>& provider, std::string_view purpose, LogSink& log) {
  if (!provider) return Answer();
  const std::string line = "Quarnel: the application's " + std::string(purpose) + " provider threw";
  try {
    return provider();
  } catch (const std::exception& error) {
    log.write(line + ": " + error.what());
  } catch (...) {
    log.write(line);
  }
  return Answer();
}

}  // namespace

std::optional<AdvertisingIdentity> HostAdvertisingIdentifier::current() const {
  return ask(provider_, "advertising identity", log_);
}

std::shared_ptr<AdClient> HostAdClientLookup::sharedClient() const {
  return ask(provider_, "ad client", log_);
}

bool HostCloudIdentity::hasIdentityToken() const { return ask(provider_, "cloud identity", log_); }

bool DeclaredClasses::classExists(std::string_view name) const {
  return std::find(names_.begin(), names_.end(), name) != names_.end();
}

}  // namespace quarnel
