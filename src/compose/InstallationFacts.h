#pragma once

#include <QuarnelTvOsLib/Value.h>

#include <cstdint>
#include <optional>
#include <string>
#include <vector>

#include "compose/Report.h"
#include "platform/DeviceFacts.h"

namespace quarnel {

// The advertising identifier, empty without one.
struct Advertising {
  std::string identifier;
  bool isEnabled = false;
};

// What the installation and its device are at the moment of a report.
struct InstallationFacts {
  std::string identifier;
  DeviceFacts device;
  BundleFacts bundle;
  Advertising advertising;
  std::optional<std::string> installDate;    // date1
  std::optional<std::string> temporaryDate;  // date2
  std::optional<std::string> versionDate;    // date3
  std::string firstLaunchDate;
  bool hasWifi = false;
  std::optional<Value> conversionData;
  std::int64_t reinstallCounter = 0;
  std::optional<std::string> originalIdentifier;
};

// What a report carries of the user's e-mail addresses.
struct EmailField {
  std::string key;  // Empty: no field.
  std::string text;
  std::size_t unusable = 0;  // Elements that are no texts.
  bool isAbandoned = false;  // Elements, but no text among them: no report can be made.
};
EmailField emailField(const Settings& settings);

// The custom data as JSON; absent without any, and when it has no JSON form.
std::optional<std::string> customDataText(const Settings& settings);

// The fields that all reports of these facts and settings share. Pure.
CommonFields commonFields(const InstallationFacts& facts, const Settings& settings,
                          const AdAttribution& ads);

}  // namespace quarnel
