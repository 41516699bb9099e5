// The fields of a report that tell of the device and the application.
#pragma once

#include <optional>
#include <string>

#include "compose/Report.h"
#include "compose/TrackerContext.h"
#include "installation/DeviceIdentity.h"
#include "platform/DeviceFacts.h"

namespace quarnel {

class DeviceFields {
 public:
  DeviceFields(const TrackerContext& context, DeviceIdentity& identity)
      : context_(context), identity_(identity) {}

  // "name" to "platformextension".
  void addDevice(Report& report, const DeviceFacts& device) const;

  // "deviceTrackingDisabled" to "advertiserIdEnabled"; remembers the advertising identifier.
  void addAdvertising(Report& report) const;

  // "bundleIdentifier" to "shortbundleversion".
  void addApplication(Report& report, const DeviceFacts& device, const BundleFacts& bundle) const;

  // "currentLanguage" to "timestamp".
  void addLocale(Report& report, const DeviceFacts& device) const;

  // An "en0" with an IPv4 address counts as Wi-Fi, whether it is up or not.
  bool hasWifi() const;

 private:
  void addCurrency(Report& report) const;

  const TrackerContext& context_;
  DeviceIdentity& identity_;
};

}  // namespace quarnel
