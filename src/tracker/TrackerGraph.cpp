#include "tracker/TrackerGraph.h"

#include <utility>

#include "platform/Dispatcher.h"
#include "platform/HttpSession.h"

namespace quarnel {

QuarnelTracker::Graph::Graph(Platform& platform, ServiceConfiguration serviceConfiguration)
    : services(std::move(serviceConfiguration)),
      log(platform.logSink()),
      utils(platform, log),
      context{platform, services, state, log, utils},
      dispatchQueue(platform.dispatcher().makeSerialQueue(services.vendorPrefix + ".QuarnelQueue")),
      serverHandler(platform.network().sharedSession(), log),
      requestCache(platform, services.vendorPrefix + ".QuarnelCache", log, serverHandler,
                   [this] { return state.get(&TrackerFields::appleAppID); }),
      statSession(platform, services.vendorPrefix, log),
      identity(context),
      counters(context),
      dates(context, counters),
      conversionData(context, identity),
      builder(context, identity, counters, dates, serverHandler,
              [this] { conversionData.launchDelivered(); }),
      events(context, builder, dispatchQueue),
      purchases(context, identity, serverHandler,
                [this](std::string eventName, Dictionary values) {
                  events.trackEventWithValues(std::move(eventName), std::move(values));
                }),
      uninstalls(context, identity, counters, dates, statSession),
      launches(context, builder),
      links(context),
      lifecycle(context, counters, identity, statSession) {
  serverHandler.setReplay(requestCache);
  state.set(&TrackerFields::platfromDevName, utils.develomentPlatformName());
  lifecycle.start();
}

}  // namespace quarnel
