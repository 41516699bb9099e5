#include "tracker/LaunchTracking.h"

#include <chrono>
#include <string_view>

#include "installation/PersistedKeys.h"
#include "installation/StoredValues.h"
#include "platform/CallOut.h"
#include "platform/Dispatcher.h"
#include "platform/HostServices.h"
#include "platform/UserDefaults.h"
#include "util/Json.h"
#include "util/Text.h"

namespace quarnel {
namespace {

constexpr std::string_view kOperation = "-[QuarnelTracker trackAppLaunch]";
constexpr std::string_view kCallback = "-[QuarnelTracker trackAppLaunch]_block_invoke";

constexpr std::chrono::milliseconds kLaunchDelay{100};
// An application that was left for no longer than this was not launched again.
constexpr std::chrono::seconds kShortAbsence{5};

std::optional<std::string> launchName() { return std::string(kLaunchEventName); }

}  // namespace

void LaunchTracking::trackAppLaunch() {
  context_.log(kOperation, "Launch");
  auto ticket = intake_.admit(kOperation, 0);
  if (!ticket) return;
  context_.state.set(&TrackerFields::didCollectIAdData, false);
  askAdClient();
  const auto queue =
      context_.platform.dispatcher().makeSerialQueue(context_.services.shortVendorPrefix + ".sdk");
  queue->postAfter(kLaunchDelay, [this, ticket = std::move(ticket)]() mutable {
    sendLaunchToServer(std::move(ticket));
  });
}

void LaunchTracking::askAdClient() {
  if (context_.state.get(&TrackerFields::disableIAdTracking)) return;
  const std::shared_ptr<AdClient> client = context_.platform.adClientLookup().sharedClient();
  // The store is asked last: where there is no ad client, the caller's thread stays off the disk.
  if (!client || storedBoolean(context_.platform.userDefaults(), keys::kAdAttribution)) return;
  context_.log(kOperation, "AdClient supported");
  callOut(context_.log, kOperation, [&] { ask(*client); });
}

void LaunchTracking::ask(const AdClient& client) {
  if (client.requestAttributionDetailsWithBlock) {
    client.requestAttributionDetailsWithBlock(
        [this](const std::optional<Dictionary>& details, const std::optional<Error>& error) {
          receiveDetails(details, error.has_value());
        });
  }
  if (client.lookupAdConversionDetails) {
    client.lookupAdConversionDetails(
        [this](std::optional<Date> purchaseDate, std::optional<Date> impressionDate) {
          receiveDates(purchaseDate, impressionDate);
        });
  } else if (client.determineAppInstallationAttributionWithCompletionHandler) {
    client.determineAppInstallationAttributionWithCompletionHandler(
        [this](bool attributed) { receiveAttributed(attributed); });
  }
}

void LaunchTracking::receiveDetails(const std::optional<Dictionary>& details, bool failed) {
  if (failed || !details) return;
  const Value copy(*details);
  context_.state.set(&TrackerFields::iADV3data, std::optional(copy));
  if (context_.log.isEnabled()) context_.log(kCallback, "attribution by iAD: ", describe(copy));
}

void LaunchTracking::receiveDates(std::optional<Date> purchaseDate,
                                  std::optional<Date> impressionDate) {
  UserDefaults& defaults = context_.platform.userDefaults();
  const bool attributed = purchaseDate && impressionDate;
  defaults.set(keys::kAdAttribution, attributed);
  if (attributed) {
    const DateFormatter formatter = context_.utils.getDateFormatter();
    defaults.set(keys::kAdPurchaseDate, formatter.string(*purchaseDate));
    defaults.set(keys::kAdImpressionDate, formatter.string(*impressionDate));
    if (context_.state.get(&TrackerFields::didCollectIAdData)) {
      reportLaunchAgain();
      context_.log(kCallback,
                   "attribution details by iAD: impression: ", describeDate(*impressionDate),
                   "\tpurchase", describeDate(*purchaseDate));
      context_.log(kCallback, "Got iAd attribution data after first launch");
    }
  }
  defaults.synchronize();
}

void LaunchTracking::receiveAttributed(bool attributed) {
  UserDefaults& defaults = context_.platform.userDefaults();
  defaults.set(keys::kAdAttribution, attributed);
  defaults.synchronize();
  if (!attributed || !context_.state.get(&TrackerFields::didCollectIAdData)) return;
  reportLaunchAgain();
  context_.log(kCallback, "attribution by iAD: ", 1);
  context_.log(kCallback, "Got iAd attribution after first launch");
}

void LaunchTracking::reportLaunchAgain() {
  if (auto ticket = intake_.admit(kCallback, 0)) {
    builder_.callServerWithEventName(launchName(), std::move(ticket));
  }
}

void LaunchTracking::sendLaunchToServer(Admission::SharedTicket ticket) {
  const std::optional<Date> leftAt = context_.state.get(&TrackerFields::timeWentToBG);
  if (leftAt) {
    const auto absence = context_.platform.clock().now() - *leftAt;
    if (absence <= kShortAbsence) {
      context_.ledger.count(Tally::kNotDue);
      context_.log("-[QuarnelTracker sendLaunchToServer]", "Time from launch ",
                   fixed(std::chrono::duration<double>(absence).count(), 6));
      return;
    }
  }
  builder_.callServerWithEventName(launchName(), std::move(ticket));
}

}  // namespace quarnel
