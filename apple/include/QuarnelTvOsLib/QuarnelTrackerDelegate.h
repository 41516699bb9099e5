#import <Foundation/Foundation.h>

NS_ASSUME_NONNULL_BEGIN

/// What the tracker tells the application.
///
/// Every method is optional, and the tracker asks before each call whether the delegate responds to
/// it. The tracker holds its delegate weakly and retains it during a call. A method may call the
/// tracker again, also to replace the delegate. An exception that leaves a method is caught, and
/// logged in debug mode.
@protocol QuarnelTrackerDelegate <NSObject>
@optional

/// The installation's conversion data has arrived.
///
/// Called on the main queue when the stored copy is served, and on the callback queue of the URL
/// session when the data has just been fetched. A delegate without this method gets no conversion
/// data, and none is fetched for it.
///
/// @param conversionData The service's answer, without null values.
- (void)onConversionDataReceived:(NSDictionary<NSString *, id> *)conversionData
    NS_SWIFT_NAME(onConversionDataReceived(_:));

/// Conversion data could not be fetched.
///
/// Called on the main queue for a transport error, and on the callback queue of the URL session
/// (for a request that could not be made, on the calling thread) for every other failure.
///
/// @param error The transport's error; or, in the tracker's own domain, an error whose code is the
///   HTTP status, 0 for an unusable answer or 1 for an empty one.
- (void)onConversionDataRequestFailure:(NSError *)error
    NS_SWIFT_NAME(onConversionDataRequestFailure(_:));

/// The application was opened from a link.
///
/// Called on the main queue after the launch report that carries the link has been built.
///
/// @param attributionData The link's query parameters with its path and scheme; or, for a link
///   without attribution parameters, one entry "link" with the whole link.
- (void)onAppOpenAttribution:(NSDictionary<NSString *, id> *)attributionData
    NS_SWIFT_NAME(onAppOpenAttribution(_:));

@end

NS_ASSUME_NONNULL_END
