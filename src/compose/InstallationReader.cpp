#include "compose/InstallationReader.h"

#include <algorithm>
#include <utility>

#include "installation/PersistedKeys.h"
#include "installation/StoredValues.h"
#include "util/Text.h"

namespace quarnel {

InstallationFacts InstallationReader::read(const Settings& settings, Date now) {
  InstallationFacts facts;
  facts.identifier = identity_.getQuarnelUID();
  facts.device = device_.currentDevice();
  facts.bundle = device_.mainBundle();
  facts.advertising = advertising(settings);
  warnOfCurrency(settings);
  readDates(facts, now);
  warnOfCustomData(settings);
  facts.hasWifi = hasWifi();
  facts.conversionData = defaults_.get(keys::kConversionData);
  facts.reinstallCounter = storedInteger(defaults_, keys::kReinstallCounter);
  facts.originalIdentifier = storedText(defaults_, keys::kOriginalUserId);
  warnOfEmails(settings);
  return facts;
}

Advertising InstallationReader::advertising(const Settings& settings) const {
  if (settings.disableAppleAdSupportTracking) return {};
  auto current = services_.advertisingIdentity();
  if (!current) return {};
  log_(kBuildOperation, "has advertiserId");
  return {std::move(current->identifier), current->trackingEnabled};
}

void InstallationReader::warnOfCurrency(const Settings& settings) const {
  const auto& code = settings.currencyCode;
  if (!log_.isEnabled() || !code || utf16CodeUnits(*code).size() == 3) return;
  log_(kBuildOperation, "Quarnel WARNING: currency code should be 3 characters!!! '", code,
       "' is not a legal value.");
}

void InstallationReader::readDates(InstallationFacts& facts, Date now) {
  const DateFormatter formatter = utils_.getDateFormatter();
  facts.installDate = dates_.getInstallDate(formatter);
  facts.temporaryDate = formatter.string(files_.modificationDate(files_.temporaryDirectory()));
  log_(kBuildOperation, "Looking for previous version date.");
  const auto version = facts.bundle.hasInfoDictionary ? facts.bundle.bundleVersion : std::nullopt;
  facts.versionDate = dates_.getVersionUpdateDate(version, facts.temporaryDate);
  log_(kBuildOperation, "date1= ", facts.installDate);
  log_(kBuildOperation, "date2= ", facts.temporaryDate);
  log_(kBuildOperation, "date3= ", facts.versionDate);
  facts.firstLaunchDate = dates_.getFirstLanuchDate(formatter, now);
}

void InstallationReader::warnOfCustomData(const Settings& settings) const {
  if (!log_.isEnabled() || !settings.customData || customDataText(settings)) return;
  log_(kBuildOperation, "customData is not valid json data");
}

// An "en0" with an IPv4 address counts as Wi-Fi, whether it is up or not.
bool InstallationReader::hasWifi() const {
  log_(kBuildOperation, "check network");
  const auto interfaces = interfaces_.list();
  return interfaces && std::any_of(interfaces->begin(), interfaces->end(), [](const auto& each) {
           return each.isIPv4 && !each.isLoopback && each.name == "en0";
         });
}

void InstallationReader::warnOfEmails(const Settings& settings) const {
  if (!log_.isEnabled()) return;
  for (std::size_t left = emailField(settings).unusable; left > 0; --left) {
    log_(kBuildOperation, "Warning:: Emails provided are not in the right format.");
  }
}

}  // namespace quarnel
