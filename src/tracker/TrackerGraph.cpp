#include "tracker/TrackerGraph.h"

#include <utility>

#include "platform/CounterStore.h"
#include "platform/Dispatcher.h"
#include "platform/HttpSession.h"

namespace quarnel {

QuarnelTracker::Graph::Graph(Platform& platform, ServiceConfiguration serviceConfiguration)
    : services(std::move(serviceConfiguration)),
      log(platform.logSink()),
      ledger(platform.counterStore()),
      utils(platform, log),
      context{platform, services, state, log, utils, ledger},
      dispatchQueue(platform.dispatcher().makeSerialQueue(services.vendorPrefix + ".QuarnelQueue")),
      serverHandler(platform.network().sharedSession(), log),
      requestCache(platform, services.vendorPrefix + ".QuarnelCache", log, ledger, serverHandler,
                   [this] { return state.get(&TrackerFields::appleAppID); }),
      statSession(platform, services.vendorPrefix, log),
      identity(context),
      counters(context),
      dates(context, counters),
      conversionData(context, identity),
      intake(log, ledger),
      builder(context, identity, counters, dates, serverHandler,
              [this] { conversionData.launchDelivered(); }),
      events(context, intake, builder, dispatchQueue),
      purchases(context, identity, serverHandler,
                [this](std::string eventName, Dictionary values) {
                  events.trackEventWithValues(std::move(eventName), std::move(values));
                }),
      uninstalls(context, identity, counters, dates, statSession),
      launches(context, intake, builder),
      links(context),
      lifecycle(context, counters, identity, statSession) {
  serverHandler.setReplay(requestCache);
  serverHandler.setObserver([this](bool delivered) {
    ledger.count(delivered ? Tally::kDelivered : Tally::kFailed);
    builder.exchangeEnded();
  });
  state.set(&TrackerFields::platfromDevName, utils.develomentPlatformName());
  lifecycle.start();
}

}  // namespace quarnel
