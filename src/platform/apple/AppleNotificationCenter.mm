#include "platform/apple/AppleNotificationCenter.h"

#include <QuarnelTvOsLib/Notifications.h>

#import <Foundation/Foundation.h>

#include <utility>

#include "platform/apple/FoundationValue.h"

// Never released, as no observer is ever removed.
@interface QuarnelNotificationObserver : NSObject {
 @private
  void* _observer;
}
- (instancetype)initWithObserver:(quarnel::NotificationCenter::Observer)observer;
- (void)receive:(NSNotification*)notification;
@end

@implementation QuarnelNotificationObserver

- (instancetype)initWithObserver:(quarnel::NotificationCenter::Observer)observer {
  self = [super init];
  if (self != nil) _observer = new quarnel::NotificationCenter::Observer(std::move(observer));
  return self;
}

- (void)dealloc {
  delete static_cast<quarnel::NotificationCenter::Observer*>(_observer);
  [super dealloc];
}

- (void)receive:(NSNotification*)notification {
  using namespace quarnel;
  NSDictionary* const userInfo = [notification userInfo];
  Value value;
  if (userInfo != nil) {
    Dictionary options;
    const id url = [userInfo objectForKey:stringFrom(UIApplicationLaunchOptionsURLKey)];
    const id text = [url isKindOfClass:[NSURL class]] ? [url absoluteString] : url;
    const id source =
        [userInfo objectForKey:stringFrom(UIApplicationLaunchOptionsSourceApplicationKey)];
    if (auto link = textFrom(text)) {
      options.set(std::string(UIApplicationLaunchOptionsURLKey), *std::move(link));
    }
    if (auto application = textFrom(source)) {
      options.set(std::string(UIApplicationLaunchOptionsSourceApplicationKey),
                  *std::move(application));
    }
    value = std::move(options);
  }
  (*static_cast<NotificationCenter::Observer*>(_observer))(value);
}

@end

namespace quarnel {

void AppleNotificationCenter::addObserver(std::string_view name, Observer observer) {
  @autoreleasepool {
    // The centre does not retain it.
    id const object = [[QuarnelNotificationObserver alloc] initWithObserver:std::move(observer)];
    [[NSNotificationCenter defaultCenter] addObserver:object
                                             selector:@selector(receive:)
                                                 name:stringFrom(name)
                                               object:nil];
  }
}

void AppleNotificationCenter::post(std::string_view name, const Value& userInfo) {
  @autoreleasepool {
    id const object = objectFrom(userInfo, NullAs::kNothing);
    [[NSNotificationCenter defaultCenter] postNotificationName:stringFrom(name)
                                                        object:nil
                                                      userInfo:object];
  }
}

}  // namespace quarnel
