#include "tracker/LaunchTracking.h"

#include <chrono>
#include <string_view>

#include "installation/PersistedKeys.h"
#include "installation/StoredValues.h"
#include "util/CallOut.h"
#include "util/DateText.h"
#include "util/Json.h"
#include "util/NumberText.h"
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
  log_(kOperation, "Launch");
  auto ticket = intake_.admit(kOperation, 0);
  if (!ticket) return;
  state_.set(&TrackerFields::didCollectIAdData, false);
  askAdClient();
  const auto queue = dispatcher_.makeSerialQueue(services_.shortVendorPrefix + ".sdk");
  queue->postAfter(kLaunchDelay, [this, ticket = std::move(ticket)]() mutable {
    sendLaunchToServer(std::move(ticket));
  });
}

void LaunchTracking::askAdClient() {
  if (state_.settings()->disableIAdTracking) return;
  const std::shared_ptr<AdClient> client = hostServices_.sharedAdClient();
  // The store is asked last: where there is no ad client, the caller's thread stays off the disk.
  if (!client || storedBoolean(defaults_, keys::kAdAttribution)) return;
  log_(kOperation, "AdClient supported");
  // Each question by itself: one that throws does not silence the other.
  callOut(log_, kOperation, [&] { askForDetails(*client); });
  callOut(log_, kOperation, [&] { askForAttribution(*client); });
}

void LaunchTracking::askForDetails(const AdClient& client) {
  if (!client.requestAttributionDetailsWithBlock) return;
  client.requestAttributionDetailsWithBlock(
      [this](const std::optional<Dictionary>& details, const std::optional<Error>& error) {
        receiveDetails(details, error.has_value());
      });
}

void LaunchTracking::askForAttribution(const AdClient& client) {
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
  state_.set(&TrackerFields::iADV3data, std::optional(copy));
  if (log_.isEnabled()) log_(kCallback, "attribution by iAD: ", describe(copy));
}

void LaunchTracking::receiveDates(std::optional<Date> purchaseDate,
                                  std::optional<Date> impressionDate) {
  const bool attributed = purchaseDate && impressionDate;
  defaults_.set(keys::kAdAttribution, attributed);
  if (attributed) {
    const DateFormatter formatter = utils_.getDateFormatter();
    defaults_.set(keys::kAdPurchaseDate, formatter.string(*purchaseDate));
    defaults_.set(keys::kAdImpressionDate, formatter.string(*impressionDate));
    if (state_.get(&TrackerFields::didCollectIAdData)) {
      reportLaunchAgain();
      log_(kCallback, "attribution details by iAD: impression: ", describeDate(*impressionDate),
           "\tpurchase", describeDate(*purchaseDate));
      log_(kCallback, "Got iAd attribution data after first launch");
    }
  }
  defaults_.synchronize();
}

void LaunchTracking::receiveAttributed(bool attributed) {
  defaults_.set(keys::kAdAttribution, attributed);
  defaults_.synchronize();
  if (!attributed || !state_.get(&TrackerFields::didCollectIAdData)) return;
  reportLaunchAgain();
  log_(kCallback, "attribution by iAD: ", 1);
  log_(kCallback, "Got iAd attribution after first launch");
}

void LaunchTracking::reportLaunchAgain() {
  if (auto ticket = intake_.admit(kCallback, 0)) {
    builder_.callServerWithEventName(launchName(), std::move(ticket));
  }
}

void LaunchTracking::sendLaunchToServer(Admission::SharedTicket ticket) {
  const std::optional<Date> leftAt = state_.get(&TrackerFields::timeWentToBG);
  if (leftAt) {
    const auto absence = clock_.now() - *leftAt;
    if (absence <= kShortAbsence) {
      ledger_.count(Tally::kNotDue);
      log_("-[QuarnelTracker sendLaunchToServer]", "Time from launch ",
           fixed(std::chrono::duration<double>(absence).count(), 6));
      return;
    }
  }
  builder_.callServerWithEventName(launchName(), std::move(ticket));
}

}  // namespace quarnel
