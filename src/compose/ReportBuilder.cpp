#include "compose/ReportBuilder.h"

#include <exception>
#include <utility>

#include "compose/BodyEncoder.h"
#include "compose/EndpointURLs.h"
#include "compose/ReportBody.h"
#include "installation/PersistedKeys.h"
#include "installation/StoredValues.h"
#include "util/Limits.h"
#include "util/Version.h"

namespace quarnel {

ReportBuilder::ReportBuilder(std::shared_ptr<SerialQueue> queue, const Clock& clock,
                             const UserDefaults& defaults, const ServiceConfiguration& services,
                             TrackerState& state, ReportGatherer& gatherer, Delivery& delivery,
                             Ledger& ledger, const DebugLog& log,
                             std::function<void()> launchDelivered)
    : queue_(std::move(queue)),
      clock_(clock),
      defaults_(defaults),
      services_(services),
      state_(state),
      gatherer_(gatherer),
      delivery_(delivery),
      ledger_(ledger),
      log_(log),
      launchDelivered_(std::move(launchDelivered)) {}

// --- Hand-over
// ------------------------------------------------------------------------------------

void ReportBuilder::callServerWithEventName(std::optional<std::string> eventName,
                                            Admission::SharedTicket ticket) {
  callServerWithEventName(std::move(eventName), std::nullopt, false, false, std::move(ticket));
}

void ReportBuilder::callServerWithEventName(std::optional<std::string> eventName,
                                            std::optional<std::string> value, bool isInAppEvent,
                                            bool isNewAPI, Admission::SharedTicket ticket) {
  ReportRequest request;
  request.eventName = std::move(eventName);
  request.value = std::move(value);
  request.isEvent = isInAppEvent;
  request.isNewAPI = isNewAPI;
  request.ticket = std::move(ticket);
  callServerWithEventName(std::move(request));
}

void ReportBuilder::callServerWithEventName(ReportRequest request) {
  std::shared_ptr<const HandOver> handOver = takeHandOver(request.isLaunch());
  put(HandedOver{std::move(request), std::move(handOver)});
}

void ReportBuilder::callServerWithEventNames(std::vector<ReportRequest> requests) {
  std::shared_ptr<const HandOver> shared;
  for (ReportRequest& request : requests) {
    if (request.isLaunch()) {
      callServerWithEventName(std::move(request));
      continue;
    }
    if (!shared) shared = takeHandOver(false);
    put(HandedOver{std::move(request), shared});
  }
}

// The stored values are read from memory. The first reading of all loads the file, so it comes
// before the critical section.
std::unique_ptr<HandOver> ReportBuilder::takeHandOver(bool isLaunch) {
  auto handOver = std::make_unique<HandOver>();
  defaults_.get(keys::kRealLaunchCounter);
  state_.update([&](TrackerFields& fields) {
    handOver->moment = clock_.now();
    handOver->settings = fields.settings;
    if (const auto ended = defaults_.get(keys::kRealLaunchCounter)) {
      handOver->endedSessions = storedCounter(ended);
    }
    handOver->ads = adAttribution(fields.iADV3data);
    // A launch without a developer key is dropped, and the link waits for the next one.
    if (!isLaunch || !fields.settings->quarnelDevKey) return;
    fields.lastLaunchTime = handOver->moment;
    fields.didCollectIAdData = true;
    auto pending = std::make_unique<PendingLaunch>();
    if (fields.pending.deeplink) {
      pending->deeplink = std::exchange(fields.pending.deeplink, std::nullopt);
      pending->sourceApplication = std::exchange(fields.pending.sourceApplication, std::nullopt);
    }
    pending->pushPayload = std::exchange(fields.pending.pushPayload, std::nullopt);
    handOver->pending = std::move(pending);
  });
  return handOver;
}

std::shared_ptr<const AdAttribution> ReportBuilder::adAttribution(
    std::optional<Value> details) const {
  static const auto& none = *new std::shared_ptr(std::make_shared<const AdAttribution>());
  const bool isAttributed = defaults_.get(keys::kAdAttribution).has_value();
  if (!isAttributed && !details) return none;
  AdAttribution ads;
  if (isAttributed) {
    ads.isAttributed = storedBoolean(defaults_, keys::kAdAttribution);
    ads.purchaseDate = storedText(defaults_, keys::kAdPurchaseDate);
    ads.impressionDate = storedText(defaults_, keys::kAdImpressionDate);
  }
  ads.details = std::move(details);
  return std::make_shared<const AdAttribution>(std::move(ads));
}

void ReportBuilder::afterGathering(Task task) { put(std::move(task)); }

void ReportBuilder::put(Arrival arrival) {
  arrived_.put(std::move(arrival), [this] { queue_->post([this] { gatherArrived(); }); });
}

// --- On the builder's queue
// -----------------------------------------------------------------------

void ReportBuilder::gatherArrived() {
  std::vector<HandedOver> batch;
  batch.reserve(limits::kGatherBatch);
  for (Arrival& arrival : arrived_.takeAll()) {
    auto* const report = std::get_if<HandedOver>(&arrival);
    if (report != nullptr) batch.push_back(std::move(*report));
    if (report == nullptr || batch.size() == limits::kGatherBatch) gather(batch);
    if (auto* const task = std::get_if<Task>(&arrival)) (*task)();
  }
  gather(batch);
}

void ReportBuilder::gather(std::vector<HandedOver>& batch) {
  if (batch.empty()) return;
  std::size_t left = batch.size();
  try {
    for (ReportFacts& facts : gatherer_.gather(batch)) {
      auto& waiting = facts.request.isLaunch() ? launches_ : others_;
      waiting.push_back(std::move(facts));
      --left;
    }
  } catch (const std::exception& exception) {
    // Memory has run out. Each report that is not gathered yet is counted.
    for (; left > 0; --left) ledger_.count(Tally::kAbandoned);
    log_(kBuildOperation, "Error could not send url: ", exception.what());
  }
  batch.clear();
  sendWaiting();
}

void ReportBuilder::sendWaiting() {
  while (!launches_.empty() || !others_.empty()) {
    // Before the test for room: an exchange that ends after it finds the mark and goes on here.
    isHeld_ = true;
    auto* const waiting = nextWithRoom();
    if (waiting == nullptr) return;
    isHeld_ = false;
    ReportFacts facts = std::move(waiting->front());
    waiting->pop_front();
    send(std::move(facts));
  }
}

std::deque<ReportFacts>* ReportBuilder::nextWithRoom() {
  if (!launches_.empty() && inFlight_ < limits::kMostInFlight + limits::kMostLaunchesInFlight) {
    return &launches_;
  }
  const bool hasRoom =
      inFlight_ < limits::kMostInFlight && bytesInFlight_ < limits::kMostInFlightBytes;
  return hasRoom && !others_.empty() ? &others_ : nullptr;
}

void ReportBuilder::send(ReportFacts facts) {
  try {
    const Settings& settings = *facts.handOver->settings;
    auto record = std::make_shared<const QuarnelRequestCacheData>(
        createURLFor(services_, "event", settings.appleAppID, facts.request.isEvent),
        encodeBody(composeBody(facts), *settings.quarnelDevKey), kLibraryVersion);
    const bool isLaunch = facts.request.isLaunch();
    ledger_.count(Tally::kBuilt);
    ++inFlight_;
    bytesInFlight_ += sizeOf(*record);
    facts.request = {};  // The ticket goes back before anything can settle.
    delivery_.send(std::move(record), settings.appleAppID,
                   isLaunch ? launchDelivered_ : std::function<void()>());
  } catch (const std::exception& exception) {
    ledger_.count(Tally::kAbandoned);
    log_(kBuildOperation, "Error could not send url: ", exception.what());
  }
}

void ReportBuilder::settled(std::size_t size) {
  bytesInFlight_ -= size;
  const std::size_t left = --inFlight_;
  // Reports that wait for room go on in groups: one at a time, each outcome would wake a thread.
  const bool goesOn =
      left <= limits::kMostInFlight * 3 / 4 && bytesInFlight_ <= limits::kMostInFlightBytes * 3 / 4;
  if (goesOn && isHeld_.exchange(false)) queue_->post([this] { sendWaiting(); });
}

}  // namespace quarnel
