#include "tracker/TrackerGraph.h"

#include <string>
#include <utility>

#include "platform/Clock.h"
#include "platform/DeviceFacts.h"
#include "platform/Dispatcher.h"
#include "platform/FileSystem.h"
#include "platform/HostServices.h"
#include "platform/HttpSession.h"
#include "platform/LogSink.h"
#include "util/Limits.h"

namespace quarnel {

QuarnelTracker::Graph::Graph(Platform& adapter, ServiceConfiguration serviceConfiguration)
    : platform(adapter),
      services(std::move(serviceConfiguration)),
      log([&sink = platform.logSink()](std::string_view line) { sink.write(line); }),
      ledger(platform.counterStore()),
      delegate(platform.dispatcher().mainQueue(), log),
      utils(utilsEnvironment(platform, log)),
      identity(platform.userDefaults(), platform.keychain(), platform.fileSystem(),
               platform.clock(), platform.random(), platform.dispatcher(),
               {services.keychainPrefix + ".sdk", services.shortVendorPrefix + ".sdk"}, log),
      counters(platform.userDefaults(), log),
      dates(platform.userDefaults(), platform.fileSystem(), counters, log),
      delivery(platform.network().sharedSession(), platform.fileSystem(), platform.dispatcher(),
               platform.clock(), services.vendorPrefix + ".QuarnelCache", ledger, log,
               [this](const QuarnelRequestCacheData& record) { builder.settled(sizeOf(record)); }),
      statSession(platform.network(), platform.device(), services.vendorPrefix, log),
      conversionData(platform.network().sharedSession(), platform.clock(), platform.userDefaults(),
                     services, state, delegate, identity, log),
      intake(log, ledger),
      installation(platform.device(), platform.fileSystem(), platform.networkInterfaces(),
                   platform.hostServices(), platform.userDefaults(), identity, dates, utils, log),
      gatherer(platform.userDefaults(), state, delegate, identity, counters, installation, utils,
               ledger, log),
      builder(platform.dispatcher().makeSerialQueue(services.vendorPrefix + ".QuarnelReports"),
              platform.clock(), platform.userDefaults(), services, state, gatherer, delivery,
              ledger, log, [this] { conversionData.launchDelivered(); }),
      events(intake, builder, platform.dispatcher().mainQueue(),
             platform.dispatcher().makeSerialQueue(services.vendorPrefix + ".QuarnelQueue"), log),
      purchases(platform.network().sharedSession(), platform.dispatcher(), platform.device(),
                services, state, identity, utils, log,
                [this](std::string eventName, Dictionary values) {
                  events.trackEventWithValues(std::move(eventName), std::move(values));
                }),
      uninstalls(platform.dispatcher(), platform.device(), platform.userDefaults(), services, state,
                 identity, counters, dates, statSession, utils, log),
      launches(intake, builder, platform.dispatcher(), platform.clock(), platform.hostServices(),
               platform.userDefaults(), services, state, utils, ledger, log),
      links(state, log),
      lifecycle(platform.notificationCenter(), platform.clock(), platform.device(),
                platform.userDefaults(), services, state, counters, identity, statSession, log,
                [this](Task task) { builder.afterGathering(std::move(task)); }) {
  const std::string platformName = utils.develomentPlatformName();
  state.changeSettings([&](Settings& settings) { settings.platfromDevName = platformName; });
  lifecycle.start();
}

QuarnelUtils::Environment utilsEnvironment(Platform& platform, const DebugLog& log) {
  QuarnelUtils::Environment environment;
  environment.classExists = [&platform](std::string_view name) {
    return platform.hostServices().classExists(name);
  };
  environment.hasCloudIdentity = [&platform] { return platform.hostServices().hasCloudIdentity(); };
  environment.storeReceipt = [&platform]() -> std::optional<std::string> {
    const auto path = platform.device().mainBundle().appStoreReceiptPath;
    if (!path) return std::nullopt;
    return platform.fileSystem().read(*path, limits::kLargestReceipt);
  };
  environment.utcOffset = [&platform](Date date) { return platform.clock().utcOffset(date); };
  environment.log = [&log](std::string_view line) { log.always(line); };
  return environment;
}

}  // namespace quarnel
