#include "objc/CoreTracker.h"

#include <QuarnelTvOsLib/QuarnelTracker.h>

#include <atomic>
#include <exception>
#include <mutex>
#include <utility>

#include "platform/apple/AppleLog.h"

namespace quarnel::objc {
namespace {

std::mutex environmentMutex;

// Leaked, as is all that may be used while the process ends.
HostEnvironment& environment() {
  static auto* const environment = new HostEnvironment;
  return *environment;
}

std::atomic<bool> isMade = false;

void complain(const char* operation, const char* why) noexcept try {
  if (!isMade || !CoreTracker::instance().flag(FlagProperty::kIsDebug)) return;
  AppleLog().write(std::string("Quarnel: ") + operation + " exception" + why);
} catch (...) {  // Nothing is left to say it with.
}

std::shared_ptr<QuarnelTrackerDelegate> delegateFrom(std::unique_ptr<Callbacks> callbacks) {
  if (!callbacks) return nullptr;
  auto delegate = std::make_shared<QuarnelTrackerDelegate>();
  delegate->onConversionDataReceived = std::move(callbacks->onConversionDataReceived);
  delegate->onConversionDataRequestFailure = std::move(callbacks->onConversionDataRequestFailure);
  delegate->onAppOpenAttribution = std::move(callbacks->onAppOpenAttribution);
  delegate->isPresent = std::move(callbacks->isPresent);
  return delegate;
}

UserActivity activityFrom(std::string type, Text webpage) {
  return {.activityType = std::move(type), .webpageURL = std::move(webpage)};
}

}  // namespace

void guarded(const char* operation, const std::function<void()>& function) noexcept {
  try {
    function();
  } catch (const std::exception& exception) {
    complain(operation, (std::string(": ") + exception.what()).c_str());
  } catch (...) {
    complain(operation, "");
  }
}

bool CoreTracker::setEndpointHost(Endpoint endpoint, std::string host) {
  const std::lock_guard lock(environmentMutex);
  if (isMade) return false;
  environment().setEndpointHost(endpoint, std::move(host));
  return true;
}

CoreTracker& CoreTracker::instance() {
  static CoreTracker* const instance = [] {
    const std::lock_guard lock(environmentMutex);
    QuarnelTracker::configureSharedTracker(environment());
    isMade = true;
    return new CoreTracker(QuarnelTracker::sharedTracker());
  }();
  return *instance;
}

void CoreTracker::setText(TextProperty property, Text text) {
  switch (property) {
    case TextProperty::kDevKey:
      return tracker_.setQuarnelDevKey(std::move(text));
    case TextProperty::kAppID:
      return tracker_.setAppleAppID(std::move(text));
    case TextProperty::kCustomerUserID:
      return tracker_.setCustomerUserID(std::move(text));
    case TextProperty::kCurrencyCode:
      return tracker_.setCurrencyCode(std::move(text));
  }
}

Text CoreTracker::text(TextProperty property) const {
  switch (property) {
    case TextProperty::kDevKey:
      return tracker_.quarnelDevKey();
    case TextProperty::kAppID:
      return tracker_.appleAppID();
    case TextProperty::kCustomerUserID:
      return tracker_.customerUserID();
    case TextProperty::kCurrencyCode:
      return tracker_.currencyCode();
  }
  return std::nullopt;
}

void CoreTracker::setFlag(FlagProperty property, bool flag) {
  switch (property) {
    case FlagProperty::kDisableAppleAdSupportTracking:
      return tracker_.setDisableAppleAdSupportTracking(flag);
    case FlagProperty::kIsDebug:
      return tracker_.setIsDebug(flag);
    case FlagProperty::kShouldCollectDeviceName:
      return tracker_.setShouldCollectDeviceName(flag);
    case FlagProperty::kDeviceTrackingDisabled:
      return tracker_.setDeviceTrackingDisabled(flag);
    case FlagProperty::kDisableIAdTracking:
      return tracker_.setDisableIAdTracking(flag);
    case FlagProperty::kUseReceiptValidationSandbox:
      return tracker_.setUseReceiptValidationSandbox(flag);
  }
}

bool CoreTracker::flag(FlagProperty property) const {
  switch (property) {
    case FlagProperty::kDisableAppleAdSupportTracking:
      return tracker_.disableAppleAdSupportTracking();
    case FlagProperty::kIsDebug:
      return tracker_.isDebug();
    case FlagProperty::kShouldCollectDeviceName:
      return tracker_.shouldCollectDeviceName();
    case FlagProperty::kDeviceTrackingDisabled:
      return tracker_.deviceTrackingDisabled();
    case FlagProperty::kDisableIAdTracking:
      return tracker_.disableIAdTracking();
    case FlagProperty::kUseReceiptValidationSandbox:
      return tracker_.useReceiptValidationSandbox();
  }
  return false;
}

void CoreTracker::setAdditionalData(std::optional<Dictionary> data) {
  tracker_.setAdditionalData(std::move(data));
}

std::optional<Dictionary> CoreTracker::customData() const { return tracker_.customData(); }

void CoreTracker::setUserEmails(std::optional<Value::Array> emails, std::int32_t cryptType) {
  tracker_.setUserEmails(std::move(emails), static_cast<EmailCryptType>(cryptType));
}

void CoreTracker::setDelegate(std::unique_ptr<Callbacks> callbacks) {
  tracker_.setDelegate(delegateFrom(std::move(callbacks)));
}

void CoreTracker::loadConversionData(std::unique_ptr<Callbacks> callbacks) {
  tracker_.loadConversionDataWithDelegate(delegateFrom(std::move(callbacks)));
}

void CoreTracker::trackAppLaunch() { tracker_.trackAppLaunch(); }

void CoreTracker::trackEventWithValue(Text name, Text value) {
  tracker_.trackEventWithValue(std::move(name), std::move(value));
}

void CoreTracker::trackEventWithValues(Text name, std::optional<Dictionary> values) {
  tracker_.trackEventWithValues(std::move(name), std::move(values));
}

void CoreTracker::trackLocation(double longitude, double latitude) {
  tracker_.trackLocation(longitude, latitude);
}

void CoreTracker::handleOpenURL(Text url, Text sourceApplication,
                                std::optional<Dictionary> annotation) {
  tracker_.handleOpenURL(std::move(url), std::move(sourceApplication), std::move(annotation));
}

void CoreTracker::continueUserActivity(std::string type, Text webpage, bool hasRestorationHandler) {
  const std::function<void()> neverCalled = [] {};
  tracker_.continueUserActivity(activityFrom(std::move(type), std::move(webpage)),
                                hasRestorationHandler ? neverCalled : nullptr);
}

void CoreTracker::didUpdateUserActivity(std::string type, Text webpage) {
  tracker_.didUpdateUserActivity(activityFrom(std::move(type), std::move(webpage)));
}

void CoreTracker::handlePushNotification(const Dictionary& userInfo) {
  tracker_.handlePushNotification(userInfo);
}

void CoreTracker::validate(Purchase purchase) {
  tracker_.validateAndTrackInAppPurchase(std::move(purchase.productIdentifier),
                                         std::move(purchase.price), std::move(purchase.currency),
                                         std::move(purchase.transactionId),
                                         std::move(purchase.additionalParameters),
                                         std::move(purchase.success), std::move(purchase.failure));
}

void CoreTracker::onConversionDataReceived(const Dictionary& conversionData) {
  tracker_.onConversionDataReceived(conversionData);
}

void CoreTracker::onConversionDataRequestFailure(const Error& error) {
  tracker_.onConversionDataRequestFailure(error);
}

void CoreTracker::registerUninstall(Bytes deviceToken) {
  tracker_.registerUninstall(std::move(deviceToken));
}

std::string CoreTracker::getQuarnelUID() { return tracker_.getQuarnelUID(); }

Diagnostics CoreTracker::diagnostics() const { return tracker_.diagnostics(); }

bool CoreTracker::drain(std::chrono::milliseconds timeout) { return tracker_.drain(timeout); }

}  // namespace quarnel::objc
