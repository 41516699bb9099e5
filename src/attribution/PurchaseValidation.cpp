#include "attribution/PurchaseValidation.h"

#include <string_view>
#include <utility>

#include "platform/DeviceFacts.h"
#include "platform/Dispatcher.h"
#include "transport/QuarnelServerHandler.h"
#include "util/ApproximateSize.h"
#include "util/CallOut.h"
#include "util/Json.h"
#include "util/SystemVersion.h"
#include "util/Text.h"

namespace quarnel {
namespace {

constexpr std::string_view kOperation =
    "-[QuarnelTracker validateAndTrackInAppPurchase:price:currency:transactionId:"
    "additionalParameters:success:failure:]";
constexpr std::string_view kCompletion =
    "-[QuarnelTracker validateAndTrackInAppPurchase:price:currency:transactionId:"
    "additionalParameters:success:failure:]_block_invoke";

// Whether the status stands for a valid receipt: 0, or a text that reads as 0.
bool isValidStatus(const Value* status) {
  if (status == nullptr) return false;
  if (const auto* integer = status->integer()) return *integer == 0;
  if (const auto* number = status->number()) return *number > -1 && *number < 1;
  if (const auto* text = status->text()) return integerValue(*text) == 0;
  if (const auto* boolean = status->boolean()) return !*boolean;
  return false;
}

const Value* entry(const Value* value, std::string_view key) {
  const Dictionary* dictionary = value != nullptr ? value->dictionary() : nullptr;
  return dictionary != nullptr ? dictionary->find(key) : nullptr;
}

bool holdsTransaction(const Value& answer, const std::string& transactionId) {
  const Value* records = entry(entry(&answer, "receipt"), "in_app");
  if (records == nullptr || records->array() == nullptr) return false;
  for (const Value& record : *records->array()) {
    const Value* id = entry(&record, "transaction_id");
    if (id != nullptr && id->text() != nullptr && *id->text() == transactionId) return true;
  }
  return false;
}

}  // namespace

PurchaseValidation::PurchaseValidation(HttpSession& session, Dispatcher& dispatcher,
                                       const Device& device, const ServiceConfiguration& services,
                                       const TrackerState& state, DeviceIdentity& identity,
                                       const QuarnelUtils& utils, const DebugLog& log,
                                       TrackEvent trackEvent)
    : session_(session),
      device_(device),
      services_(services),
      state_(state),
      identity_(identity),
      utils_(utils),
      log_(log),
      trackEvent_(std::move(trackEvent)),
      queue_(dispatcher.makeSerialQueue(services.vendorPrefix + ".QuarnelPurchases")) {}

void PurchaseValidation::validateAndTrackInAppPurchase(
    std::optional<std::string> productIdentifier, Value price, std::optional<std::string> currency,
    std::optional<std::string> transactionId, std::optional<Dictionary> additionalParameters,
    ValidationSuccess success, ValidationFailure failure) {
  if (!isVersionAtLeast(device_.systemVersion(), "7")) return;
  if (!productIdentifier || !transactionId) {
    log_(kOperation, "Quarnel Error: validateInAppPurchase Parameters cannot be nil");
    return;
  }
  const std::size_t size = productIdentifier->size() + transactionId->size() +
                           (additionalParameters ? approximateSize(*additionalParameters) : 0);
  auto purchase = std::make_shared<const Purchase>(
      Purchase{validUtf8(*std::move(productIdentifier)), std::move(price), std::move(currency),
               validUtf8(*std::move(transactionId)), std::move(additionalParameters),
               std::move(success), std::move(failure), state_.settings(), waiting_.admit(size)});
  if (!purchase->ticket) {
    const Error error{services_.vendorPrefix + ".ErrorDomain", 0,
                      "too many purchases wait for validation"};
    trackPurchase(*purchase, examine(*purchase, error, std::nullopt));
    return;
  }
  queue_->post([this, purchase = std::move(purchase)] { start(purchase); });
}

void PurchaseValidation::start(const SharedPurchase& purchase) {
  Dictionary receipt = utils_.getStoreReceipt();
  if (receipt.find("data") == nullptr) {
    const Error error{services_.vendorPrefix + ".ErrorDomain", 0, "no store receipt"};
    trackPurchase(*purchase, examine(*purchase, error, std::nullopt));
    return;
  }
  const Dictionary request = parameters(std::move(receipt), *purchase->settings);
  if (log_.isEnabled()) log_(kOperation, "parameters = ", describe(request));
  QuarnelServerHandler::sendPOSTRequest(
      session_, log_, request,
      [this, purchase](const std::optional<Error>& error, const std::optional<std::string>& body) {
        trackPurchase(*purchase, examine(*purchase, error, body));
      });
}

Dictionary PurchaseValidation::parameters(Dictionary receipt, const Settings& settings) {
  const auto set = [&receipt](const char* key, const std::optional<std::string>& text) {
    if (text) receipt.set(key, *text);
  };
  set("quarnelId", identity_.getQuarnelUID());
  set("appDevKey", settings.quarnelDevKey);
  set("appId", settings.appleAppID);
  set("sandbox", settings.useReceiptValidationSandbox ? "true" : "false");
  set("url", "https://" + services_.servicesHost + "/validate-ios-receipt");
  return receipt;
}

// Tells the application what came out, and returns whether the purchase is valid.
bool PurchaseValidation::examine(const Purchase& purchase, const std::optional<Error>& error,
                                 const std::optional<std::string>& body) {
  if (error) {
    log_(kCompletion, "Failed validating receipt = ", error->description);
    return fail(purchase, error, body ? std::optional<Value>(*body) : std::nullopt);
  }
  const JsonReadResult parsed = readJson(body.value_or(""));
  if (!parsed.value) return fail(purchase, parsed.error, std::nullopt);
  return examineAnswer(purchase, *parsed.value);
}

bool PurchaseValidation::examineAnswer(const Purchase& purchase, const Value& answer) {
  if (!isValidStatus(entry(&answer, "status"))) {
    if (log_.isEnabled()) {
      log_(kCompletion, "Failed validating receipt = ", describe(answer));
    }
    return fail(purchase, std::nullopt, answer);
  }
  if (!holdsTransaction(answer, purchase.transactionId)) {
    log_(kCompletion, "Transaction not found in receipt data - validation failed.");
    return fail(purchase, std::nullopt, answer);
  }
  log_(kCompletion, "Succeeded validating receipt");
  if (purchase.success) {
    callOut(log_, kCompletion, [&] { purchase.success(*answer.dictionary()); });
  }
  return true;
}

bool PurchaseValidation::fail(const Purchase& purchase, const std::optional<Error>& error,
                              const std::optional<Value>& answer) {
  if (purchase.failure) {
    callOut(log_, kCompletion, [&] { purchase.failure(error, answer); });
  }
  return false;
}

void PurchaseValidation::trackPurchase(const Purchase& purchase, bool isValidated) {
  Dictionary values{
      {"qn_revenue", purchase.price},
      {"qn_validated", isValidated ? "true" : "false"},
      {"qn_content_id", purchase.productIdentifier},
      {"qn_currency", purchase.currency ? Value(*purchase.currency) : Value()},
      {"qn_quantity", 1},
  };
  if (purchase.additionalParameters) values.set("qn_param_1", *purchase.additionalParameters);
  trackEvent_("qn_purchase", std::move(values));
}

}  // namespace quarnel
