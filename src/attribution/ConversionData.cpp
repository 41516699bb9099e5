#include "attribution/ConversionData.h"

#include <chrono>
#include <stdexcept>
#include <string_view>
#include <utility>

#include "installation/PersistedKeys.h"
#include "installation/StoredValues.h"
#include "util/Json.h"
#include "util/QuarnelUtils.h"
#include "util/Text.h"
#include "util/Url.h"

namespace quarnel {
namespace {

constexpr std::string_view kOperation = "-[QuarnelTracker getConversionData]";
constexpr std::string_view kCompletion = "-[QuarnelTracker getConversionData]_block_invoke";
constexpr std::string_view kLaunchDelivered =
    "-[QuarnelTracker callServerWithEventName:value:withDictionary:isEvent:isNewAPI:]_block_invoke";

constexpr std::chrono::hours kLifetime{60 * 24};
constexpr std::int64_t kMostRetries = 5;

double seconds(std::chrono::duration<double> duration) { return duration.count(); }

bool isFalse(const Value& value) {
  return value == Value(false) || value == Value(0) || value == Value(0.0);
}

}  // namespace

void ConversionData::loadConversionDataWithDelegate(
    std::shared_ptr<QuarnelTrackerDelegate> delegate) {
  delegate_.set(std::move(delegate));
  getConversionData();
}

void ConversionData::launchDelivered() {
  if (!delegateListens()) return;
  log_(kLaunchDelivered, "Quarnel: loading attribution data");
  getConversionData();
}

bool ConversionData::delegateListens() const {
  return delegate_.respondsTo(&QuarnelTrackerDelegate::onConversionDataReceived);
}

void ConversionData::getConversionData() {
  if (!delegateListens()) return;
  if (auto stored = storedData()) {
    delegate_.post(&QuarnelTrackerDelegate::onConversionDataReceived, *std::move(stored));
    return;
  }
  try {
    fetch();
  } catch (const std::exception& exception) {
    log_(kOperation, "could not request conversion data: ", exception.what());
    fail(makeError(0, "Quarnel server data error."));
  }
}

// The stored answer, unless it has expired. An expired one stays in the store, with its clock
// stopped: should the request fail, it is served again.
std::optional<Dictionary> ConversionData::storedData() {
  const std::optional<Value> stored = defaults_.get(keys::kConversionData);
  const double freshSince = storedDouble(defaults_, keys::kConversionFreshSince);
  const double now = secondsSince1970(clock_.now());
  if (freshSince != 0 && now - freshSince > seconds(kLifetime)) {
    defaults_.set(keys::kConversionFreshSince, 0.0);
    return std::nullopt;
  }
  if (!stored || stored->dictionary() == nullptr) return std::nullopt;
  return *stored->dictionary();
}

void ConversionData::fetch() {
  const Date start = clock_.now();
  if (storedInteger(defaults_, keys::kConversionRetries) >= kMostRetries) return;
  const auto settings = state_.settings();
  std::string url = "https://" + services_.conversionHost + "/install_data/v3/id";
  url += textOrNull(settings->appleAppID);
  url += "?devkey=";
  url += textOrNull(settings->quarnelDevKey);
  url += "&device_id=" + identity_.getQuarnelUID();
  log_(kOperation, "calling URL (conversion data): ", url);
  // The values stand in the URL as they are, so they can make it none.
  if (!isUrl(url)) throw std::invalid_argument("no valid URL: " + url);
  HttpRequest request;
  request.method = "GET";
  request.url = std::move(url);
  session_.startDataTask(std::move(request),
                         [this, start](const HttpResult& result) { receive(result, start); });
}

void ConversionData::receive(const HttpResult& result, Date start) {
  if (result.error) {
    if (!delegate_.respondsTo(&QuarnelTrackerDelegate::onConversionDataRequestFailure)) return;
    delegate_.post(&QuarnelTrackerDelegate::onConversionDataRequestFailure, *result.error);
    return;
  }
  if (!delegateListens()) return;
  const HttpResponse& response = *result.response;
  if (log_.isEnabled()) {
    log_(kCompletion, "conversion response from server:", validUtf8(response.body),
         " \n <HTTP response, status ", response.status, ">");
  }
  if (response.status == 200) {
    receiveAnswer(response, start);
  } else {
    receiveRefusal(response.status);
  }
}

void ConversionData::receiveAnswer(const HttpResponse& response, Date start) {
  defaults_.set(keys::kConversionTiming, seconds(clock_.now() - start));
  defaults_.remove(keys::kConversionRetries);
  defaults_.synchronize();
  JsonReadResult parsed = readJson(response.body);
  if (parsed.value && parsed.value->dictionary() != nullptr) {
    Dictionary data = std::move(*parsed.value->mutableDictionary());
    store(data);
    delegate_.call(&QuarnelTrackerDelegate::onConversionDataReceived, data);
    return;
  }
  log_(kCompletion, response.body.size());
  if (response.body.empty()) {
    fail(makeError(1, "Quarnel Empty response from server."));
  } else {
    fail(parsed.value ? makeError(0, "Quarnel bad JSON response.") : parsed.error);
  }
}

// Strips nulls and the service's mark of freshness, which starts the clock.
void ConversionData::store(Dictionary& data) {
  QuarnelUtils::recursivelyRemoveNulls(data);
  if (const Value* isCache = data.find("iscache")) {
    const bool isFresh = isFalse(*isCache);
    data.remove("iscache");
    if (isFresh) {
      defaults_.set(keys::kConversionFreshSince, secondsSince1970(clock_.now()));
    }
  }
  defaults_.set(keys::kConversionData, data);
  defaults_.synchronize();
  log_(kCompletion, "Caching conversion data.");
}

// Refusals count only for a delegate that is told of them.
void ConversionData::receiveRefusal(int status) {
  if (!delegate_.respondsTo(&QuarnelTrackerDelegate::onConversionDataRequestFailure)) return;
  if (status >= 400 && status <= 499) {
    const std::int64_t retries = storedInteger(defaults_, keys::kConversionRetries);
    defaults_.set(keys::kConversionRetries, retries < kMostRetries ? retries + 1 : kMostRetries);
    defaults_.synchronize();
  }
  fail(makeError(status,
                 "Quarnel error response from server. Check your Quarnel key and Apple app ID."));
}

void ConversionData::fail(const Error& error) const {
  delegate_.call(&QuarnelTrackerDelegate::onConversionDataRequestFailure, error);
}

Error ConversionData::makeError(int code, const char* description) const {
  return {services_.vendorPrefix + ".ErrorDomain", code, description};
}

}  // namespace quarnel
