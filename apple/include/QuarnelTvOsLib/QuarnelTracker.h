#import <Foundation/Foundation.h>

#import <QuarnelTvOsLib/QuarnelTrackerDelegate.h>

NS_ASSUME_NONNULL_BEGIN

/// How the user's e-mail addresses leave the device. Any other value is treated as
/// `QuarnelEmailCryptTypeSHA1`.
typedef NS_ENUM(int32_t, QuarnelEmailCryptType) {
  /// As they are; of several only the last one is sent.
  QuarnelEmailCryptTypeNone = 0,
  /// Each as its SHA-1 digest.
  QuarnelEmailCryptTypeSHA1 = 1,
  /// Each as its MD5 digest.
  QuarnelEmailCryptTypeMD5 = 2,
};

/// Called when the validation service has confirmed a purchase, with its whole answer.
typedef void (^QuarnelValidationSuccess)(NSDictionary<NSString *, id> *answer);

/// Called when a purchase was not confirmed. `error` is nil when the service's answer says no or
/// does not know the transaction; `answer` is nil when there is no usable answer.
typedef void (^QuarnelValidationFailure)(NSError *_Nullable error, id _Nullable answer);

/// Reports launches, in-app events and purchases of this installation, and answers questions about
/// it.
///
/// Ask for the shared tracker, set developer key and app ID, and call `-trackAppLaunch` whenever the
/// application becomes active:
///
///     QuarnelTracker *tracker = [QuarnelTracker sharedTracker];
///     tracker.quarnelDevKey = @"my-developer-key";
///     tracker.appleAppID = @"123456789";
///     [tracker trackAppLaunch];
///
/// Every method may be called from any thread, also from a delegate method. Reporting methods return
/// at once and never fail towards the caller; what goes wrong is logged when `isDebug` is set. A
/// report that cannot be delivered is kept on disk and sent again after the next delivery. Objects
/// that are passed in are copied in the call and may be changed afterwards.
__attribute__((visibility("default")))
@interface QuarnelTracker : NSObject {
 @private
  void *_state;
}

/// The one tracker of the application, made on first use and never released.
///
/// Call it in `application:didFinishLaunchingWithOptions:` at the latest: from then on the tracker
/// observes the application's notifications.
+ (QuarnelTracker *)sharedTracker NS_SWIFT_NAME(shared());

/// Use `+sharedTracker`.
- (instancetype)init NS_UNAVAILABLE;
/// Use `+sharedTracker`.
+ (instancetype)new NS_UNAVAILABLE;

#pragma mark - Configuration

/// The developer key, issued by the service. Without one nothing is reported. Default: nil.
@property(nonatomic, copy, nullable) NSString *quarnelDevKey;

/// The application's App Store identifier, digits only. Anything else is logged in debug mode, and
/// sent all the same. Default: nil.
@property(nonatomic, copy, nullable) NSString *appleAppID;

/// The application's own identifier of its user, sent with every report. Default: nil.
@property(nonatomic, copy, nullable) NSString *customerUserID;

/// Additional data, sent with every report as JSON. Setting nil changes nothing. Data without a JSON
/// form (see `-trackEvent:withValues:`) is not sent. Default: nil.
@property(nonatomic, copy, nullable, setter=setAdditionalData:)
    NSDictionary<NSString *, id> *customData;

/// An ISO 4217 code of three letters. Other lengths are logged in debug mode, and sent all the same.
/// Default: nil.
@property(nonatomic, copy, nullable) NSString *currencyCode;

/// Whether reports leave out the advertising identifier. Default: NO.
@property(atomic, assign) BOOL disableAppleAdSupportTracking;

/// Debug mode: every step is logged, personal data included. For development only. Default: NO.
@property(nonatomic, assign) BOOL isDebug;

/// Whether reports carry the device's name. Default: YES.
@property(nonatomic, assign) BOOL shouldCollectDeviceName;

/// Marks reports of users who do not want to be tracked. Default: NO.
@property(atomic, assign) BOOL deviceTrackingDisabled;

/// Whether launches skip the question to the platform's ad client. Default: NO.
@property(atomic, assign) BOOL disableIAdTracking;

/// Whether purchases are validated in the App Store's sandbox. For development only. Default: NO.
@property(nonatomic, assign) BOOL useReceiptValidationSandbox;

/// The application's callbacks. Held weakly. Default: nil.
@property(nonatomic, weak, nullable) id<QuarnelTrackerDelegate> delegate;

/// Sets the user's e-mail addresses, which are sent with every report.
///
/// @param userEmails The addresses, or nil for none. An element that is not a string is skipped; a
///   report is abandoned when there are elements but no string among them.
/// @param type The form in which they are sent.
- (void)setUserEmails:(nullable NSArray<NSString *> *)userEmails
        withCryptType:(QuarnelEmailCryptType)type NS_SWIFT_NAME(setUserEmails(_:cryptType:));

#pragma mark - Reports

/// Reports a launch, 100 milliseconds later. A launch within five seconds after the application
/// resigned active is not reported.
- (void)trackAppLaunch;

/// Reports an in-app event with one value.
///
/// @param eventName The event's name.
/// @param value Its value. One that consists of digits, "-" and "." counts as revenue.
- (void)trackEvent:(nullable NSString *)eventName
         withValue:(nullable NSString *)value NS_SWIFT_NAME(trackEvent(_:value:));

/// Reports an in-app event with several values, which are sent as JSON.
///
/// @param eventName The event's name.
/// @param values Strings, numbers, `NSNull`, and arrays and dictionaries of these with string keys.
///   Anything else anywhere inside, such as a date, data, a number that is not finite, or containers
///   nested in themselves or more than 512 levels deep, leaves the event without values.
- (void)trackEvent:(nullable NSString *)eventName
        withValues:(nullable NSDictionary<NSString *, id> *)values
    NS_SWIFT_NAME(trackEvent(_:values:));

/// Reports where the device is, in degrees.
- (void)trackLocation:(double)longitude
             latitude:(double)latitude NS_SWIFT_NAME(trackLocation(longitude:latitude:));

#pragma mark - Links and push notifications

/// Records the link that opened the application for the next launch report. Of several before that
/// report, the first one counts.
///
/// @param url The link.
/// @param sourceApplication The bundle identifier of the application that opened it.
/// @param annotation The property list that came with it, if any.
- (void)handleOpenURL:(nullable NSURL *)url
    sourceApplication:(nullable NSString *)sourceApplication
       withAnnotation:(nullable id)annotation
    NS_SWIFT_NAME(handleOpen(_:sourceApplication:annotation:));

/// The same without an annotation.
- (void)handleOpenURL:(nullable NSURL *)url
    sourceApplication:(nullable NSString *)sourceApplication
    NS_SWIFT_NAME(handleOpen(_:sourceApplication:));

/// Records the web page of an activity of the web-browsing type for the next launch report; it
/// replaces any recorded link. Other activities are ignored.
///
/// @param userActivity The activity that the application continues.
/// @param restorationHandler The application's handler. It is never called.
- (void)continueUserActivity:(nullable NSUserActivity *)userActivity
          restorationHandler:(nullable void (^)(NSArray *_Nullable restorableObjects))restorationHandler
    NS_SWIFT_NAME(continueUserActivity(_:restorationHandler:));

/// Logs the activity in debug mode.
- (void)didUpdateUserActivity:(nullable NSUserActivity *)userActivity
    NS_SWIFT_NAME(didUpdateUserActivity(_:));

/// Records a push notification's "qn" entry for the next launch report; it replaces any recorded
/// one, also by nothing.
- (void)handlePushNotification:(nullable NSDictionary *)userInfo
    NS_SWIFT_NAME(handlePushNotification(_:));

#pragma mark - Attribution

/// Sets the delegate, and asks for the installation's conversion data if the delegate responds to
/// `onConversionDataReceived:`. Needs developer key and app ID.
- (void)loadConversionDataWithDelegate:(nullable id<QuarnelTrackerDelegate>)delegate
    NS_SWIFT_NAME(loadConversionData(delegate:));

/// Has the App Store receipt validated, calls one of the two blocks once, and then reports the
/// purchase, whatever came out.
///
/// The blocks are called on a queue of the library's. Without product or transaction identifier
/// nothing happens.
///
/// @param productIdentifier The product's identifier.
/// @param price The price, sent as it is given.
/// @param currency The ISO 4217 code of the price.
/// @param transactionId The transaction to look for in the receipt.
/// @param additionalParameters Sent with the purchase.
- (void)validateAndTrackInAppPurchase:(nullable NSString *)productIdentifier
                                price:(nullable NSNumber *)price
                             currency:(nullable NSString *)currency
                        transactionId:(nullable NSString *)transactionId
                 additionalParameters:(nullable NSDictionary<NSString *, id> *)additionalParameters
                              success:(nullable QuarnelValidationSuccess)success
                              failure:(nullable QuarnelValidationFailure)failure
    NS_SWIFT_NAME(validateAndTrackInAppPurchase(_:price:currency:transactionID:additionalParameters:success:failure:));

/// Registers the device token of the push service, 3.5 seconds later, if it is another one than
/// before. Needs a report made earlier in this run of the application.
- (void)registerUninstall:(nullable NSData *)deviceToken NS_SWIFT_NAME(registerUninstall(_:));

#pragma mark - The installation

/// The identifier of this installation, for example "1447545600000-4821337". The first call of an
/// installation makes it.
- (NSString *)getQuarnelUID NS_SWIFT_NAME(quarnelUID());

@end

NS_ASSUME_NONNULL_END
