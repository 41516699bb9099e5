#include "SimulatedDevice.h"

namespace quarnel::testing {

SimulatedDevice::SimulatedDevice(const HostOptions& options) : bundle(options.bundle) {
  facts.name = "Living Room";
  facts.systemName = "tvOS";
  facts.systemVersion = "9.2";
  facts.model = "Apple TV";
  facts.localizedModel = "Apple TV";
  facts.hardwareMachine = "AppleTV5,3";
  facts.identifierForVendor = "0D0F1E4C-5A0B-4E62-9E0B-2F9C9F6C1D11";
  facts.preferredLanguages = {"en-US", "de-DE"};
  facts.countryCode = "US";
  for (const auto& [field, value] : options.deviceFacts) overrideDeviceFact(facts, field, value);
  setWifi(options.wifi.value_or(true));
  if (!bundle.bundleIdentifier) bundle.bundleIdentifier = "example.quarnel.simulated";
  if (bundle.hasInfoDictionary) return;
  bundle.hasInfoDictionary = true;
  bundle.bundleVersion = "42";
  bundle.displayName = "Simulated";
  bundle.shortVersion = "1.2";
}

void SimulatedDevice::setWifi(bool hasWifi) {
  interfaces = {{"lo0", true, true}};
  if (hasWifi) interfaces->push_back({"en0", true, false});
}

std::optional<AdvertisingIdentity> SimulatedHostServices::advertisingIdentity() const {
  return options_.advertisingIdentity ? options_.advertisingIdentity() : std::nullopt;
}

std::shared_ptr<AdClient> SimulatedHostServices::sharedAdClient() const {
  return options_.adClient ? options_.adClient() : nullptr;
}

bool SimulatedHostServices::classExists(std::string_view name) const {
  return std::find(options_.knownClasses.begin(), options_.knownClasses.end(), name) !=
         options_.knownClasses.end();
}

bool SimulatedHostServices::hasCloudIdentity() const {
  return options_.hasCloudIdentity && options_.hasCloudIdentity();
}

void SimulatedLog::write(std::string_view line) {
  dispatcher_.record(Journal::Kind::kLog, std::string(line));
  lines.push_back({std::string(line), dispatcher_.currentQueue()});
}

std::uint32_t SimulatedRandom::uniform(std::uint32_t bound) {
  bounds.push_back(bound);
  if (numbers.empty()) return 0;
  const std::uint32_t number = numbers.front();
  numbers.pop_front();
  return number % bound;
}

void SimulatedNotificationCenter::addObserver(std::string_view name, Observer observer) {
  observers_.emplace(std::string(name), std::move(observer));
}

void SimulatedNotificationCenter::post(std::string_view name, const Value& userInfo) {
  const auto [first, last] = observers_.equal_range(std::string(name));
  for (auto entry = first; entry != last; ++entry) entry->second(userInfo);
}

std::vector<std::string> SimulatedNotificationCenter::observedNames() const {
  std::vector<std::string> names;
  for (const auto& [name, observer] : observers_) names.push_back(name);
  return names;
}

}  // namespace quarnel::testing
