#include "compose/DeviceFields.h"

#include <algorithm>
#include <utility>

#include "platform/HostServices.h"
#include "platform/NetworkInterfaces.h"
#include "util/Text.h"

namespace quarnel {

void DeviceFields::addDevice(Report& report, const DeviceFacts& device) const {
  if (context_.state.get(&TrackerFields::shouldCollectDeviceName)) report.set("name", device.name);
  report.set("systemname", device.systemName);
  report.set("systemversion", device.systemVersion);
  report.set("model", device.model);
  report.set("localizedmodel", device.localizedModel);
  report.set("platform", identity_.getDevicePaltform());
  report.set("platformextension", context_.state.get(&TrackerFields::platfromDevName));
}

void DeviceFields::addAdvertising(Report& report) const {
  const TrackerFields fields = context_.state.snapshot();
  if (fields.deviceTrackingDisabled) report.set("deviceTrackingDisabled", true);

  AdvertisingIdentity identity;
  if (!fields.disableAppleAdSupportTracking) {
    if (auto current = context_.platform.advertisingIdentifier().current()) {
      identity = *std::move(current);
      context_.log(kBuildOperation, "has advertiserId");
    }
  }
  context_.state.set(&TrackerFields::advertiserId, std::optional(identity.identifier));
  report.set("advertiserId", identity.identifier);
  report.set("advertiserIdEnabled", identity.trackingEnabled);
}

void DeviceFields::addApplication(Report& report, const DeviceFacts& device,
                                  const BundleFacts& bundle) const {
  report.set("bundleIdentifier", bundle.bundleIdentifier);
  if (device.identifierForVendor) report.set("vendorId", device.identifierForVendor);
  addCurrency(report);
  if (!bundle.hasInfoDictionary) return;
  report.set("bundleversion", bundle.bundleVersion);
  report.set("bundlename", bundle.displayName);
  report.set("shortbundleversion", bundle.shortVersion);
}

void DeviceFields::addCurrency(Report& report) const {
  const std::optional<std::string> code = context_.state.get(&TrackerFields::currencyCode);
  if (!code) return;
  if (utf16CodeUnits(*code).size() != 3) {
    context_.log(kBuildOperation, "Quarnel WARNING: currency code should be 3 characters!!! '",
                 code, "' is not a legal value.");
  }
  report.set("currency", code);
}

void DeviceFields::addLocale(Report& report, const DeviceFacts& device) const {
  std::optional<std::string> language;
  if (!device.preferredLanguages.empty()) language = device.preferredLanguages.front();
  report.set("currentLanguage", language);
  report.set("currentCountrycode", device.countryCode);
  report.set("timestamp", fixed(secondsSince1970(context_.platform.clock().now()), 6));
}

bool DeviceFields::hasWifi() const {
  const auto interfaces = context_.platform.networkInterfaces().list();
  return interfaces && std::any_of(interfaces->begin(), interfaces->end(), [](const auto& each) {
           return each.isIPv4 && !each.isLoopback && each.name == "en0";
         });
}

}  // namespace quarnel
