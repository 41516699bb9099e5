// The tracker as the Objective-C sources see it. They cannot include its own headers, whose names
// are those of the Objective-C ones.
#pragma once

#include <QuarnelTvOsLib/AdClient.h>
#include <QuarnelTvOsLib/Diagnostics.h>
#include <QuarnelTvOsLib/Error.h>
#include <QuarnelTvOsLib/HostEnvironment.h>
#include <QuarnelTvOsLib/Value.h>

#include <chrono>
#include <cstdint>
#include <functional>
#include <memory>
#include <optional>
#include <string>

namespace quarnel {

class QuarnelTracker;

namespace objc {

using Text = std::optional<std::string>;

enum class TextProperty { kDevKey, kAppID, kCustomerUserID, kCurrencyCode };
enum class FlagProperty {
  kDisableAppleAdSupportTracking,
  kIsDebug,
  kShouldCollectDeviceName,
  kDeviceTrackingDisabled,
  kDisableIAdTracking,
  kUseReceiptValidationSandbox,
};

// A delegate's operations; an empty one is not responded to.
struct Callbacks {
  std::function<void(const Dictionary&)> onConversionDataReceived;
  std::function<void(const Error&)> onConversionDataRequestFailure;
  std::function<void(const Dictionary&)> onAppOpenAttribution;
  std::function<bool()> isPresent;
};

struct Purchase {
  Text productIdentifier;
  Value price;
  Text currency;
  Text transactionId;
  std::optional<Dictionary> additionalParameters;
  std::function<void(const Dictionary&)> success;
  std::function<void(const std::optional<Error>&, const std::optional<Value>&)> failure;
};

// Runs the function; what leaves it ends here, with a line in the log in debug mode. Objective-C
// calls nothing that throws except through this.
void guarded(const char* operation, const std::function<void()>& function) noexcept;

// The operations of the shared tracker, which the first of them makes.
class CoreTracker {
 public:
  // Before the first instance(); false later.
  static bool setEndpointHost(Endpoint endpoint, std::string host);
  static CoreTracker& instance();

  void setText(TextProperty property, Text text);
  Text text(TextProperty property) const;
  void setFlag(FlagProperty property, bool flag);
  bool flag(FlagProperty property) const;
  void setAdditionalData(std::optional<Dictionary> data);
  std::optional<Dictionary> customData() const;
  void setUserEmails(std::optional<Value::Array> emails, std::int32_t cryptType);
  // An empty pointer for none.
  void setDelegate(std::unique_ptr<Callbacks> callbacks);
  void loadConversionData(std::unique_ptr<Callbacks> callbacks);

  void trackAppLaunch();
  void trackEventWithValue(Text name, Text value);
  void trackEventWithValues(Text name, std::optional<Dictionary> values);
  void trackLocation(double longitude, double latitude);

  void handleOpenURL(Text url, Text sourceApplication, std::optional<Dictionary> annotation);
  void continueUserActivity(std::string type, Text webpage, bool hasRestorationHandler);
  void didUpdateUserActivity(std::string type, Text webpage);
  void handlePushNotification(const Dictionary& userInfo);

  void validate(Purchase purchase);
  void onConversionDataReceived(const Dictionary& conversionData);
  void onConversionDataRequestFailure(const Error& error);
  void registerUninstall(Bytes deviceToken);

  std::string getQuarnelUID();
  Diagnostics diagnostics() const;
  bool drain(std::chrono::milliseconds timeout);

 private:
  explicit CoreTracker(QuarnelTracker& tracker) : tracker_(tracker) {}

  QuarnelTracker& tracker_;
};

}  // namespace objc
}  // namespace quarnel
