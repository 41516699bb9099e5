#include "compose/ReportGatherer.h"

#include <stdexcept>
#include <utility>

#include "installation/PersistedKeys.h"
#include "installation/StoredValues.h"
#include "util/Json.h"
#include "util/JsonFields.h"
#include "util/NumberText.h"
#include "util/QuarnelDictionary.h"
#include "util/Text.h"
#include "util/Version.h"

namespace quarnel {

std::vector<ReportFacts> ReportGatherer::gather(std::vector<HandedOver>& reports) {
  std::vector<Counters::Numbered> numbered;
  for (const HandedOver& report : reports) {
    if (!report.handOver->settings->quarnelDevKey) continue;
    numbered.push_back({report.request.isInAppEvent(), report.handOver->moment});
  }
  std::vector<ReportNumbers> numbers;
  if (!numbered.empty()) numbers = counters_.number(numbered);

  std::vector<ReportFacts> gathered;
  gathered.reserve(numbers.size());
  std::size_t next = 0;
  for (HandedOver& report : reports) {
    if (!hasKey(report)) continue;
    const bool isFirstOfBatch = next == 0;
    try {
      gathered.push_back(gatherOne(report, numbers[next++], isFirstOfBatch));
    } catch (const std::exception& exception) {
      ledger_.count(Tally::kAbandoned);
      log_(kBuildOperation, "Error could not send url: ", exception.what());
    }
  }
  if (!gathered.empty()) defaults_.synchronize();
  return gathered;
}

bool ReportGatherer::hasKey(const HandedOver& report) {
  const auto& key = report.handOver->settings->quarnelDevKey;
  log_(kBuildOperation, "(", kLibraryVersion, "): entered callServerWithEventName.");
  log_(kBuildOperation, "dev key: ", key.value_or("").empty() ? "missing!!!" : *key);
  if (key) return true;
  ledger_.count(Tally::kMissingDeveloperKey);
  log_(kBuildOperation, "Quarnel dev key is missing");
  return false;
}

ReportFacts ReportGatherer::gatherOne(HandedOver& report, const ReportNumbers& numbers,
                                      bool isFirstOfBatch) {
  const HandOver& handOver = *report.handOver;
  ReportFacts facts;
  facts.numbers = numbers;
  facts.receipt = enter(report);
  if (log_.isEnabled()) {
    counters_.logNumbers(numbers, report.request.isInAppEvent(), handOver.endedSessions);
  }
  JsonFields purchaseAndLink;
  purchaseAndLink.append(purchaseFields(report.request));
  if (handOver.pending) {
    if (handOver.pending->deeplink) takeLink(*handOver.pending, purchaseAndLink);
    if (handOver.pending->pushPayload) takePush(*handOver.pending, purchaseAndLink);
  }
  facts.purchaseAndLink = purchaseAndLink.take();
  // In debug mode each report has the lines of its fields.
  const bool isAsBefore = handOver.settings == settings_ && handOver.ads == ads_;
  if (isFirstOfBatch || !isAsBefore || log_.isEnabled()) readCommon(handOver);
  facts.common = common_;
  facts.request = std::move(report.request);
  facts.handOver = std::move(report.handOver);
  return facts;
}

// Decides whether the report is the first one of the installation. Returns the receipt's field,
// which a launch that is the first report carries.
std::string ReportGatherer::enter(const HandedOver& report) {
  identity_.validateAppID(report.handOver->settings->appleAppID);
  const bool isFirstTime = !defaults_.get(keys::kInstallTimestamp);
  if (log_.isEnabled()) {
    log_(kBuildOperation, "First time = ", isFirstTime ? 1 : 0, " ",
         storedText(defaults_, keys::kInstallTimestamp), " ", keys::kInstallTimestamp);
  }
  if (!isFirstTime) return {};
  std::string receipt;
  if (report.request.isLaunch()) {
    log_(kBuildOperation, "Get install receipt");
    receipt = receiptField();
  }
  defaults_.set(keys::kInstallTimestamp, fixed(secondsSince1970(report.handOver->moment), 6));
  return receipt;
}

std::string ReportGatherer::receiptField() const {
  const Dictionary receipt = utils_.getStoreReceipt();
  const Value* status = receipt.find("status");
  if (status != nullptr && *status == Value("-1")) return {};
  JsonFields field;
  if (const auto json = utils_.getJsonStringFromDictionary(receipt)) {
    field.set("installReceiptData", json);
  }
  return field.take();
}

std::string ReportGatherer::purchaseFields(const ReportRequest& request) const {
  if (!request.dictionary) return {};
  QuarnelDictionary purchase;
  for (const char* key : {"productId", "price", "validated"}) {
    const Value* value = request.dictionary->find(key);
    purchase.setParameter(value != nullptr ? std::optional(*value) : std::nullopt,
                          std::string(key));
  }
  const auto json = utils_.getJsonDataFromDictionary(purchase.dict());
  if (!json) throw std::runtime_error("the purchase details have no JSON form");
  return json->substr(1, json->size() - 2);
}

void ReportGatherer::takeLink(const PendingLaunch& pending, JsonFields& fields) const {
  const std::string& link = *pending.deeplink;
  // A push payload takes the link's place in the report, not with the delegate.
  const bool isReplaced = pending.pushPayload && pushText(*pending.pushPayload);
  if (!isReplaced) fields.set("qn_deeplink", link);
  if (pending.sourceApplication) {
    fields.set("deeplink_sourceapplication", pending.sourceApplication);
  }
  Dictionary parameters;
  if (link.find("qn_deeplink=") != std::string::npos) {
    log_(kBuildOperation, "Quarnel deepLinkParameters = ", link);
    parameters = QuarnelUtils::URLQueryParameters(link);
  } else {
    log_(kBuildOperation, "Opened from Link = ", link);
    parameters.set("link", link);
  }
  if (delegate_.respondsTo(&QuarnelTrackerDelegate::onAppOpenAttribution)) {
    delegate_.post(&QuarnelTrackerDelegate::onAppOpenAttribution, std::move(parameters));
  }
}

void ReportGatherer::takePush(const PendingLaunch& pending, JsonFields& fields) const {
  if (const auto json = pushText(*pending.pushPayload)) {
    fields.set("qn_deeplink", json);
  } else {
    log_(kBuildOperation, "pushPayload is not valid json data");
  }
}

// Only a dictionary or an array is a JSON text of its own.
std::optional<std::string> ReportGatherer::pushText(const Value& payload) {
  const bool isContainer = payload.dictionary() != nullptr || payload.array() != nullptr;
  return isContainer ? writeJson(payload) : std::nullopt;
}

// Reports that say the same share one text, so that those that wait take little memory.
void ReportGatherer::readCommon(const HandOver& handOver) {
  const Settings& settings = *handOver.settings;
  const InstallationFacts facts = installation_.read(settings, handOver.moment);
  state_.set(&TrackerFields::advertiserId, std::optional(facts.advertising.identifier));
  settings_.reset();
  if (emailField(settings).isAbandoned) {
    throw std::invalid_argument("the e-mails hold no text, so there is no key for them");
  }
  CommonFields common = commonFields(facts, settings, *handOver.ads);
  if (!common_ || *common_ != common) {
    common_ = std::make_shared<const CommonFields>(std::move(common));
  }
  settings_ = handOver.settings;
  ads_ = handOver.ads;
}

}  // namespace quarnel
