#import <QuarnelTvOsLib/QuarnelTracker.h>

#include <mutex>
#include <utility>

#include "objc/BlockRef.h"
#include "objc/CoreTracker.h"
#include "objc/DelegateCallbacks.h"
#include "objc/WeakReference.h"
#include "platform/apple/FoundationValue.h"

using quarnel::dictionaryFrom;
using quarnel::objectFrom;
using quarnel::stringFrom;
using quarnel::textFrom;
using quarnel::valueFrom;
using quarnel::objc::blockIn;
using quarnel::objc::callbacksOf;
using quarnel::objc::copyOfBlock;
using quarnel::objc::CoreTracker;
using quarnel::objc::FlagProperty;
using quarnel::objc::guarded;
using quarnel::objc::TextProperty;
using quarnel::objc::WeakReference;

namespace {

// What the tracker object itself keeps; everything else is the core's.
struct State {
  std::mutex mutex;
  std::shared_ptr<WeakReference> delegate;
};

void setText(TextProperty property, const char *operation, NSString *text) {
  guarded(operation, [&] { CoreTracker::instance().setText(property, textFrom(text)); });
}

NSString *text(TextProperty property) {
  NSString *result = nil;
  guarded("text", [&] { result = stringFrom(CoreTracker::instance().text(property)); });
  return result;
}

void setFlag(FlagProperty property, BOOL flag) {
  guarded("flag", [&] { CoreTracker::instance().setFlag(property, flag); });
}

BOOL flag(FlagProperty property) {
  bool result = false;
  guarded("flag", [&] { result = CoreTracker::instance().flag(property); });
  return result;
}

std::optional<std::string> absoluteText(id url) {
  return textFrom([url isKindOfClass:[NSURL class]] ? [url absoluteString] : url);
}

}  // namespace

@implementation QuarnelTracker

+ (QuarnelTracker *)sharedTracker {
  static QuarnelTracker *const shared = [[QuarnelTracker alloc] initShared];
  return shared;
}

- (instancetype)initShared {
  self = [super init];
  if (self == nil) return nil;
  guarded("+[QuarnelTracker sharedTracker]", [self] {
    _state = new State;
    CoreTracker::instance();
  });
  return self;
}

// There is one tracker, however it is asked for.
- (instancetype)init {
  [self release];
  return [[QuarnelTracker sharedTracker] retain];
}

+ (instancetype)new {
  return [[QuarnelTracker sharedTracker] retain];
}

#pragma mark - Configuration

- (void)setQuarnelDevKey:(NSString *)key {
  setText(TextProperty::kDevKey, "-[QuarnelTracker setQuarnelDevKey:]", key);
}
- (NSString *)quarnelDevKey {
  return text(TextProperty::kDevKey);
}

- (void)setAppleAppID:(NSString *)appID {
  setText(TextProperty::kAppID, "-[QuarnelTracker setAppleAppID:]", appID);
}
- (NSString *)appleAppID {
  return text(TextProperty::kAppID);
}

- (void)setCustomerUserID:(NSString *)userID {
  setText(TextProperty::kCustomerUserID, "-[QuarnelTracker setCustomerUserID:]", userID);
}
- (NSString *)customerUserID {
  return text(TextProperty::kCustomerUserID);
}

- (void)setCurrencyCode:(NSString *)code {
  setText(TextProperty::kCurrencyCode, "-[QuarnelTracker setCurrencyCode:]", code);
}
- (NSString *)currencyCode {
  return text(TextProperty::kCurrencyCode);
}

- (void)setAdditionalData:(NSDictionary<NSString *, id> *)customData {
  guarded("-[QuarnelTracker setAdditionalData:]", [&] {
    @autoreleasepool {
      CoreTracker::instance().setAdditionalData(dictionaryFrom(customData));
    }
  });
}
- (NSDictionary<NSString *, id> *)customData {
  NSDictionary *result = nil;
  guarded("-[QuarnelTracker customData]", [&] {
    if (const auto data = CoreTracker::instance().customData()) result = objectFrom(*data);
  });
  return result;
}

- (void)setDisableAppleAdSupportTracking:(BOOL)disable {
  setFlag(FlagProperty::kDisableAppleAdSupportTracking, disable);
}
- (BOOL)disableAppleAdSupportTracking {
  return flag(FlagProperty::kDisableAppleAdSupportTracking);
}

- (void)setIsDebug:(BOOL)isDebug {
  setFlag(FlagProperty::kIsDebug, isDebug);
}
- (BOOL)isDebug {
  return flag(FlagProperty::kIsDebug);
}

- (void)setShouldCollectDeviceName:(BOOL)collect {
  setFlag(FlagProperty::kShouldCollectDeviceName, collect);
}
- (BOOL)shouldCollectDeviceName {
  return flag(FlagProperty::kShouldCollectDeviceName);
}

- (void)setDeviceTrackingDisabled:(BOOL)disabled {
  setFlag(FlagProperty::kDeviceTrackingDisabled, disabled);
}
- (BOOL)deviceTrackingDisabled {
  return flag(FlagProperty::kDeviceTrackingDisabled);
}

- (void)setDisableIAdTracking:(BOOL)disable {
  setFlag(FlagProperty::kDisableIAdTracking, disable);
}
- (BOOL)disableIAdTracking {
  return flag(FlagProperty::kDisableIAdTracking);
}

- (void)setUseReceiptValidationSandbox:(BOOL)useSandbox {
  setFlag(FlagProperty::kUseReceiptValidationSandbox, useSandbox);
}
- (BOOL)useReceiptValidationSandbox {
  return flag(FlagProperty::kUseReceiptValidationSandbox);
}

- (std::shared_ptr<WeakReference>)keepDelegate:(id)delegate {
  State *const state = static_cast<State *>(_state);
  std::shared_ptr<WeakReference> reference;
  if (delegate != nil) reference = std::make_shared<WeakReference>(delegate);
  const std::lock_guard lock(state->mutex);
  state->delegate = reference;
  return reference;
}

- (void)setDelegate:(id<QuarnelTrackerDelegate>)delegate {
  guarded("-[QuarnelTracker setDelegate:]",
          [&] { CoreTracker::instance().setDelegate(callbacksOf([self keepDelegate:delegate])); });
}
- (id<QuarnelTrackerDelegate>)delegate {
  quarnel::ObjcRef<id> object;
  guarded("-[QuarnelTracker delegate]", [&] {
    State *const state = static_cast<State *>(_state);
    const std::lock_guard lock(state->mutex);
    if (state->delegate) object = state->delegate->load();
  });
  return [[object.get() retain] autorelease];
}

- (void)setUserEmails:(NSArray<NSString *> *)userEmails withCryptType:(QuarnelEmailCryptType)type {
  guarded("-[QuarnelTracker setUserEmails:withCryptType:]", [&] {
    @autoreleasepool {
      const quarnel::Value emails = valueFrom(userEmails);
      CoreTracker::instance().setUserEmails(
          emails.array() != nullptr ? std::optional(*emails.array()) : std::nullopt, type);
    }
  });
}

#pragma mark - Reports

- (void)trackAppLaunch {
  guarded("-[QuarnelTracker trackAppLaunch]", [] {
    @autoreleasepool {
      CoreTracker::instance().trackAppLaunch();
    }
  });
}

- (void)trackEvent:(NSString *)eventName withValue:(NSString *)value {
  guarded("-[QuarnelTracker trackEvent:withValue:]", [&] {
    @autoreleasepool {
      CoreTracker::instance().trackEventWithValue(textFrom(eventName), textFrom(value));
    }
  });
}

- (void)trackEvent:(NSString *)eventName withValues:(NSDictionary<NSString *, id> *)values {
  guarded("-[QuarnelTracker trackEvent:withValues:]", [&] {
    @autoreleasepool {
      CoreTracker::instance().trackEventWithValues(textFrom(eventName), dictionaryFrom(values));
    }
  });
}

- (void)trackLocation:(double)longitude latitude:(double)latitude {
  guarded("-[QuarnelTracker trackLocation:latitude:]",
          [&] { CoreTracker::instance().trackLocation(longitude, latitude); });
}

#pragma mark - Links and push notifications

- (void)handleOpenURL:(NSURL *)url
    sourceApplication:(NSString *)sourceApplication
       withAnnotation:(id)annotation {
  guarded("-[QuarnelTracker handleOpenURL:sourceApplication:withAnnotation:]", [&] {
    @autoreleasepool {
      CoreTracker::instance().handleOpenURL(absoluteText(url), textFrom(sourceApplication),
                                            dictionaryFrom(annotation));
    }
  });
}

- (void)handleOpenURL:(NSURL *)url sourceApplication:(NSString *)sourceApplication {
  [self handleOpenURL:url sourceApplication:sourceApplication withAnnotation:nil];
}

- (void)continueUserActivity:(NSUserActivity *)userActivity
          restorationHandler:(void (^)(NSArray *))restorationHandler {
  guarded("-[QuarnelTracker continueUserActivity:restorationHandler:]", [&] {
    @autoreleasepool {
      CoreTracker::instance().continueUserActivity(
          textFrom([userActivity activityType]).value_or(""),
          absoluteText([userActivity webpageURL]), restorationHandler != nullptr);
    }
  });
}

- (void)didUpdateUserActivity:(NSUserActivity *)userActivity {
  guarded("-[QuarnelTracker didUpdateUserActivity:]", [&] {
    @autoreleasepool {
      CoreTracker::instance().didUpdateUserActivity(
          textFrom([userActivity activityType]).value_or(""),
          absoluteText([userActivity webpageURL]));
    }
  });
}

- (void)handlePushNotification:(NSDictionary *)userInfo {
  guarded("-[QuarnelTracker handlePushNotification:]", [&] {
    @autoreleasepool {
      CoreTracker::instance().handlePushNotification(
          dictionaryFrom(userInfo).value_or(quarnel::Dictionary()));
    }
  });
}

#pragma mark - Attribution

- (void)loadConversionDataWithDelegate:(id<QuarnelTrackerDelegate>)delegate {
  guarded("-[QuarnelTracker loadConversionDataWithDelegate:]", [&] {
    @autoreleasepool {
      CoreTracker::instance().loadConversionData(callbacksOf([self keepDelegate:delegate]));
    }
  });
}

- (void)validateAndTrackInAppPurchase:(NSString *)productIdentifier
                                price:(NSNumber *)price
                             currency:(NSString *)currency
                        transactionId:(NSString *)transactionId
                 additionalParameters:(NSDictionary<NSString *, id> *)additionalParameters
                              success:(QuarnelValidationSuccess)success
                              failure:(QuarnelValidationFailure)failure {
  constexpr const char *kOperation =
      "-[QuarnelTracker validateAndTrackInAppPurchase:price:currency:transactionId:"
      "additionalParameters:success:failure:]";
  guarded(kOperation, [&] {
    @autoreleasepool {
      quarnel::objc::Purchase purchase;
      purchase.productIdentifier = textFrom(productIdentifier);
      purchase.price = valueFrom(price);
      purchase.currency = textFrom(currency);
      purchase.transactionId = textFrom(transactionId);
      purchase.additionalParameters = dictionaryFrom(additionalParameters);
      if (success) {
        purchase.success = [block = copyOfBlock(success)](const quarnel::Dictionary &answer) {
          @autoreleasepool {
            guarded("success",
                    [&] { blockIn<QuarnelValidationSuccess>(block)(objectFrom(answer)); });
          }
        };
      }
      if (failure) {
        purchase.failure = [block = copyOfBlock(failure)](const auto &error, const auto &answer) {
          @autoreleasepool {
            guarded("failure", [&] {
              blockIn<QuarnelValidationFailure>(block)(error ? objectFrom(*error) : nil,
                                                       answer ? objectFrom(*answer) : nil);
            });
          }
        };
      }
      CoreTracker::instance().validate(std::move(purchase));
    }
  });
}

- (void)registerUninstall:(NSData *)deviceToken {
  if (![deviceToken isKindOfClass:[NSData class]]) return;
  guarded("-[QuarnelTracker registerUninstall:]", [&] {
    @autoreleasepool {
      CoreTracker::instance().registerUninstall(quarnel::bytesFrom(deviceToken));
    }
  });
}

#pragma mark - The installation

- (NSString *)getQuarnelUID {
  NSString *identifier = @"";
  guarded("-[QuarnelTracker getQuarnelUID]", [&] {
    identifier = stringFrom(std::string_view(CoreTracker::instance().getQuarnelUID()));
  });
  return identifier;
}

@end
