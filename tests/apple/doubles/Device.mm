// The device, and what Foundation's classes have on the platform alone.
#import <UIKit/UIKit.h>
#include <sys/types.h>

#include <algorithm>
#include <cerrno>
#include <cstring>
#include <mutex>

#include "Doubles.h"

namespace {

std::mutex mutex;
std::string receiptFile;
bool hasCloudIdentity = false;

NSMutableDictionary* facts() {
  static NSMutableDictionary* const facts = [@{
    @"name" : @"Living Room",
    @"systemName" : @"tvOS",
    @"systemVersion" : @"9.2",
    @"model" : @"Apple TV",
    @"localizedModel" : @"Apple TV",
    @"machine" : @"AppleTV5,3",
    @"identifierForVendor" : @"5F6B4C1E-2D3A-4B5C-8D7E-9F0A1B2C3D4E",
  } mutableCopy];
  return facts;
}

NSString* fact(NSString* name) {
  const std::lock_guard lock(mutex);
  return [[[facts() objectForKey:name] retain] autorelease];
}

}  // namespace

namespace doubles {

void setDeviceFact(NSString* name, id value) {
  const std::lock_guard lock(mutex);
  if (value == nil || value == [NSNull null]) {
    [facts() removeObjectForKey:name];
  } else {
    [facts() setObject:value forKey:name];
  }
}

void setReceiptFile(const std::string& path) { receiptFile = path; }
void setCloudIdentity(bool isPresent) { hasCloudIdentity = isPresent; }

}  // namespace doubles

NSString* const UIApplicationDidFinishLaunchingNotification =
    @"UIApplicationDidFinishLaunchingNotification";
NSString* const UIApplicationWillResignActiveNotification =
    @"UIApplicationWillResignActiveNotification";
NSString* const UIApplicationDidEnterBackgroundNotification =
    @"UIApplicationDidEnterBackgroundNotification";
NSString* const UIApplicationLaunchOptionsURLKey = @"UIApplicationLaunchOptionsURLKey";
NSString* const UIApplicationLaunchOptionsSourceApplicationKey =
    @"UIApplicationLaunchOptionsSourceApplicationKey";
NSString* const NSUserActivityTypeBrowsingWeb = @"NSUserActivityTypeBrowsingWeb";

@implementation UIDevice
+ (UIDevice*)currentDevice {
  static UIDevice* const device = [[UIDevice alloc] init];
  return device;
}
- (NSString*)name {
  return fact(@"name");
}
- (NSString*)systemName {
  return fact(@"systemName");
}
- (NSString*)systemVersion {
  return fact(@"systemVersion");
}
- (NSString*)model {
  return fact(@"model");
}
- (NSString*)localizedModel {
  return fact(@"localizedModel");
}
- (NSUUID*)identifierForVendor {
  NSString* const text = fact(@"identifierForVendor");
  return text != nil ? [[[NSUUID alloc] initWithUUIDString:text] autorelease] : nil;
}
- (BOOL)isMultitaskingSupported {
  return YES;
}
@end

extern "C" int sysctlbyname(const char* name, void* value, size_t* size, void*, size_t) {
  NSString* const machine = std::strcmp(name, "hw.machine") == 0 ? fact(@"machine") : nil;
  if (machine == nil) {
    errno = ENOENT;
    return -1;
  }
  const char* const text = [machine UTF8String];
  const std::size_t length = std::strlen(text) + 1;
  if (value != nullptr) std::memcpy(value, text, std::min(length, *size));
  *size = length;
  return 0;
}

// GNUstep's activity is a class without anything.
@interface QuarnelActivity : NSUserActivity {
  NSString* _type;
  NSURL* _page;
}
@end

@implementation QuarnelActivity
- (instancetype)initWithActivityType:(NSString*)type {
  self = [super init];
  _type = [type copy];
  return self;
}
- (void)dealloc {
  [_type release];
  [_page release];
  [super dealloc];
}
- (NSString*)activityType {
  return _type;
}
- (NSURL*)webpageURL {
  return _page;
}
- (void)setWebpageURL:(NSURL*)url {
  [url retain];
  [_page release];
  _page = url;
}
@end

@implementation NSUserActivity (Platform)
- (instancetype)initWithActivityType:(NSString*)type {
  [self release];
  return [[QuarnelActivity alloc] initWithActivityType:type];
}
- (NSString*)activityType {
  return nil;
}
- (NSURL*)webpageURL {
  return nil;
}
- (void)setWebpageURL:(NSURL*)url {
}
@end

@implementation NSBundle (Platform)
- (NSURL*)appStoreReceiptURL {
  if (receiptFile.empty()) return nil;
  return [NSURL fileURLWithPath:[NSString stringWithUTF8String:receiptFile.c_str()]];
}
@end

@implementation NSFileManager (Platform)
- (id)ubiquityIdentityToken {
  return hasCloudIdentity ? @"token" : nil;
}
@end
