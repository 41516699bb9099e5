#include <QuarnelTvOsLib/HostEnvironment.h>

#include <utility>

#include "platform/HostOptions.h"

namespace quarnel {

HostEnvironment::HostEnvironment() : options_(std::make_unique<HostOptions>()) {}
HostEnvironment::HostEnvironment(const HostEnvironment& other)
    : options_(std::make_unique<HostOptions>(*other.options_)) {}
HostEnvironment& HostEnvironment::operator=(const HostEnvironment& other) {
  *options_ = *other.options_;
  return *this;
}
HostEnvironment::~HostEnvironment() = default;

void HostEnvironment::setEndpointHost(Endpoint endpoint, std::string host) {
  if (std::string* known = hostOf(options_->services, endpoint)) *known = std::move(host);
}

void HostEnvironment::setStateDirectory(std::string path) {
  options_->stateDirectory = std::move(path);
}

void HostEnvironment::setKeychainFile(std::string path) {
  options_->keychainFile = std::move(path);
}

void HostEnvironment::setCertificateAuthorityFile(std::string path) {
  options_->certificateAuthorityFile = std::move(path);
}

void HostEnvironment::setUsesProxyVariables(bool uses) { options_->usesProxyVariables = uses; }

void HostEnvironment::setReceiptFile(std::string path) {
  options_->bundle.appStoreReceiptPath = std::move(path);
}

void HostEnvironment::setBundleIdentifier(std::string identifier) {
  options_->bundle.bundleIdentifier = std::move(identifier);
}

void HostEnvironment::setBundle(std::optional<std::string> version,
                                std::optional<std::string> displayName,
                                std::optional<std::string> shortVersion) {
  options_->bundle.hasInfoDictionary = true;
  options_->bundle.bundleVersion = std::move(version);
  options_->bundle.displayName = std::move(displayName);
  options_->bundle.shortVersion = std::move(shortVersion);
}

bool HostEnvironment::setDeviceFact(std::string_view field, std::optional<std::string> value) {
  if (field == "wifi") {
    if (value && value != "true" && value != "false") return false;
    options_->wifi = value ? std::optional(*value == "true") : std::nullopt;
    return true;
  }
  DeviceFacts probe;
  if (!overrideDeviceFact(probe, field, value)) return false;
  options_->deviceFacts.insert_or_assign(std::string(field), std::move(value));
  return true;
}

void HostEnvironment::addKnownClass(std::string name) {
  options_->knownClasses.push_back(std::move(name));
}

void HostEnvironment::setMainExecutor(std::function<void(std::function<void()>)> executor) {
  options_->mainExecutor = std::move(executor);
}

void HostEnvironment::setLogSink(std::function<void(std::string_view)> sink) {
  options_->logSink = std::move(sink);
}

void HostEnvironment::setAdvertisingIdentifierProvider(
    std::function<std::optional<AdvertisingIdentity>()> provider) {
  options_->advertisingIdentity = std::move(provider);
}

void HostEnvironment::setAdClientProvider(std::function<std::shared_ptr<AdClient>()> provider) {
  options_->adClient = std::move(provider);
}

void HostEnvironment::setCloudIdentityProvider(std::function<bool()> provider) {
  options_->hasCloudIdentity = std::move(provider);
}

}  // namespace quarnel
