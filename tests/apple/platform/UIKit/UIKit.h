// What the library uses of UIKit.
#pragma once

#import <Foundation/Foundation.h>

@interface UIDevice : NSObject
+ (UIDevice *)currentDevice;
- (NSString *)name;
- (NSString *)systemName;
- (NSString *)systemVersion;
- (NSString *)model;
- (NSString *)localizedModel;
- (NSUUID *)identifierForVendor;
- (BOOL)isMultitaskingSupported;
@end

FOUNDATION_EXPORT NSString *const UIApplicationDidFinishLaunchingNotification;
FOUNDATION_EXPORT NSString *const UIApplicationWillResignActiveNotification;
FOUNDATION_EXPORT NSString *const UIApplicationDidEnterBackgroundNotification;
FOUNDATION_EXPORT NSString *const UIApplicationLaunchOptionsURLKey;
FOUNDATION_EXPORT NSString *const UIApplicationLaunchOptionsSourceApplicationKey;
