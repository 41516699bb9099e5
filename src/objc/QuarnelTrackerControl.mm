#import <QuarnelTvOsLib/QuarnelTrackerControl.h>

#include <algorithm>
#include <cmath>

#include "objc/CoreTracker.h"
#include "platform/apple/FoundationValue.h"

using quarnel::objc::CoreTracker;
using quarnel::objc::guarded;

@interface QuarnelDiagnostics ()
- (instancetype)initWithNumbers:(const quarnel::Diagnostics &)numbers;
@end

@implementation QuarnelDiagnostics

- (instancetype)initWithNumbers:(const quarnel::Diagnostics &)numbers {
  self = [super init];
  if (self != nil) _state = new quarnel::Diagnostics(numbers);
  return self;
}

- (instancetype)init {
  return [self initWithNumbers:quarnel::Diagnostics()];
}

- (void)dealloc {
  delete static_cast<quarnel::Diagnostics *>(_state);
  [super dealloc];
}

- (const quarnel::Diagnostics &)numbers {
  return *static_cast<const quarnel::Diagnostics *>(_state);
}

- (uint64_t)accepted {
  return [self numbers].accepted;
}
- (uint64_t)notDue {
  return [self numbers].notDue;
}
- (uint64_t)delivered {
  return [self numbers].delivered;
}
- (uint64_t)cached {
  return [self numbers].cached;
}
- (uint64_t)replayed {
  return [self numbers].replayed;
}
- (uint64_t)waiting {
  return [self numbers].waiting;
}
- (uint64_t)inFlight {
  return [self numbers].inFlight;
}
- (uint64_t)lostTooManyWaiting {
  return [self numbers].lost.tooManyWaiting;
}
- (uint64_t)lostMissingDeveloperKey {
  return [self numbers].lost.missingDeveloperKey;
}
- (uint64_t)lostAbandoned {
  return [self numbers].lost.abandoned;
}
- (uint64_t)lostCacheFull {
  return [self numbers].lost.cacheFull;
}
- (uint64_t)lostCacheWriteFailed {
  return [self numbers].lost.cacheWriteFailed;
}
- (uint64_t)lostUnreadableRecords {
  return [self numbers].lost.unreadableRecords;
}
- (uint64_t)lostWithProcess {
  return [self numbers].lost.withProcess;
}

@end

@implementation QuarnelTracker (Control)

+ (BOOL)setHost:(NSString *)host forEndpoint:(QuarnelEndpoint)endpoint {
  bool isSet = false;
  guarded("+[QuarnelTracker setHost:forEndpoint:]", [&] {
    auto text = quarnel::textFrom(host);
    if (!text || endpoint < QuarnelEndpointLaunch || endpoint > QuarnelEndpointRegister) return;
    isSet =
        CoreTracker::setEndpointHost(static_cast<quarnel::Endpoint>(endpoint), *std::move(text));
  });
  return isSet;
}

- (QuarnelDiagnostics *)diagnostics {
  quarnel::Diagnostics numbers;
  guarded("-[QuarnelTracker diagnostics]",
          [&] { numbers = CoreTracker::instance().diagnostics(); });
  return [[[QuarnelDiagnostics alloc] initWithNumbers:numbers] autorelease];
}

- (BOOL)drainWithTimeout:(NSTimeInterval)timeout {
  bool isDone = false;
  guarded("-[QuarnelTracker drainWithTimeout:]", [&] {
    constexpr double kMost = 86'400;
    const double seconds = timeout > 0 ? std::min(timeout, kMost) : 0;
    isDone = CoreTracker::instance().drain(std::chrono::milliseconds(std::llround(seconds * 1000)));
  });
  return isDone;
}

- (void)onConversionDataReceived:(NSDictionary<NSString *, id> *)conversionData {
  guarded("-[QuarnelTracker onConversionDataReceived:]", [&] {
    @autoreleasepool {
      CoreTracker::instance().onConversionDataReceived(
          quarnel::dictionaryFrom(conversionData).value_or(quarnel::Dictionary()));
    }
  });
}

- (void)onConversionDataRequestFailure:(NSError *)error {
  guarded("-[QuarnelTracker onConversionDataRequestFailure:]", [&] {
    @autoreleasepool {
      CoreTracker::instance().onConversionDataRequestFailure(quarnel::errorFrom(error));
    }
  });
}

@end
