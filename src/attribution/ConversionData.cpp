#include "attribution/ConversionData.h"

#include <chrono>
#include <stdexcept>
#include <string_view>
#include <utility>

#include "compose/DelegateCall.h"
#include "compose/Report.h"
#include "installation/PersistedKeys.h"
#include "installation/StoredValues.h"
#include "platform/UserDefaults.h"
#include "util/Json.h"
#include "util/Text.h"

namespace quarnel {
namespace {

constexpr std::string_view kOperation = "-[QuarnelTracker getConversionData]";
constexpr std::string_view kCompletion = "-[QuarnelTracker getConversionData]_block_invoke";

constexpr std::chrono::hours kLifetime{60 * 24};
constexpr std::int64_t kMostRetries = 5;

double seconds(std::chrono::duration<double> duration) { return duration.count(); }

bool isFalse(const Value& value) {
  return value == Value(false) || value == Value(0) || value == Value(0.0);
}

}  // namespace

void ConversionData::loadConversionDataWithDelegate(QuarnelTrackerDelegate* delegate) {
  context_.state.set(&TrackerFields::delegate, delegate);
  getConversionData();
}

void ConversionData::launchDelivered() {
  if (!delegateListens()) return;
  context_.log(std::string(kBuildOperation) + "_block_invoke", "Quarnel: loading attribution data");
  getConversionData();
}

bool ConversionData::delegateListens() const {
  const QuarnelTrackerDelegate* delegate = context_.state.get(&TrackerFields::delegate);
  return delegate != nullptr && delegate->onConversionDataReceived;
}

void ConversionData::getConversionData() {
  if (!delegateListens()) return;
  if (auto stored = storedData()) {
    postToDelegate(context_, &QuarnelTrackerDelegate::onConversionDataReceived, *std::move(stored));
    return;
  }
  try {
    fetch();
  } catch (const std::exception& exception) {
    context_.log(kOperation, "could not request conversion data: ", exception.what());
    fail(makeError(0, "Quarnel server data error."));
  }
}

// The stored answer, unless it has expired. An expired one stays in the store, with its clock
// stopped: should the request fail, it is served again.
std::optional<Dictionary> ConversionData::storedData() {
  UserDefaults& defaults = context_.platform.userDefaults();
  const std::optional<Value> stored = defaults.get(keys::kConversionData);
  const double freshSince = storedDouble(defaults, keys::kConversionFreshSince);
  const double now = secondsSince1970(context_.platform.clock().now());
  if (freshSince != 0 && now - freshSince > seconds(kLifetime)) {
    defaults.set(keys::kConversionFreshSince, 0.0);
    return std::nullopt;
  }
  if (!stored || stored->dictionary() == nullptr) return std::nullopt;
  return *stored->dictionary();
}

void ConversionData::fetch() {
  const Date start = context_.platform.clock().now();
  if (storedInteger(context_.platform.userDefaults(), keys::kConversionRetries) >= kMostRetries)
    return;
  const TrackerFields fields = context_.state.snapshot();
  std::string url = "https://" + context_.services.conversionHost + "/install_data/v3/id";
  url += textOrNull(fields.appleAppID);
  url += "?devkey=";
  url += textOrNull(fields.quarnelDevKey);
  url += "&device_id=" + identity_.getQuarnelUID();
  context_.log(kOperation, "calling URL (conversion data): ", url);
  // The values stand in the URL as they are, so they can make it none.
  if (escapeForUrl(url) != url) throw std::invalid_argument("no valid URL: " + url);
  HttpRequest request;
  request.method = "GET";
  request.url = std::move(url);
  context_.platform.network().sharedSession().startDataTask(
      std::move(request), [this, start](const HttpResult& result) { receive(result, start); });
}

void ConversionData::receive(const HttpResult& result, Date start) {
  if (result.error) {
    const QuarnelTrackerDelegate* delegate = context_.state.get(&TrackerFields::delegate);
    if (delegate == nullptr || !delegate->onConversionDataRequestFailure) return;
    postToDelegate(context_, &QuarnelTrackerDelegate::onConversionDataRequestFailure,
                   *result.error);
    return;
  }
  if (!delegateListens()) return;
  const HttpResponse& response = *result.response;
  if (context_.log.isEnabled()) {
    context_.log(kCompletion, "conversion response from server:", validUtf8(response.body),
                 " \n <HTTP response, status ", response.status, ">");
  }
  if (response.status == 200) {
    receiveAnswer(response, start);
  } else {
    receiveRefusal(response.status);
  }
}

void ConversionData::receiveAnswer(const HttpResponse& response, Date start) {
  UserDefaults& defaults = context_.platform.userDefaults();
  defaults.set(keys::kConversionTiming, seconds(context_.platform.clock().now() - start));
  defaults.remove(keys::kConversionRetries);
  defaults.synchronize();
  JsonReadResult parsed = readJson(response.body);
  if (parsed.value && parsed.value->dictionary() != nullptr) {
    Dictionary data = std::move(*parsed.value->mutableDictionary());
    store(data);
    callDelegate(context_, &QuarnelTrackerDelegate::onConversionDataReceived, data);
    return;
  }
  context_.log(kCompletion, response.body.size());
  if (response.body.empty()) {
    fail(makeError(1, "Quarnel Empty response from server."));
  } else {
    fail(parsed.value ? makeError(0, "Quarnel bad JSON response.") : parsed.error);
  }
}

// Strips nulls and the service's mark of freshness, which starts the clock.
void ConversionData::store(Dictionary& data) {
  UserDefaults& defaults = context_.platform.userDefaults();
  QuarnelUtils::recursivelyRemoveNulls(data);
  if (const Value* isCache = data.find("iscache")) {
    const bool isFresh = isFalse(*isCache);
    data.remove("iscache");
    if (isFresh) {
      defaults.set(keys::kConversionFreshSince, secondsSince1970(context_.platform.clock().now()));
    }
  }
  defaults.set(keys::kConversionData, data);
  defaults.synchronize();
  context_.log(kCompletion, "Caching conversion data.");
}

// Refusals count only for a delegate that is told of them.
void ConversionData::receiveRefusal(int status) {
  const QuarnelTrackerDelegate* delegate = context_.state.get(&TrackerFields::delegate);
  if (delegate == nullptr || !delegate->onConversionDataRequestFailure) return;
  if (status >= 400 && status <= 499) {
    UserDefaults& defaults = context_.platform.userDefaults();
    const std::int64_t retries = storedInteger(defaults, keys::kConversionRetries);
    defaults.set(keys::kConversionRetries, retries < kMostRetries ? retries + 1 : kMostRetries);
    defaults.synchronize();
  }
  fail(makeError(status,
                 "Quarnel error response from server. Check your Quarnel key and Apple app ID."));
}

void ConversionData::fail(const Error& error) {
  callDelegate(context_, &QuarnelTrackerDelegate::onConversionDataRequestFailure, error);
}

Error ConversionData::makeError(int code, const char* description) const {
  return {context_.services.vendorPrefix + ".ErrorDomain", code, description};
}

}  // namespace quarnel
