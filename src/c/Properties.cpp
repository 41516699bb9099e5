// The tracker's configuration in C.
#include <utility>

#include "c/Handles.h"
#include "util/Json.h"

using namespace quarnel::c;  // NOLINT(google-build-using-namespace)
using quarnel::QuarnelTracker;

namespace {

quarnel_status setText(quarnel_tracker* tracker,
                       void (QuarnelTracker::*setter)(std::optional<std::string>),
                       const char* text) noexcept {
  return guarded([&] { (trackerOf(tracker).*setter)(optionalText(text)); });
}

char* getText(const quarnel_tracker* tracker,
              std::optional<std::string> (QuarnelTracker::*getter)() const) noexcept {
  return guardedResult<char*>(nullptr, [&] { return ownedText((trackerOf(tracker).*getter)()); });
}

quarnel_status setFlag(quarnel_tracker* tracker, void (QuarnelTracker::*setter)(bool),
                       bool flag) noexcept {
  return guarded([&] { (trackerOf(tracker).*setter)(flag); });
}

bool getFlag(const quarnel_tracker* tracker, bool (QuarnelTracker::*getter)() const) noexcept {
  return guardedResult(false, [&] { return (trackerOf(tracker).*getter)(); });
}

}  // namespace

quarnel_status quarnel_tracker_set_quarnel_dev_key(quarnel_tracker* tracker, const char* key) {
  return setText(tracker, &QuarnelTracker::setQuarnelDevKey, key);
}
char* quarnel_tracker_quarnel_dev_key(const quarnel_tracker* tracker) {
  return getText(tracker, &QuarnelTracker::quarnelDevKey);
}

quarnel_status quarnel_tracker_set_apple_app_id(quarnel_tracker* tracker, const char* app_id) {
  return setText(tracker, &QuarnelTracker::setAppleAppID, app_id);
}
char* quarnel_tracker_apple_app_id(const quarnel_tracker* tracker) {
  return getText(tracker, &QuarnelTracker::appleAppID);
}

quarnel_status quarnel_tracker_set_customer_user_id(quarnel_tracker* tracker, const char* user_id) {
  return setText(tracker, &QuarnelTracker::setCustomerUserID, user_id);
}
char* quarnel_tracker_customer_user_id(const quarnel_tracker* tracker) {
  return getText(tracker, &QuarnelTracker::customerUserID);
}

quarnel_status quarnel_tracker_set_currency_code(quarnel_tracker* tracker, const char* code) {
  return setText(tracker, &QuarnelTracker::setCurrencyCode, code);
}
char* quarnel_tracker_currency_code(const quarnel_tracker* tracker) {
  return getText(tracker, &QuarnelTracker::currencyCode);
}

quarnel_status quarnel_tracker_set_additional_data(quarnel_tracker* tracker,
                                                   const char* custom_data) {
  return guarded([&] {
    trackerOf(tracker).setAdditionalData(optionalDictionary(custom_data, "custom_data"));
  });
}
char* quarnel_tracker_custom_data(const quarnel_tracker* tracker) {
  return guardedResult<char*>(nullptr, [&]() -> char* {
    auto data = trackerOf(tracker).customData();
    return data ? ownedText(quarnel::writeTaggedJson(*std::move(data))) : nullptr;
  });
}

quarnel_status quarnel_tracker_set_user_emails(quarnel_tracker* tracker, const char* emails,
                                               int32_t crypt_type) {
  return guarded([&] {
    trackerOf(tracker).setUserEmails(optionalArray(emails, "emails"),
                                     static_cast<quarnel::EmailCryptType>(crypt_type));
  });
}

quarnel_status quarnel_tracker_set_is_debug(quarnel_tracker* tracker, bool is_debug) {
  return setFlag(tracker, &QuarnelTracker::setIsDebug, is_debug);
}
bool quarnel_tracker_is_debug(const quarnel_tracker* tracker) {
  return getFlag(tracker, &QuarnelTracker::isDebug);
}

quarnel_status quarnel_tracker_set_should_collect_device_name(quarnel_tracker* tracker,
                                                              bool collect) {
  return setFlag(tracker, &QuarnelTracker::setShouldCollectDeviceName, collect);
}
bool quarnel_tracker_should_collect_device_name(const quarnel_tracker* tracker) {
  return getFlag(tracker, &QuarnelTracker::shouldCollectDeviceName);
}

quarnel_status quarnel_tracker_set_disable_apple_ad_support_tracking(quarnel_tracker* tracker,
                                                                     bool disable) {
  return setFlag(tracker, &QuarnelTracker::setDisableAppleAdSupportTracking, disable);
}
bool quarnel_tracker_disable_apple_ad_support_tracking(const quarnel_tracker* tracker) {
  return getFlag(tracker, &QuarnelTracker::disableAppleAdSupportTracking);
}

quarnel_status quarnel_tracker_set_device_tracking_disabled(quarnel_tracker* tracker,
                                                            bool disabled) {
  return setFlag(tracker, &QuarnelTracker::setDeviceTrackingDisabled, disabled);
}
bool quarnel_tracker_device_tracking_disabled(const quarnel_tracker* tracker) {
  return getFlag(tracker, &QuarnelTracker::deviceTrackingDisabled);
}

quarnel_status quarnel_tracker_set_disable_iad_tracking(quarnel_tracker* tracker, bool disable) {
  return setFlag(tracker, &QuarnelTracker::setDisableIAdTracking, disable);
}
bool quarnel_tracker_disable_iad_tracking(const quarnel_tracker* tracker) {
  return getFlag(tracker, &QuarnelTracker::disableIAdTracking);
}

quarnel_status quarnel_tracker_set_use_receipt_validation_sandbox(quarnel_tracker* tracker,
                                                                  bool use_sandbox) {
  return setFlag(tracker, &QuarnelTracker::setUseReceiptValidationSandbox, use_sandbox);
}
bool quarnel_tracker_use_receipt_validation_sandbox(const quarnel_tracker* tracker) {
  return getFlag(tracker, &QuarnelTracker::useReceiptValidationSandbox);
}
