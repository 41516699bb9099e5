#include "compose/ReportBuilder.h"

#include <algorithm>
#include <stdexcept>
#include <string_view>
#include <utility>

#include "compose/BodyEncoder.h"
#include "compose/EndpointURLs.h"
#include "compose/ReportIntake.h"
#include "installation/PersistedKeys.h"
#include "installation/StoredValues.h"
#include "platform/Dispatcher.h"
#include "platform/FileSystem.h"
#include "platform/UserDefaults.h"
#include "util/Json.h"

namespace quarnel {
namespace {

// Keeps the transport's connections busy while reports are built. Those that wait go on in batches:
// one at a time, each outcome would wake a thread.
constexpr std::size_t kMostInFlight = 256;
constexpr std::size_t kFewInFlight = kMostInFlight * 3 / 4;
constexpr std::size_t kBatch = 32;

// So many wait only when reports come faster than they can leave. Short of the most that may wait:
// a burst of nearly so many is still delivered whole.
constexpr std::size_t kTooManyToHoldBack = ReportIntake::kMostReports * 15 / 16;

}  // namespace

ReportBuilder::ReportBuilder(const TrackerContext& context, DeviceIdentity& identity,
                             Counters& counters, InstallDates& dates,
                             QuarnelServerHandler& serverHandler,
                             std::function<void()> launchDelivered)
    : context_(context),
      identity_(identity),
      counters_(counters),
      dates_(dates),
      serverHandler_(serverHandler),
      launchDelivered_(std::move(launchDelivered)),
      deviceFields_(context, identity),
      userFields_(context),
      attributionFields_(context),
      queue_(context.platform.dispatcher().makeSerialQueue(context.services.vendorPrefix +
                                                           ".QuarnelReports")) {}

void ReportBuilder::callServerWithEventName(std::optional<std::string> eventName,
                                            Admission::SharedTicket ticket) {
  callServerWithEventName(std::move(eventName), std::nullopt, std::nullopt, false, false,
                          std::move(ticket));
}

void ReportBuilder::callServerWithEventName(std::optional<std::string> eventName,
                                            std::optional<std::string> value, bool isInAppEvent,
                                            bool isNewAPI, Admission::SharedTicket ticket) {
  callServerWithEventName(std::move(eventName), std::move(value), std::nullopt, isInAppEvent,
                          isNewAPI, std::move(ticket));
}

void ReportBuilder::callServerWithEventName(std::optional<std::string> eventName,
                                            std::optional<std::string> value,
                                            std::optional<Dictionary> dictionary, bool isEvent,
                                            bool isNewAPI, Admission::SharedTicket ticket) {
  Report report;
  report.eventName = std::move(eventName);
  report.value = std::move(value);
  report.dictionary = std::move(dictionary);
  report.isEvent = isEvent;
  report.isNewAPI = isNewAPI;
  report.ticket = std::move(ticket);
  {
    const std::lock_guard lock(mutex_);
    arrived_.push_back(std::move(report));
    if (std::exchange(isTaskQueued_, true)) return;  // It takes all that have arrived.
  }
  try {
    queue_->post([this] {
      takeArrived();
      buildWaiting();
    });
  } catch (...) {
    // Out of memory: the report goes with the next one.
    const std::lock_guard lock(mutex_);
    isTaskQueued_ = false;
    throw;
  }
}

// One by one: should memory run out, each is in one of the two.
void ReportBuilder::takeArrived() {
  const std::lock_guard lock(mutex_);
  isTaskQueued_ = false;
  while (!arrived_.empty()) {
    waiting_.push_back(std::move(arrived_.front()));
    arrived_.pop_front();
  }
}

void ReportBuilder::exchangeEnded() {
  if (--inFlight_ <= kFewInFlight && isHeld_.exchange(false))
    queue_->post([this] { buildWaiting(); });
}

void ReportBuilder::buildWaiting() {
  while (!waiting_.empty()) {
    // Before the test for room: an exchange that ends after it finds the mark and goes on here.
    isHeld_ = true;
    if (!hasRoom()) return;
    isHeld_ = false;
    buildBatch();
  }
}

// What the reports of a batch change in the user defaults is committed together, as a commit costs
// as much as the rest of a report: their numbers before the first of them leaves, as for a single
// report, and the time of the last one once all have been handed on.
void ReportBuilder::buildBatch() {
  const std::size_t count = std::min(waiting_.size(), kBatch);
  const auto isInAppEvent = [](const Report& report) { return report.isInAppEvent(); };
  const auto end = waiting_.begin() + static_cast<std::ptrdiff_t>(count);
  const auto events = std::count_if(waiting_.begin(), end, isInAppEvent);
  hasWifi_.reset();  // It is the same for the milliseconds that a batch takes.
  const bool isTogether = events > 1 && context_.state.get(&TrackerFields::quarnelDevKey);
  if (isTogether) counters_.reserveInApp(static_cast<std::size_t>(events));
  for (std::size_t i = 0; i < count; ++i) {
    Report report = std::move(waiting_.front());
    waiting_.pop_front();
    build(report);
  }
  if (isTogether) context_.platform.userDefaults().synchronize();
}

bool ReportBuilder::hasRoom() const {
  return inFlight_ < kMostInFlight || waiting_.size() > kTooManyToHoldBack;
}

void ReportBuilder::build(Report& report) {
  try {
    if (!enter(report)) return;
    fillBody(report);
    handOff(report);
  } catch (const std::exception& exception) {
    context_.ledger.count(Tally::kAbandoned);
    context_.log(kBuildOperation, "Error could not send url: ", exception.what());
  }
}

// The entry checks and the decisions about the installation; false for a report that is dropped.
bool ReportBuilder::enter(Report& report) {
  context_.log(kBuildOperation, "(", kLibraryVersion, "): entered callServerWithEventName.");
  const std::optional<std::string> key = context_.state.get(&TrackerFields::quarnelDevKey);
  context_.log(kBuildOperation, "dev key: ", key.value_or("").empty() ? "missing!!!" : *key);
  if (!key) {
    context_.ledger.count(Tally::kMissingDeveloperKey);
    context_.log(kBuildOperation, "Quarnel dev key is missing");
    return false;
  }
  identity_.validateAppID();

  UserDefaults& defaults = context_.platform.userDefaults();
  report.isFirstTime = !defaults.get(keys::kInstallTimestamp);
  context_.log(kBuildOperation, "First time = ", report.isFirstTime ? 1 : 0, " ",
               storedText(defaults, keys::kInstallTimestamp), " ", keys::kInstallTimestamp);
  const Date now = context_.platform.clock().now();
  if (report.isLaunch()) {
    context_.state.set(&TrackerFields::lastLaunchTime, std::optional(now));
    if (report.isFirstTime) {
      context_.log(kBuildOperation, "Get install receipt");
      report.receipt = context_.utils.getStoreReceipt();
    }
  }
  if (report.isFirstTime) defaults.set(keys::kInstallTimestamp, fixed(secondsSince1970(now), 6));
  return true;
}

// Sets the fields in the order in which they are sent.
void ReportBuilder::fillBody(Report& report) {
  const DeviceFacts device = context_.platform.device().currentDevice();
  const BundleFacts bundle = context_.platform.device().mainBundle();
  report.set("uid", identity_.getQuarnelUID());
  report.set("serverApiVersion", kServerApiVersion);
  addReceipt(report);
  deviceFields_.addDevice(report, device);
  addCounters(report);
  userFields_.addPurchase(report);
  attributionFields_.addLinkAndPush(report);
  deviceFields_.addAdvertising(report);
  deviceFields_.addApplication(report, device, bundle);
  addDates(report, bundle);
  deviceFields_.addLocale(report, device);
  userFields_.addEvent(report);
  addNetwork(report);
  attributionFields_.addAttribution(report);
  userFields_.addEmails(report);
  if (report.isLaunch()) context_.state.set(&TrackerFields::didCollectIAdData, true);
}

void ReportBuilder::addReceipt(Report& report) {
  if (!report.receipt) return;
  const Value* status = report.receipt->find("status");
  if (status != nullptr && *status == Value("-1")) return;
  if (auto json = context_.utils.getJsonStringFromDictionary(*report.receipt)) {
    report.set("installReceiptData", *std::move(json));
  }
}

void ReportBuilder::addNetwork(Report& report) {
  context_.log(kBuildOperation, "check network");
  if (!hasWifi_) hasWifi_ = deviceFields_.hasWifi();
  report.set("wifi", *hasWifi_);
}

// A report counts as a launch or as an in-app event, never as both.
void ReportBuilder::addCounters(Report& report) {
  const bool isInAppEvent = report.isInAppEvent();
  // First, so that the counter that is increased and the time are committed together.
  const auto passed = static_cast<float>(counters_.getTimePassedSinceLastLaunch());
  report.set("counter", counters_.getCounter(!isInAppEvent));
  report.set("sessioncounter", counters_.getRealLaunchCounter());
  report.set("iaecounter", counters_.getInAppCounter(isInAppEvent));
  report.set("timepassedsincelastlaunch", shortestDouble(passed));
}

void ReportBuilder::addDates(Report& report, const BundleFacts& bundle) {
  const DateFormatter formatter = context_.utils.getDateFormatter();
  const FileSystem& files = context_.platform.fileSystem();
  const auto date1 = dates_.getInstallDate(formatter);
  const auto date2 = formatter.string(files.modificationDate(files.temporaryDirectory()));
  context_.log(kBuildOperation, "Looking for previous version date.");
  const auto version = bundle.hasInfoDictionary ? bundle.bundleVersion : std::nullopt;
  const auto date3 = dates_.getVersionUpdateDate(version, date2);
  context_.log(kBuildOperation, "date1= ", date1);
  context_.log(kBuildOperation, "date2= ", date2);
  context_.log(kBuildOperation, "date3= ", date3);
  report.set("date1", date1);
  report.set("date2", date2);
  report.set("date3", date3);
  report.set("firstLaunchDate", dates_.getFirstLanuchDate(formatter));
}

void ReportBuilder::handOff(const Report& report) {
  const auto json = context_.utils.getJsonDataFromDictionary(report.body.dict());
  if (!json) throw std::runtime_error("the report has no JSON form");
  const TrackerFields fields = context_.state.snapshot();
  auto record = std::make_shared<const QuarnelRequestCacheData>(
      createURLFor(context_.services, "event", fields.appleAppID, report.isEvent),
      encodeBody(*json, fields.quarnelDevKey.value_or("")), kLibraryVersion);
  std::function<void()> onSuccess;
  if (report.isLaunch()) onSuccess = launchDelivered_;
  context_.ledger.count(Tally::kBuilt);
  ++inFlight_;
  serverHandler_.sendRequestEventToServer(std::move(record), false, fields.appleAppID,
                                          context_.log.isEnabled(), std::move(onSuccess));
}

}  // namespace quarnel
