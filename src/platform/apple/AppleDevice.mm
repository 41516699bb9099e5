#include "platform/apple/AppleDevice.h"

#import <UIKit/UIKit.h>
#include <sys/types.h>

#include <cstring>

#if defined(__APPLE__)
#include <sys/sysctl.h>
#else
extern "C" int sysctlbyname(const char* name, void* value, size_t* size, void* newValue,
                            size_t newSize);
#endif

#include "platform/apple/FoundationValue.h"

namespace quarnel {
namespace {

std::optional<std::string> hardwareMachine() {
  std::size_t size = 0;
  if (sysctlbyname("hw.machine", nullptr, &size, nullptr, 0) != 0 || size == 0) return std::nullopt;
  std::string machine(size, '\0');
  if (sysctlbyname("hw.machine", machine.data(), &size, nullptr, 0) != 0) return std::nullopt;
  return std::string(machine.c_str());
}

}  // namespace

DeviceFacts AppleDevice::currentDevice() const {
  @autoreleasepool {
    UIDevice* const device = [UIDevice currentDevice];
    DeviceFacts facts;
    facts.name = textFrom([device name]);
    facts.systemName = textFrom([device systemName]);
    facts.systemVersion = textFrom([device systemVersion]);
    facts.model = textFrom([device model]);
    facts.localizedModel = textFrom([device localizedModel]);
    facts.hardwareMachine = hardwareMachine();
    facts.isMultitaskingSupported = isMultitaskingSupported();
    if ([device respondsToSelector:@selector(identifierForVendor)]) {
      // The report carries the field, empty if need be, on devices that offer the identifier.
      facts.identifierForVendor = textFrom([[device identifierForVendor] UUIDString]).value_or("");
    }
    for (NSString* language in [NSLocale preferredLanguages]) {
      if (auto text = textFrom(language)) facts.preferredLanguages.push_back(*std::move(text));
    }
    facts.countryCode = textFrom([[NSLocale currentLocale] objectForKey:NSLocaleCountryCode]);
    return facts;
  }
}

bool AppleDevice::isMultitaskingSupported() const {
  @autoreleasepool {
    UIDevice* const device = [UIDevice currentDevice];
    return [device respondsToSelector:@selector(isMultitaskingSupported)] &&
           [device isMultitaskingSupported];
  }
}

std::optional<std::string> AppleDevice::systemVersion() const {
  @autoreleasepool {
    return textFrom([[UIDevice currentDevice] systemVersion]);
  }
}

BundleFacts AppleDevice::mainBundle() const {
  @autoreleasepool {
    NSBundle* const bundle = [NSBundle mainBundle];
    NSDictionary* const information = [bundle infoDictionary];
    BundleFacts facts;
    facts.bundleIdentifier = textFrom([bundle bundleIdentifier]);
    facts.hasInfoDictionary = bundle != nil;
    facts.bundleVersion = textFrom([information objectForKey:@"CFBundleVersion"]);
    facts.displayName = textFrom([information objectForKey:@"CFBundleDisplayName"]);
    facts.shortVersion = textFrom([information objectForKey:@"CFBundleShortVersionString"]);
    facts.appStoreReceiptPath = textFrom([[bundle appStoreReceiptURL] path]);
    return facts;
  }
}

}  // namespace quarnel
