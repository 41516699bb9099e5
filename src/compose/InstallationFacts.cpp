#include "compose/InstallationFacts.h"

#include <QuarnelTvOsLib/TrackerTypes.h>

#include <utility>

#include "installation/DeviceIdentity.h"
#include "util/Json.h"
#include "util/JsonFields.h"
#include "util/QuarnelUtils.h"
#include "util/Text.h"
#include "util/Version.h"

namespace quarnel {
namespace {

// Counted in UTF-16 code units, of which any four bytes of text make at least two.
bool hasSeveralCharacters(const std::string& text) {
  return text.size() >= 4 || utf16CodeUnits(text).size() > 1;
}

std::string deviceFields(const DeviceFacts& device, const Settings& settings) {
  JsonFields fields;
  if (settings.shouldCollectDeviceName) fields.set("name", device.name);
  fields.set("systemname", device.systemName);
  fields.set("systemversion", device.systemVersion);
  fields.set("model", device.model);
  fields.set("localizedmodel", device.localizedModel);
  fields.set("platform", DeviceIdentity::getDevicePaltform(device.hardwareMachine));
  fields.set("platformextension", settings.platfromDevName);
  return fields.take();
}

std::string applicationFields(const InstallationFacts& facts, const Settings& settings) {
  JsonFields fields;
  if (settings.deviceTrackingDisabled) fields.set("deviceTrackingDisabled", true);
  fields.set("advertiserId", facts.advertising.identifier);
  fields.set("advertiserIdEnabled", facts.advertising.isEnabled);
  fields.set("bundleIdentifier", facts.bundle.bundleIdentifier);
  if (facts.device.identifierForVendor) fields.set("vendorId", facts.device.identifierForVendor);
  if (settings.currencyCode) fields.set("currency", settings.currencyCode);
  if (facts.bundle.hasInfoDictionary) {
    fields.set("bundleversion", facts.bundle.bundleVersion);
    fields.set("bundlename", facts.bundle.displayName);
    fields.set("shortbundleversion", facts.bundle.shortVersion);
  }
  fields.set("date1", facts.installDate);
  fields.set("date2", facts.temporaryDate);
  fields.set("date3", facts.versionDate);
  fields.set("firstLaunchDate", facts.firstLaunchDate);
  const auto& languages = facts.device.preferredLanguages;
  fields.set("currentLanguage", languages.empty() ? std::nullopt : std::optional(languages[0]));
  fields.set("currentCountrycode", facts.device.countryCode);
  return fields.take();
}

std::string userFields(const Settings& settings) {
  JsonFields fields;
  if (settings.customerUserID) fields.set("appUID", settings.customerUserID);
  if (const auto json = customDataText(settings)) fields.set("customData", json);
  return fields.take();
}

void addAds(JsonFields& fields, const AdAttribution& ads) {
  if (ads.isAttributed) {
    fields.set("qn_iadattribution", *ads.isAttributed ? "true" : "false");
    if (ads.purchaseDate) fields.set("qn_iad_purchase_date", ads.purchaseDate);
    if (ads.impressionDate) fields.set("qn_iad_impression_date", ads.impressionDate);
  }
  if (!ads.details) return;
  if (const auto json = writeJson(*ads.details)) fields.set("qn_iad_v3_data", json);
}

std::string attributionFields(const InstallationFacts& facts, const Settings& settings,
                              const AdAttribution& ads) {
  JsonFields fields;
  fields.set("wifi", facts.hasWifi);
  // A stored value without a JSON form is none of ours.
  if (facts.conversionData) fields.setValue("installAttribution", *facts.conversionData);
  addAds(fields, ads);
  if (facts.reinstallCounter > 0) fields.set("reinstallCounter", facts.reinstallCounter);
  if (facts.originalIdentifier) fields.set("originalQuarnelId", facts.originalIdentifier);
  const EmailField emails = emailField(settings);
  if (!emails.key.empty()) fields.set(emails.key, emails.text);
  return fields.take();
}

}  // namespace

EmailField emailField(const Settings& settings) {
  EmailField field;
  if (!settings.userEmails || settings.userEmails->array()->empty()) return field;
  for (const Value& email : *settings.userEmails->array()) {
    // The comma depends on the text, not on whether an address was added before.
    if (hasSeveralCharacters(field.text)) field.text += ',';
    if (email.text() == nullptr) {
      ++field.unusable;
      continue;
    }
    // The keys are sent as they stand, their "=%@" included.
    switch (static_cast<EmailCryptType>(settings.emailCryptType)) {
      case EmailCryptType::kNone:
        field.key = "plain_el_arr=%@";
        field.text = *email.text();  // Of plain addresses only the last one is sent.
        break;
      case EmailCryptType::kMd5:
        field.key = "md5_el_arr=%@";
        field.text += QuarnelUtils::md5(*email.text());
        break;
      default:
        field.key = "sha1_el_arr=%@";
        field.text += QuarnelUtils::sha1(*email.text());
    }
  }
  field.isAbandoned = field.key.empty();
  return field;
}

std::optional<std::string> customDataText(const Settings& settings) {
  return settings.customData ? writeJson(*settings.customData) : std::nullopt;
}

CommonFields commonFields(const InstallationFacts& facts, const Settings& settings,
                          const AdAttribution& ads) {
  JsonFields identity;
  identity.set("uid", facts.identifier);
  identity.set("serverApiVersion", kServerApiVersion);
  return {identity.take(), deviceFields(facts.device, settings), applicationFields(facts, settings),
          userFields(settings), attributionFields(facts, settings, ads)};
}

}  // namespace quarnel
