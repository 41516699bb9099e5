// The one public entry point of the library.
//
//   auto& tracker = quarnel::QuarnelTracker::sharedTracker();
//   tracker.setQuarnelDevKey("my-developer-key");
//   tracker.setAppleAppID("123456789");
//   tracker.trackAppLaunch();
//   tracker.trackEventWithValues("purchase", quarnel::Dictionary{{"qn_revenue", 9.99}});
#pragma once

#include <QuarnelTvOsLib/Diagnostics.h>
#include <QuarnelTvOsLib/Error.h>
#include <QuarnelTvOsLib/Export.h>
#include <QuarnelTvOsLib/HostEnvironment.h>
#include <QuarnelTvOsLib/QuarnelTrackerDelegate.h>
#include <QuarnelTvOsLib/TrackerTypes.h>
#include <QuarnelTvOsLib/Value.h>
#include <QuarnelTvOsLib/Version.h>

#include <chrono>
#include <cstddef>
#include <functional>
#include <memory>
#include <optional>
#include <string>
#include <string_view>
#include <type_traits>

namespace quarnel {

class Platform;
struct ServiceConfiguration;
struct Settings;

// Reports launches and in-app events, and answers questions about the installation.
//
// Threads: every operation may be called from any thread, at any time, also from inside a callback.
// Reporting operations return at once: they touch neither disk nor network and never fail towards
// the caller; what goes wrong shows in the log when setIsDebug(true) was called. A report that
// cannot be delivered is kept on disk and sent again after the next delivery.
//
// Configuration: properties may be set at any time. A report uses the values of one moment: right
// after the call for an event with several values, 1 millisecond later for one with one value, 100
// milliseconds later for a launch. A report without a developer key is dropped.
//
// Processes: in a child that was forked after the first sharedTracker() every operation does
// nothing and answers with an absent value, false or an empty text.
//
// Text is UTF-8; bytes that are not are replaced by U+FFFD. Sizes are not limited, but what waits
// is: while 16,384 reports or 64 MiB of their values wait to be composed, further ones are rejected
// and counted (diagnostics().lost.tooManyWaiting).
class QUARNEL_EXPORT QuarnelTracker {
 public:
  // Hands in what only the host application knows. Call it before the first sharedTracker(); later
  // it changes nothing and returns false.
  static bool configureSharedTracker(const HostEnvironment& environment);

  // The one tracker of this process, made on first use and never destroyed. Thread-safe.
  static QuarnelTracker& sharedTracker();

  // A tracker of its own on the given platform, for tests; it must not outlive the platform.
  QuarnelTracker(Platform& platform, const ServiceConfiguration& services);
  ~QuarnelTracker();
  QuarnelTracker(const QuarnelTracker&) = delete;
  QuarnelTracker& operator=(const QuarnelTracker&) = delete;

  // --- Configuration ---------------------------------------------------------------------------

  // The developer key, issued by the service. Absent (the default): nothing is reported.
  void setQuarnelDevKey(std::optional<std::string> key);
  std::optional<std::string> quarnelDevKey() const;

  // The application's store identifier, digits only; anything else is logged and sent all the same.
  void setAppleAppID(std::optional<std::string> appID);
  std::optional<std::string> appleAppID() const;

  // The application's own identifier of its user, sent with every report. Default: absent.
  void setCustomerUserID(std::optional<std::string> userID);
  std::optional<std::string> customerUserID() const;

  // Additional data, sent with every report as JSON. An absent argument is ignored. Data that has
  // no JSON form (dates, bytes, non-finite numbers) is logged and not sent.
  void setAdditionalData(std::optional<Dictionary> customData);
  std::optional<Dictionary> customData() const;

  // The user's e-mail addresses, an array of texts, sent with every report in the form that the
  // crypt type says. With kNone only the last one is sent. A report is abandoned when the array
  // holds elements but no text. Default: none.
  void setUserEmails(std::optional<Value::Array> emails, EmailCryptType cryptType);

  // An ISO 4217 code of three letters; other lengths are logged and sent all the same.
  void setCurrencyCode(std::optional<std::string> code);
  std::optional<std::string> currencyCode() const;

  // Debug mode: every step is logged, personal data included. Default: off.
  void setIsDebug(bool isDebug);
  bool isDebug() const;

  // Whether reports carry the device's name. Default: on.
  void setShouldCollectDeviceName(bool collect);
  bool shouldCollectDeviceName() const;

  // Whether reports leave out the advertising identifier. Default: off.
  void setDisableAppleAdSupportTracking(bool disable);
  bool disableAppleAdSupportTracking() const;

  // Marks reports of users who do not want to be tracked. Default: off.
  void setDeviceTrackingDisabled(bool disabled);
  bool deviceTrackingDisabled() const;

  // Whether launches skip the question to the platform's ad client. Default: off.
  void setDisableIAdTracking(bool disable);
  bool disableIAdTracking() const;

  // Whether receipts are validated on the store's sandbox. Default: off.
  void setUseReceiptValidationSandbox(bool useSandbox);
  bool useReceiptValidationSandbox() const;

  // The application's callbacks, see QuarnelTrackerDelegate; nullptr (the default) for none. The
  // tracker shares the ownership until another delegate is set, and a call in progress does until
  // it returns. A plain pointer is not owned: for delegates that live as long as the process.
  void setDelegate(std::shared_ptr<QuarnelTrackerDelegate> delegate);
  void setDelegate(QuarnelTrackerDelegate* delegate);
  void setDelegate(std::nullptr_t);
  std::shared_ptr<QuarnelTrackerDelegate> delegate() const;

  // --- Reports ---------------------------------------------------------------------------------

  // Reports a launch, 100 milliseconds from now; nothing is sent when the application resigned
  // active 5 seconds ago or less. An ad client of the host's is asked on the calling thread, until
  // it has attributed the installation; its answer goes with the report, or sends it once more.
  void trackAppLaunch();

  // Reports an in-app event with one value. A value of digits, "-" and "." counts as revenue.
  void trackEventWithValue(std::optional<std::string> eventName, std::optional<std::string> value);

  // Reports an in-app event with several values, sent as JSON. Values that have no JSON form
  // (dates, bytes, non-finite numbers anywhere inside) leave the event without values.
  void trackEventWithValues(std::optional<std::string> eventName, std::optional<Dictionary> values);

  // The same with shorter names: trackEvent(name) and trackEvent(name, text) are
  // trackEventWithValue, without a value and with one; trackEvent(name, dictionary) is
  // trackEventWithValues, also with braces: trackEvent("rated", {{"stars", 5}}).
  void trackEvent(std::string_view eventName) {
    trackEventWithValue(std::string(eventName), std::nullopt);
  }
  void trackEvent(std::string_view eventName, const Dictionary& values) {
    trackEventWithValues(std::string(eventName), values);
  }
  // A template, so that braces are always a dictionary. There is no event with nullptr.
  template <typename Text, std::enable_if_t<std::is_convertible_v<const Text&, std::string_view> &&
                                                !std::is_null_pointer_v<Text>,
                                            int> = 0>
  void trackEvent(std::string_view eventName, const Text& value) {
    trackEventWithValue(std::string(eventName), std::string(std::string_view(value)));
  }

  // Reports where the device is, in degrees.
  void trackLocation(double longitude, double latitude);

  // --- Links and pushes ------------------------------------------------------------------------
  // Recorded, carried once by the next launch report, and then forgotten.

  // The application was opened with a URL. Of several before a launch, the first one counts.
  void handleOpenURL(std::optional<std::string> url, std::optional<std::string> sourceApplication);
  void handleOpenURL(std::optional<std::string> url, std::optional<std::string> sourceApplication,
                     std::optional<Dictionary> annotation);

  // The application continues an activity; a web page replaces any recorded link. The handler is
  // never called.
  void continueUserActivity(const UserActivity& activity,
                            const std::function<void()>& restorationHandler);

  // Logs the activity.
  void didUpdateUserActivity(const UserActivity& activity);

  // A push notification arrived; its "qn" entry replaces any recorded one, also by nothing.
  void handlePushNotification(const Dictionary& userInfo);

  // --- Attribution -----------------------------------------------------------------------------

  // Makes the delegate the tracker's, replacing any other, and asks for the installation's
  // conversion data, if the delegate has onConversionDataReceived. See QuarnelTrackerDelegate for
  // the threads. At most five requests that the service refuses are made per version of the
  // application. Needs developer key and app ID. A URL that cannot be made of them fails on the
  // calling thread, before this returns.
  // The delegate's ownership is as with setDelegate.
  void loadConversionDataWithDelegate(std::shared_ptr<QuarnelTrackerDelegate> delegate);
  void loadConversionDataWithDelegate(QuarnelTrackerDelegate* delegate);
  void loadConversionDataWithDelegate(std::nullptr_t);

  // Has the store receipt validated, calls `success` or `failure` once, from a thread of the
  // library, and then reports the event "qn_purchase" whatever came out. Nothing happens, but a log
  // line, without product or transaction identifier. The price is sent as it is given. Callbacks
  // may be empty. While 256 purchases wait, the service is not asked, and `failure` comes from the
  // calling thread.
  void validateAndTrackInAppPurchase(std::optional<std::string> productIdentifier, Value price,
                                     std::optional<std::string> currency,
                                     std::optional<std::string> transactionId,
                                     std::optional<Dictionary> additionalParameters,
                                     ValidationSuccess success, ValidationFailure failure);

  // Write what they are given to the log in debug mode. For hosts that let the tracker be the
  // delegate of its own conversion data.
  void onConversionDataReceived(const Dictionary& conversionData);
  void onConversionDataRequestFailure(const Error& error);

  // Registers the token of the platform's push service 3.5 seconds from now, if it is another one
  // than before. Needs a report built earlier in this run of the application. Failures are logged
  // and not retried.
  void registerUninstall(Bytes deviceToken);

  // --- Questions and control -------------------------------------------------------------------

  // The identifier of this installation, for example "1447545600000-4821337"; never empty. The
  // first call of an installation makes it and writes it to disk on the calling thread, and waits
  // half a second at most for the keyring of the desktop session; later ones read it from memory.
  // May be called before configuration.
  std::string getQuarnelUID();

  // What became of all reports so far, for an application that wants to prove that nothing was lost
  // or see what was; see Diagnostics. From any thread, without waiting for others; the first call
  // may read a small file. May be called before configuration.
  Diagnostics diagnostics() const;

  // Starts a prepared connection on the calling thread and waits there for its end, for one second
  // at most; after that it goes on by itself. `start` is called at once with the function that
  // tells the end, which may be called on any thread, also late or more than once. No report goes
  // this way.
  void startConnection(const std::function<void(std::function<void()> ended)>& start);

  // Waits until nothing that the tracker was told is queued, delayed or in flight, or the timeout
  // is over. True when all is done. For applications about to end. Not from a callback, and with a
  // main executor of the application's not from the thread that serves it.
  bool drain(std::chrono::milliseconds timeout);

 private:
  class Graph;

  template <typename Operation>
  auto perform(const Operation& operation) const;
  template <typename T>
  void set(T Settings::*member, T value);
  template <typename T>
  T setting(T Settings::*member) const;

  std::unique_ptr<Graph> graph_;
};

}  // namespace quarnel
