#import <QuarnelTvOsLib/QuarnelTracker.h>

NS_ASSUME_NONNULL_BEGIN

/// The six services that the tracker talks to.
typedef NS_ENUM(NSInteger, QuarnelEndpoint) {
  QuarnelEndpointLaunch,
  QuarnelEndpointEvents,
  QuarnelEndpointStats,
  QuarnelEndpointConversion,
  QuarnelEndpointServices,
  QuarnelEndpointRegister,
};

/// What became of the launch and event reports of this installation. All `lost` numbers zero means
/// that nothing was lost.
__attribute__((visibility("default")))
@interface QuarnelDiagnostics : NSObject {
 @private
  void *_state;
}

/// Taken from the application.
@property(nonatomic, readonly) uint64_t accepted;
/// Launches right after another, which are not reported.
@property(nonatomic, readonly) uint64_t notDue;
/// Delivered at the first attempt.
@property(nonatomic, readonly) uint64_t delivered;
/// Kept on disk after a failed attempt.
@property(nonatomic, readonly) uint64_t cached;
/// Of those kept: delivered later.
@property(nonatomic, readonly) uint64_t replayed;
/// Waiting to be built.
@property(nonatomic, readonly) uint64_t waiting;
/// On their way.
@property(nonatomic, readonly) uint64_t inFlight;
/// Not taken, because too many were waiting.
@property(nonatomic, readonly) uint64_t lostTooManyWaiting;
/// Dropped, because no developer key was set.
@property(nonatomic, readonly) uint64_t lostMissingDeveloperKey;
/// Could not be built.
@property(nonatomic, readonly) uint64_t lostAbandoned;
/// Failed while the offline cache was full.
@property(nonatomic, readonly) uint64_t lostCacheFull;
/// Failed, and could not be kept on disk.
@property(nonatomic, readonly) uint64_t lostCacheWriteFailed;
/// Records on disk that could not be read.
@property(nonatomic, readonly) uint64_t lostUnreadableRecords;
/// Waiting or on their way when an earlier process ended.
@property(nonatomic, readonly) uint64_t lostWithProcess;

@end

/// What an application rarely needs.
@interface QuarnelTracker (Control)

/// Sets where a service lives, before the first `+sharedTracker`.
///
/// @param host A host name, with ":port" behind it if the port is not 443.
/// @return NO when the tracker exists already, or there is no such service; nothing changes then.
+ (BOOL)setHost:(NSString *)host
    forEndpoint:(QuarnelEndpoint)endpoint NS_SWIFT_NAME(setHost(_:for:));

/// What became of all reports so far.
- (QuarnelDiagnostics *)diagnostics;

/// Waits until nothing that the tracker was told is queued, delayed or on its way. Don't call it on
/// the main queue or from a callback.
///
/// @return NO when the timeout, in seconds, came first.
- (BOOL)drainWithTimeout:(NSTimeInterval)timeout NS_SWIFT_NAME(drain(timeout:));

/// Logs the conversion data in debug mode, for a tracker that is its own delegate.
- (void)onConversionDataReceived:(nullable NSDictionary<NSString *, id> *)conversionData;

/// Logs the error in debug mode, for a tracker that is its own delegate.
- (void)onConversionDataRequestFailure:(nullable NSError *)error;

@end

NS_ASSUME_NONNULL_END
