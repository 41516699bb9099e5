// An application that does what a script on its standard input says: one JSON array a line, an
// operation's selector and then its arguments. Every callback and result is one JSON line on
// standard output. Runs on GNUstep, where the tests' doubles stand for the rest of the platform.
#import <QuarnelTvOsLib/QuarnelTvOsLib.h>

#include <atomic>
#include <cstdio>
#include <cstdlib>
#include <iostream>
#include <mutex>
#include <string>
#include <thread>

#include "Doubles.h"

namespace {

std::mutex outputMutex;

// Dates and bytes, which JSON cannot say, as {"$date": seconds} and {"$data": "hexadecimal"}.
id meaningOf(id json) {
  if ([json isKindOfClass:[NSArray class]]) {
    NSMutableArray *const array = [NSMutableArray array];
    for (id each in json) [array addObject:meaningOf(each)];
    return array;
  }
  if (![json isKindOfClass:[NSDictionary class]]) return json;
  id const date = [json objectForKey:@"$date"];
  if (date != nil) return [NSDate dateWithTimeIntervalSince1970:[date doubleValue]];
  NSString *const hex = [json objectForKey:@"$data"];
  if (hex != nil) {
    NSMutableData *const data = [NSMutableData data];
    for (NSUInteger i = 0; i + 1 < [hex length]; i += 2) {
      const char *const digits = [[hex substringWithRange:NSMakeRange(i, 2)] UTF8String];
      const auto byte = static_cast<unsigned char>(std::strtoul(digits, nullptr, 16));
      [data appendBytes:&byte length:1];
    }
    return data;
  }
  NSMutableDictionary *const dictionary = [NSMutableDictionary dictionary];
  for (id key in json) [dictionary setObject:meaningOf([json objectForKey:key]) forKey:key];
  return dictionary;
}

id orNull(id object) { return object != nil ? object : [NSNull null]; }

void print(NSDictionary *line) {
  NSData *const json = [NSJSONSerialization dataWithJSONObject:line options:0 error:nullptr];
  const std::lock_guard lock(outputMutex);
  std::fwrite([json bytes], 1, [json length], stdout);
  std::fputc('\n', stdout);
  std::fflush(stdout);
}

NSString *currentQueue() {
  const std::string label = doubles::currentQueueLabel();
  if (label == "com.apple.main-thread") return @"main";
  return label.empty() ? @"caller" : @"session";
}

void printCallback(NSString *name, NSArray *arguments) {
  print(@{@"callback" : name, @"queue" : currentQueue(), @"arguments" : arguments});
}

id errorObject(NSError *error) {
  if (error == nil) return [NSNull null];
  return @{
    @"domain" : [error domain],
    @"code" : [NSNumber numberWithInteger:[error code]],
    @"description" : [error localizedDescription]
  };
}

}  // namespace

// Responds to the operations that the script names.
@interface ScriptedDelegate : NSObject <QuarnelTrackerDelegate> {
  NSArray *_operations;
}
- (instancetype)initWithOperations:(NSArray *)operations;
@end

@implementation ScriptedDelegate
- (instancetype)initWithOperations:(NSArray *)operations {
  self = [super init];
  _operations = [operations copy];
  return self;
}
- (void)dealloc {
  [_operations release];
  [super dealloc];
}
- (BOOL)respondsToSelector:(SEL)selector {
  NSString *const name = NSStringFromSelector(selector);
  if ([name hasPrefix:@"on"]) return [_operations containsObject:name];
  return [super respondsToSelector:selector];
}
- (void)onConversionDataReceived:(NSDictionary *)data {
  printCallback(@"onConversionDataReceived:", @[ data ]);
}
- (void)onConversionDataRequestFailure:(NSError *)error {
  printCallback(@"onConversionDataRequestFailure:", @[ errorObject(error) ]);
}
- (void)onAppOpenAttribution:(NSDictionary *)data {
  printCallback(@"onAppOpenAttribution:", @[ data ]);
}
@end

namespace {

// The arguments of a line; nil for an absent one.
class Arguments {
 public:
  explicit Arguments(NSArray *line) : line_(line) {}
  id operator[](NSUInteger position) const {
    if (position + 1 >= [line_ count]) return nil;
    id const argument = [line_ objectAtIndex:position + 1];
    return argument == [NSNull null] ? nil : argument;
  }

 private:
  NSArray *const line_;
};

// The tracker holds its delegate weakly.
ScriptedDelegate *currentDelegate = nil;

ScriptedDelegate *newDelegate(NSArray *operations) {
  [currentDelegate release];
  currentDelegate =
      operations != nil ? [[ScriptedDelegate alloc] initWithOperations:operations] : nil;
  return currentDelegate;
}

NSUserActivity *activityFrom(NSDictionary *json) {
  NSUserActivity *const activity = [[[NSUserActivity alloc]
      initWithActivityType:[json objectForKey:@"activityType"]] autorelease];
  NSString *const page = [json objectForKey:@"webpageURL"];
  if (page != nil) [activity setWebpageURL:[NSURL URLWithString:page]];
  return activity;
}

void drain() {
  std::atomic<int> result = -1;
  std::thread waiter([&] { result = [[QuarnelTracker sharedTracker] drainWithTimeout:10]; });
  doubles::runMainQueueUntil([&] { return result != -1; });
  waiter.join();
  print(@{@"result" : @"drain", @"value" : result != 0 ? @YES : @NO});
}

void validate(QuarnelTracker *tracker, const Arguments &arguments) {
  [tracker validateAndTrackInAppPurchase:arguments[0]
      price:arguments[1]
      currency:arguments[2]
      transactionId:arguments[3]
      additionalParameters:arguments[4]
      success:^(NSDictionary *answer) {
        printCallback(@"success", @[ answer ]);
      }
      failure:^(NSError *error, id answer) {
        printCallback(@"failure", @[ errorObject(error), orNull(answer) ]);
      }];
}

void post(NSString *name, NSDictionary *userInfo) {
  NSMutableDictionary *const launch = [[userInfo mutableCopy] autorelease];
  NSString *const link = [launch objectForKey:@"UIApplicationLaunchOptionsURLKey"];
  if (link != nil) {
    [launch setObject:[NSURL URLWithString:link] forKey:@"UIApplicationLaunchOptionsURLKey"];
  }
  [[NSNotificationCenter defaultCenter] postNotificationName:name object:nil userInfo:launch];
}

// False for an operation that there is not.
bool runReport(QuarnelTracker *tracker, NSString *name, const Arguments &arguments) {
  if ([name isEqual:@"trackAppLaunch"]) {
    [tracker trackAppLaunch];
  } else if ([name isEqual:@"trackEvent:withValue:"]) {
    [tracker trackEvent:arguments[0] withValue:arguments[1]];
  } else if ([name isEqual:@"trackEvent:withValues:"]) {
    [tracker trackEvent:arguments[0] withValues:arguments[1]];
  } else if ([name isEqual:@"trackLocation:latitude:"]) {
    [tracker trackLocation:[arguments[0] doubleValue] latitude:[arguments[1] doubleValue]];
  } else if ([name hasPrefix:@"handleOpenURL:"]) {
    NSURL *const url = arguments[0] != nil ? [NSURL URLWithString:arguments[0]] : nil;
    [tracker handleOpenURL:url sourceApplication:arguments[1] withAnnotation:arguments[2]];
  } else if ([name hasPrefix:@"continueUserActivity:"]) {
    [tracker continueUserActivity:activityFrom(arguments[0]) restorationHandler:nil];
  } else if ([name isEqual:@"didUpdateUserActivity:"]) {
    [tracker didUpdateUserActivity:activityFrom(arguments[0])];
  } else if ([name isEqual:@"handlePushNotification:"]) {
    [tracker handlePushNotification:arguments[0]];
  } else if ([name hasPrefix:@"validateAndTrackInAppPurchase:"]) {
    validate(tracker, arguments);
  } else if ([name isEqual:@"registerUninstall:"]) {
    [tracker registerUninstall:arguments[0]];
  } else {
    return false;
  }
  return true;
}

bool runControl(QuarnelTracker *tracker, NSString *name, const Arguments &arguments) {
  if ([name isEqual:@"set"]) {
    [tracker setValue:arguments[1] forKey:arguments[0]];
  } else if ([name isEqual:@"setAdditionalData:"]) {
    [tracker setAdditionalData:arguments[0]];
  } else if ([name isEqual:@"setUserEmails:withCryptType:"]) {
    [tracker setUserEmails:arguments[0]
             withCryptType:static_cast<QuarnelEmailCryptType>([arguments[1] intValue])];
  } else if ([name isEqual:@"loadConversionDataWithDelegate:"]) {
    [tracker loadConversionDataWithDelegate:newDelegate(arguments[0])];
  } else if ([name isEqual:@"delegate"]) {
    tracker.delegate = newDelegate(arguments[0]);
  } else if ([name isEqual:@"post"]) {
    post(arguments[0], arguments[1]);
  } else if ([name isEqual:@"network"]) {
    doubles::setNetworkAvailable([arguments[0] boolValue]);
  } else if ([name isEqual:@"getQuarnelUID"]) {
    print(@{@"result" : name, @"value" : [tracker getQuarnelUID]});
  } else if ([name isEqual:@"diagnostics"]) {
    QuarnelDiagnostics *const numbers = [tracker diagnostics];
    NSMutableDictionary *const value = [NSMutableDictionary dictionary];
    for (NSString *key in
         @[ @"accepted", @"delivered", @"cached", @"replayed", @"lostAbandoned" ]) {
      [value setObject:[numbers valueForKey:key] forKey:key];
    }
    print(@{@"result" : name, @"value" : value});
  } else if ([name isEqual:@"wait"]) {
    const auto end = std::chrono::steady_clock::now() +
                     std::chrono::duration<double>([arguments[0] doubleValue]);
    doubles::runMainQueueUntil([&] { return std::chrono::steady_clock::now() > end; });
  } else if ([name isEqual:@"drain"]) {
    drain();
  } else if ([name isEqual:@"quit"]) {
    std::_Exit(EXIT_SUCCESS);
  } else {
    return false;
  }
  return true;
}

void run(const std::string &text) {
  NSData *const data = [NSData dataWithBytes:text.data() length:text.size()];
  id const line = meaningOf([NSJSONSerialization JSONObjectWithData:data options:0 error:nullptr]);
  if (![line isKindOfClass:[NSArray class]] || [line count] == 0) {
    return print(@{@"error" : @"a line must be an array with an operation's name in front"});
  }
  NSString *const name = [line objectAtIndex:0];
  QuarnelTracker *const tracker = [QuarnelTracker sharedTracker];
  const Arguments arguments(line);
  if (runReport(tracker, name, arguments) || runControl(tracker, name, arguments)) return;
  print(@{@"error" : [@"there is no operation " stringByAppendingString:name]});
}

// --keychain FILE, --receipt FILE, --ca FILE, --collector HOST:PORT, --dev-key KEY, --app-id ID,
// --debug
void readOptions(int count, const char *const *arguments) {
  std::string key;
  std::string app;
  bool isDebug = false;
  for (int i = 1; i < count; ++i) {
    const std::string option = arguments[i];
    if (option == "--debug") {
      isDebug = true;
      continue;
    }
    const char *const value = i + 1 < count ? arguments[++i] : "";
    NSString *const text = [NSString stringWithUTF8String:value];
    if (option == "--keychain") doubles::setKeychainFile(value);
    if (option == "--receipt") doubles::setReceiptFile(value);
    if (option == "--ca") doubles::setCertificateAuthority(value);
    if (option == "--dev-key") key = value;
    if (option == "--app-id") app = value;
    if (option != "--collector") continue;
    for (NSInteger each = QuarnelEndpointLaunch; each <= QuarnelEndpointRegister; ++each) {
      [QuarnelTracker setHost:text forEndpoint:static_cast<QuarnelEndpoint>(each)];
    }
  }
  QuarnelTracker *const tracker = [QuarnelTracker sharedTracker];
  tracker.isDebug = isDebug;
  if (!key.empty()) tracker.quarnelDevKey = [NSString stringWithUTF8String:key.c_str()];
  if (!app.empty()) tracker.appleAppID = [NSString stringWithUTF8String:app.c_str()];
}

}  // namespace

int main(int count, char **arguments) {
  @autoreleasepool {
    readOptions(count, arguments);
  }
  for (std::string line; std::getline(std::cin, line);) {
    @autoreleasepool {
      run(line);
      // What is due on the main queue comes before the next line.
      doubles::runMainQueueUntil([] { return true; });
    }
  }
  @autoreleasepool {
    drain();
  }
  std::_Exit(EXIT_SUCCESS);
}
