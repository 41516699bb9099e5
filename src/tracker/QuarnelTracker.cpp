#include <QuarnelTvOsLib/QuarnelTracker.h>

#include <future>
#include <mutex>
#include <type_traits>
#include <utility>

#include "platform/Dispatcher.h"
#include "platform/PlatformFactory.h"
#include "tracker/TrackerGraph.h"
#include "util/Json.h"
#include "util/Text.h"

namespace quarnel {
namespace {

// A delegate that the application owns and keeps alive.
std::shared_ptr<QuarnelTrackerDelegate> unowned(QuarnelTrackerDelegate* delegate) {
  return {std::shared_ptr<void>(), delegate};
}

}  // namespace

QuarnelTracker::QuarnelTracker(Platform& platform, const ServiceConfiguration& services)
    : graph_(std::make_unique<Graph>(platform, services)) {}

QuarnelTracker::~QuarnelTracker() = default;

// Every operation passes through here. In a forked child, where the graph must not be used, it does
// nothing and answers with an absent value, false, 0 or an empty text.
template <typename Operation>
auto QuarnelTracker::perform(const Operation& operation) const {
  using Result = std::invoke_result_t<const Operation&, Graph&>;
  if constexpr (std::is_void_v<Result>) {
    if (!isForkedChild()) operation(*graph_);
  } else {
    return isForkedChild() ? Result() : operation(*graph_);
  }
}

template <typename T>
void QuarnelTracker::set(T Settings::*member, T value) {
  perform([&](Graph& graph) {
    graph.state.changeSettings([&](Settings& settings) { settings.*member = std::move(value); });
  });
}

template <typename T>
T QuarnelTracker::setting(T Settings::*member) const {
  return perform([&](Graph& graph) { return (*graph.state.settings()).*member; });
}

// --- Configuration ------------------------------------------------------------------------------

void QuarnelTracker::setQuarnelDevKey(std::optional<std::string> key) {
  set(&Settings::quarnelDevKey, validUtf8(std::move(key)));
}
std::optional<std::string> QuarnelTracker::quarnelDevKey() const {
  return setting(&Settings::quarnelDevKey);
}

void QuarnelTracker::setAppleAppID(std::optional<std::string> appID) {
  set(&Settings::appleAppID, validUtf8(std::move(appID)));
}
std::optional<std::string> QuarnelTracker::appleAppID() const {
  return setting(&Settings::appleAppID);
}

void QuarnelTracker::setCustomerUserID(std::optional<std::string> userID) {
  userID = validUtf8(std::move(userID));
  perform([&](Graph& graph) {
    graph.log("-[QuarnelTracker setCustomerUserID:]", "SetCustomerId = ", userID);
  });
  set(&Settings::customerUserID, std::move(userID));
}
std::optional<std::string> QuarnelTracker::customerUserID() const {
  return setting(&Settings::customerUserID);
}

void QuarnelTracker::setAdditionalData(std::optional<Dictionary> customData) {
  if (!customData) return;
  Value data(*std::move(customData));
  perform([&](Graph& graph) {
    if (!graph.log.isEnabled()) return;
    graph.log("-[QuarnelTracker setAdditionalData:]", "setCustomData = ", describe(data));
  });
  set(&Settings::customData, std::optional(std::move(data)));
}
std::optional<Dictionary> QuarnelTracker::customData() const {
  const std::optional<Value> data = setting(&Settings::customData);
  return data ? std::optional(*data->dictionary()) : std::nullopt;
}

void QuarnelTracker::setUserEmails(std::optional<Value::Array> emails, EmailCryptType cryptType) {
  std::optional<Value> stored;
  if (emails) stored = Value(*std::move(emails));
  perform([&](Graph& graph) {
    graph.state.changeSettings([&](Settings& settings) {
      settings.userEmails = stored;
      settings.emailCryptType = static_cast<std::int32_t>(cryptType);
    });
  });
}

void QuarnelTracker::setCurrencyCode(std::optional<std::string> code) {
  set(&Settings::currencyCode, validUtf8(std::move(code)));
}
std::optional<std::string> QuarnelTracker::currencyCode() const {
  return setting(&Settings::currencyCode);
}

void QuarnelTracker::setIsDebug(bool isDebug) {
  perform([&](Graph& graph) {
    graph.log.setEnabled(isDebug);
    graph.platform.setDebugMode(isDebug);
    graph.log("-[QuarnelTracker setIsDebug:]",
              "* * * Quarnel is set to debug mode. This should only be used in development "
              "enviornment!!!! * * *");
  });
}
bool QuarnelTracker::isDebug() const {
  return perform([](Graph& graph) { return graph.log.isEnabled(); });
}

void QuarnelTracker::setShouldCollectDeviceName(bool collect) {
  perform([&](Graph& graph) {
    graph.log("-[QuarnelTracker setShouldCollectDeviceName:]",
              "setShouldCollectDeviceName is called with flag: ", collect ? "YES" : "NO");
  });
  set(&Settings::shouldCollectDeviceName, collect);
}
bool QuarnelTracker::shouldCollectDeviceName() const {
  return setting(&Settings::shouldCollectDeviceName);
}

void QuarnelTracker::setDisableAppleAdSupportTracking(bool disable) {
  set(&Settings::disableAppleAdSupportTracking, disable);
}
bool QuarnelTracker::disableAppleAdSupportTracking() const {
  return setting(&Settings::disableAppleAdSupportTracking);
}

void QuarnelTracker::setDeviceTrackingDisabled(bool disabled) {
  set(&Settings::deviceTrackingDisabled, disabled);
}
bool QuarnelTracker::deviceTrackingDisabled() const {
  return setting(&Settings::deviceTrackingDisabled);
}

void QuarnelTracker::setDisableIAdTracking(bool disable) {
  set(&Settings::disableIAdTracking, disable);
}
bool QuarnelTracker::disableIAdTracking() const { return setting(&Settings::disableIAdTracking); }

// The line is written whatever the new value.
void QuarnelTracker::setUseReceiptValidationSandbox(bool useSandbox) {
  set(&Settings::useReceiptValidationSandbox, useSandbox);
  perform([](Graph& graph) {
    graph.log("-[QuarnelTracker setUseReceiptValidationSandbox:]",
              "* * * Quarnel is set to verify in app purchases on Apple sandbox. This should only "
              "be used in development enviornment!!!! * * *");
  });
}
bool QuarnelTracker::useReceiptValidationSandbox() const {
  return setting(&Settings::useReceiptValidationSandbox);
}

void QuarnelTracker::setDelegate(std::shared_ptr<QuarnelTrackerDelegate> delegate) {
  perform([&](Graph& graph) { graph.delegate.set(std::move(delegate)); });
}
void QuarnelTracker::setDelegate(QuarnelTrackerDelegate* delegate) {
  setDelegate(unowned(delegate));
}
void QuarnelTracker::setDelegate(std::nullptr_t) {
  setDelegate(std::shared_ptr<QuarnelTrackerDelegate>());
}
std::shared_ptr<QuarnelTrackerDelegate> QuarnelTracker::delegate() const {
  return perform([](Graph& graph) { return graph.delegate.get(); });
}

// --- Reports ------------------------------------------------------------------------------------

void QuarnelTracker::trackAppLaunch() {
  perform([&](Graph& graph) { graph.launches.trackAppLaunch(); });
}

void QuarnelTracker::trackEventWithValue(std::optional<std::string> eventName,
                                         std::optional<std::string> value) {
  perform([&](Graph& graph) {
    graph.events.trackEventWithValue(std::move(eventName), std::move(value));
  });
}

void QuarnelTracker::trackEventWithValues(std::optional<std::string> eventName,
                                          std::optional<Dictionary> values) {
  perform([&](Graph& graph) {
    graph.events.trackEventWithValues(std::move(eventName), std::move(values));
  });
}

void QuarnelTracker::trackLocation(double longitude, double latitude) {
  perform([&](Graph& graph) { graph.events.trackLocation(longitude, latitude); });
}

// --- Links and pushes ---------------------------------------------------------------------------

void QuarnelTracker::handleOpenURL(std::optional<std::string> url,
                                   std::optional<std::string> sourceApplication) {
  perform([&](Graph& graph) {
    graph.links.handleOpenURL(std::move(url), std::move(sourceApplication), std::nullopt);
  });
}

void QuarnelTracker::handleOpenURL(std::optional<std::string> url,
                                   std::optional<std::string> sourceApplication,
                                   std::optional<Dictionary> annotation) {
  perform([&](Graph& graph) {
    graph.links.handleOpenURL(std::move(url), std::move(sourceApplication), annotation);
  });
}

void QuarnelTracker::continueUserActivity(const UserActivity& activity,
                                          const std::function<void()>& restorationHandler) {
  perform([&](Graph& graph) {
    graph.links.continueUserActivity(activity, static_cast<bool>(restorationHandler));
  });
}

void QuarnelTracker::didUpdateUserActivity(const UserActivity& activity) {
  perform([&](Graph& graph) { graph.links.didUpdateUserActivity(activity); });
}

void QuarnelTracker::handlePushNotification(const Dictionary& userInfo) {
  perform([&](Graph& graph) { graph.links.handlePushNotification(userInfo); });
}

// --- Attribution --------------------------------------------------------------------------------

void QuarnelTracker::loadConversionDataWithDelegate(
    std::shared_ptr<QuarnelTrackerDelegate> delegate) {
  perform([&](Graph& graph) {
    graph.conversionData.loadConversionDataWithDelegate(std::move(delegate));
  });
}
void QuarnelTracker::loadConversionDataWithDelegate(QuarnelTrackerDelegate* delegate) {
  loadConversionDataWithDelegate(unowned(delegate));
}
void QuarnelTracker::loadConversionDataWithDelegate(std::nullptr_t) {
  loadConversionDataWithDelegate(std::shared_ptr<QuarnelTrackerDelegate>());
}

void QuarnelTracker::validateAndTrackInAppPurchase(std::optional<std::string> productIdentifier,
                                                   Value price, std::optional<std::string> currency,
                                                   std::optional<std::string> transactionId,
                                                   std::optional<Dictionary> additionalParameters,
                                                   ValidationSuccess success,
                                                   ValidationFailure failure) {
  perform([&](Graph& graph) {
    graph.purchases.validateAndTrackInAppPurchase(std::move(productIdentifier), std::move(price),
                                                  std::move(currency), std::move(transactionId),
                                                  std::move(additionalParameters),
                                                  std::move(success), std::move(failure));
  });
}

void QuarnelTracker::onConversionDataReceived(const Dictionary& conversionData) {
  perform([&](Graph& graph) {
    if (!graph.log.isEnabled()) return;
    graph.log("-[QuarnelTracker onConversionDataReceived:]", "Caching attribution. ",
              describe(conversionData));
  });
}

void QuarnelTracker::onConversionDataRequestFailure(const Error& error) {
  perform([&](Graph& graph) {
    graph.log("-[QuarnelTracker onConversionDataRequestFailure:]",
              "did not load install data: ", error.description);
  });
}

void QuarnelTracker::registerUninstall(Bytes deviceToken) {
  perform([&](Graph& graph) { graph.uninstalls.registerUninstall(std::move(deviceToken)); });
}

// --- Questions and control ----------------------------------------------------------------------

Diagnostics QuarnelTracker::diagnostics() const {
  return perform([](Graph& graph) { return graph.diagnostics(); });
}

std::string QuarnelTracker::getQuarnelUID() {
  return perform([](Graph& graph) { return graph.identity.getQuarnelUID(); });
}

void QuarnelTracker::startConnection(
    const std::function<void(std::function<void()> ended)>& start) {
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
  perform([&](Graph& graph) {
    Dispatcher& dispatcher = graph.platform.dispatcher();
    const auto timer = dispatcher.makeSerialQueue(graph.services.shortVendorPrefix + ".sdk");
    timer->postAfter(kLongestWait, [end] { end->tell(); });
    start([end] { end->tell(); });
    end->promise.get_future().wait();
  });
}

bool QuarnelTracker::drain(std::chrono::milliseconds timeout) {
  return isForkedChild() || graph_->platform.drain(timeout);
}

}  // namespace quarnel
