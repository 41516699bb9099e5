#include <QuarnelTvOsLib/QuarnelTracker.h>

#include <future>
#include <mutex>
#include <utility>

#include "platform/Dispatcher.h"
#include "platform/PlatformFactory.h"
#include "tracker/TrackerGraph.h"
#include "util/Json.h"
#include "util/Text.h"

namespace quarnel {

QuarnelTracker::QuarnelTracker(Platform& platform, const ServiceConfiguration& services)
    : graph_(std::make_unique<Graph>(platform, services)) {}

QuarnelTracker::~QuarnelTracker() = default;

// --- Configuration ------------------------------------------------------------------------------

void QuarnelTracker::setQuarnelDevKey(std::optional<std::string> key) {
  if (isForkedChild()) return;
  graph_->state.set(&TrackerFields::quarnelDevKey, validUtf8(std::move(key)));
}

std::optional<std::string> QuarnelTracker::quarnelDevKey() const {
  if (isForkedChild()) return std::nullopt;
  return graph_->state.get(&TrackerFields::quarnelDevKey);
}

void QuarnelTracker::setAppleAppID(std::optional<std::string> appID) {
  if (isForkedChild()) return;
  graph_->state.set(&TrackerFields::appleAppID, validUtf8(std::move(appID)));
}

std::optional<std::string> QuarnelTracker::appleAppID() const {
  if (isForkedChild()) return std::nullopt;
  return graph_->state.get(&TrackerFields::appleAppID);
}

void QuarnelTracker::setCustomerUserID(std::optional<std::string> userID) {
  if (isForkedChild()) return;
  userID = validUtf8(std::move(userID));
  graph_->log("-[QuarnelTracker setCustomerUserID:]", "SetCustomerId = ", userID);
  graph_->state.set(&TrackerFields::customerUserID, std::move(userID));
}

std::optional<std::string> QuarnelTracker::customerUserID() const {
  if (isForkedChild()) return std::nullopt;
  return graph_->state.get(&TrackerFields::customerUserID);
}

void QuarnelTracker::setAdditionalData(std::optional<Dictionary> customData) {
  if (isForkedChild()) return;
  if (!customData) return;
  Value data(*std::move(customData));
  if (graph_->log.isEnabled()) {
    graph_->log("-[QuarnelTracker setAdditionalData:]", "setCustomData = ", describe(data));
  }
  graph_->state.set(&TrackerFields::customData, std::optional(std::move(data)));
}

std::optional<Dictionary> QuarnelTracker::customData() const {
  if (isForkedChild()) return std::nullopt;
  const std::optional<Value> data = graph_->state.get(&TrackerFields::customData);
  return data ? std::optional(*data->dictionary()) : std::nullopt;
}

void QuarnelTracker::setUserEmails(std::optional<Value::Array> emails, EmailCryptType cryptType) {
  if (isForkedChild()) return;
  std::optional<Value> stored;
  if (emails) stored = Value(*std::move(emails));
  graph_->state.with([&](TrackerFields& fields) {
    std::swap(fields.userEmails, stored);
    fields.emailCryptType = static_cast<std::int32_t>(cryptType);
  });
}

void QuarnelTracker::setCurrencyCode(std::optional<std::string> code) {
  if (isForkedChild()) return;
  graph_->state.set(&TrackerFields::currencyCode, validUtf8(std::move(code)));
}

std::optional<std::string> QuarnelTracker::currencyCode() const {
  if (isForkedChild()) return std::nullopt;
  return graph_->state.get(&TrackerFields::currencyCode);
}

void QuarnelTracker::setIsDebug(bool isDebug) {
  if (isForkedChild()) return;
  graph_->log.setEnabled(isDebug);
  graph_->log("-[QuarnelTracker setIsDebug:]",
              "* * * Quarnel is set to debug mode. This should only be used in development "
              "enviornment!!!! * * *");
}

bool QuarnelTracker::isDebug() const {
  if (isForkedChild()) return false;
  return graph_->log.isEnabled();
}

void QuarnelTracker::setShouldCollectDeviceName(bool collect) {
  if (isForkedChild()) return;
  graph_->log("-[QuarnelTracker setShouldCollectDeviceName:]",
              "setShouldCollectDeviceName is called with flag: ", collect ? "YES" : "NO");
  graph_->state.set(&TrackerFields::shouldCollectDeviceName, collect);
}

bool QuarnelTracker::shouldCollectDeviceName() const {
  if (isForkedChild()) return false;
  return graph_->state.get(&TrackerFields::shouldCollectDeviceName);
}

void QuarnelTracker::setDisableAppleAdSupportTracking(bool disable) {
  if (isForkedChild()) return;
  graph_->state.set(&TrackerFields::disableAppleAdSupportTracking, disable);
}

bool QuarnelTracker::disableAppleAdSupportTracking() const {
  if (isForkedChild()) return false;
  return graph_->state.get(&TrackerFields::disableAppleAdSupportTracking);
}

void QuarnelTracker::setDeviceTrackingDisabled(bool disabled) {
  if (isForkedChild()) return;
  graph_->state.set(&TrackerFields::deviceTrackingDisabled, disabled);
}

bool QuarnelTracker::deviceTrackingDisabled() const {
  if (isForkedChild()) return false;
  return graph_->state.get(&TrackerFields::deviceTrackingDisabled);
}

void QuarnelTracker::setDisableIAdTracking(bool disable) {
  if (isForkedChild()) return;
  graph_->state.set(&TrackerFields::disableIAdTracking, disable);
}

bool QuarnelTracker::disableIAdTracking() const {
  if (isForkedChild()) return false;
  return graph_->state.get(&TrackerFields::disableIAdTracking);
}

// The line is written whatever the new value.
void QuarnelTracker::setUseReceiptValidationSandbox(bool useSandbox) {
  if (isForkedChild()) return;
  graph_->state.set(&TrackerFields::useReceiptValidationSandbox, useSandbox);
  graph_->log("-[QuarnelTracker setUseReceiptValidationSandbox:]",
              "* * * Quarnel is set to verify in app purchases on Apple sandbox. This should only "
              "be used in development enviornment!!!! * * *");
}

bool QuarnelTracker::useReceiptValidationSandbox() const {
  if (isForkedChild()) return false;
  return graph_->state.get(&TrackerFields::useReceiptValidationSandbox);
}

void QuarnelTracker::setDelegate(QuarnelTrackerDelegate* delegate) {
  if (isForkedChild()) return;
  graph_->state.set(&TrackerFields::delegate, delegate);
}

QuarnelTrackerDelegate* QuarnelTracker::delegate() const {
  if (isForkedChild()) return nullptr;
  return graph_->state.get(&TrackerFields::delegate);
}

// --- Reports ------------------------------------------------------------------------------------

void QuarnelTracker::trackAppLaunch() {
  if (isForkedChild()) return;
  graph_->launches.trackAppLaunch();
}

void QuarnelTracker::trackEventWithValue(std::optional<std::string> eventName,
                                         std::optional<std::string> value) {
  if (isForkedChild()) return;
  graph_->events.trackEventWithValue(std::move(eventName), std::move(value));
}

void QuarnelTracker::trackEventWithValues(std::optional<std::string> eventName,
                                          std::optional<Dictionary> values) {
  if (isForkedChild()) return;
  graph_->events.trackEventWithValues(std::move(eventName), std::move(values));
}

void QuarnelTracker::trackLocation(double longitude, double latitude) {
  if (isForkedChild()) return;
  graph_->events.trackLocation(longitude, latitude);
}

// --- Links and pushes ---------------------------------------------------------------------------

void QuarnelTracker::handleOpenURL(std::optional<std::string> url,
                                   std::optional<std::string> sourceApplication) {
  if (isForkedChild()) return;
  graph_->links.handleOpenURL(std::move(url), std::move(sourceApplication), std::nullopt);
}

void QuarnelTracker::handleOpenURL(std::optional<std::string> url,
                                   std::optional<std::string> sourceApplication,
                                   std::optional<Dictionary> annotation) {
  if (isForkedChild()) return;
  graph_->links.handleOpenURL(std::move(url), std::move(sourceApplication), annotation);
}

void QuarnelTracker::continueUserActivity(const UserActivity& activity,
                                          const std::function<void()>& restorationHandler) {
  if (isForkedChild()) return;
  graph_->links.continueUserActivity(activity, static_cast<bool>(restorationHandler));
}

void QuarnelTracker::didUpdateUserActivity(const UserActivity& activity) {
  if (isForkedChild()) return;
  graph_->links.didUpdateUserActivity(activity);
}

void QuarnelTracker::handlePushNotification(const Dictionary& userInfo) {
  if (isForkedChild()) return;
  graph_->links.handlePushNotification(userInfo);
}

// --- Attribution --------------------------------------------------------------------------------

void QuarnelTracker::loadConversionDataWithDelegate(QuarnelTrackerDelegate* delegate) {
  if (isForkedChild()) return;
  graph_->conversionData.loadConversionDataWithDelegate(delegate);
}

void QuarnelTracker::validateAndTrackInAppPurchase(std::optional<std::string> productIdentifier,
                                                   Value price, std::optional<std::string> currency,
                                                   std::optional<std::string> transactionId,
                                                   std::optional<Dictionary> additionalParameters,
                                                   ValidationSuccess success,
                                                   ValidationFailure failure) {
  if (isForkedChild()) return;
  graph_->purchases.validateAndTrackInAppPurchase(
      std::move(productIdentifier), std::move(price), std::move(currency), std::move(transactionId),
      std::move(additionalParameters), std::move(success), std::move(failure));
}

void QuarnelTracker::onConversionDataReceived(const Dictionary& conversionData) {
  if (isForkedChild()) return;
  if (!graph_->log.isEnabled()) return;
  graph_->log("-[QuarnelTracker onConversionDataReceived:]", "Caching attribution. ",
              describe(conversionData));
}

void QuarnelTracker::onConversionDataRequestFailure(const Error& error) {
  if (isForkedChild()) return;
  graph_->log("-[QuarnelTracker onConversionDataRequestFailure:]",
              "did not load install data: ", error.description);
}

void QuarnelTracker::registerUninstall(Bytes deviceToken) {
  if (isForkedChild()) return;
  graph_->uninstalls.registerUninstall(std::move(deviceToken));
}

// --- Questions and control ----------------------------------------------------------------------

Diagnostics QuarnelTracker::diagnostics() const {
  if (isForkedChild()) return {};
  return graph_->diagnostics();
}

std::string QuarnelTracker::getQuarnelUID() {
  if (isForkedChild()) return {};
  return graph_->identity.getQuarnelUID();
}

void QuarnelTracker::startConnection(
    const std::function<void(std::function<void()> ended)>& start) {
  if (isForkedChild()) return;
  // The end is told once, by the connection or by the timer.
  struct End {
    std::promise<void> promise;
    std::once_flag once;
    void tell() {
      std::call_once(once, [this] { promise.set_value(); });
    }
  };
  constexpr std::chrono::seconds kLongestWait{1};
  const auto end = std::make_shared<End>();
  Dispatcher& dispatcher = graph_->context.platform.dispatcher();
  const auto timer = dispatcher.makeSerialQueue(graph_->services.shortVendorPrefix + ".sdk");
  timer->postAfter(kLongestWait, [end] { end->tell(); });
  start([end] { end->tell(); });
  end->promise.get_future().wait();
}

bool QuarnelTracker::drain(std::chrono::milliseconds timeout) {
  if (isForkedChild()) return true;
  return graph_->context.platform.drain(timeout);
}

}  // namespace quarnel
