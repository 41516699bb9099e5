#include "attribution/UninstallRegistration.h"

#include <chrono>
#include <stdexcept>
#include <string_view>
#include <utility>

#include "installation/PersistedKeys.h"
#include "installation/StoredValues.h"
#include "util/Json.h"
#include "util/Text.h"
#include "util/Version.h"

namespace quarnel {
namespace {

constexpr std::string_view kOperation = "-[QuarnelTracker backgroundRegisterUninstall:]";
constexpr std::chrono::milliseconds kDelay{3500};

std::string required(const std::optional<std::string>& text, const char* key) {
  if (!text) throw std::invalid_argument(std::string("no value for ") + key);
  return *text;
}

}  // namespace

void UninstallRegistration::registerUninstall(Bytes deviceToken) {
  auto ticket = waiting_.admit(deviceToken.size());
  if (!ticket) {
    log_(kOperation, "too many tokens wait to be registered - not taking this one");
    return;
  }
  if (!remember(describeBytes(deviceToken))) return;
  const auto queue = dispatcher_.makeSerialQueue(services_.shortVendorPrefix + ".sdk");
  queue->postAfter(kDelay,
                   [this, ticket, token = hexadecimal(deviceToken.data(), deviceToken.size())] {
                     backgroundRegisterUninstall(token);
                   });
}

// False when the token is the one that is remembered already.
bool UninstallRegistration::remember(const std::string& description) {
  const std::lock_guard lock(mutex_);
  if (storedText(defaults_, keys::kDeviceToken) == description) return false;
  defaults_.set(keys::kDeviceToken, description);
  return true;
}

void UninstallRegistration::backgroundRegisterUninstall(const std::string& token) {
  try {
    std::string url = "https://" + services_.registerHost + "/api/v";
    url += kServerApiVersion;
    url += "/iosevent?buildnumber=";
    url += kLibraryVersion;
    url += "&app_id=";
    url += textOrNull(state_.settings()->appleAppID);
    log_(kOperation, "calling register Uninstall: ", url);
    HttpRequest request;
    request.method = "POST";
    request.url = std::move(url);
    request.headers = {{"Content-Type", "application/json"}};
    request.body = body(token);
    session_.start(std::move(request));
  } catch (const std::exception& exception) {
    log_(kOperation, "Register uninstall exception: ", exception.what());
  }
}

// The key spellings differ from those of a report, and servers expect them so.
std::string UninstallRegistration::body(const std::string& token) {
  const auto installDate = dates_.getInstallDate(utils_.getDateFormatter());
  const auto originalId = storedText(defaults_, keys::kOriginalUserId);
  const std::int64_t reinstallCounter = storedInteger(defaults_, keys::kReinstallCounter);
  const auto settings = state_.settings();
  const BundleFacts bundle = device_.mainBundle();
  const Dictionary body{
      {"devkey", required(settings->quarnelDevKey, "devkey")},
      {"uid", identity_.getQuarnelUID()},
      {"devicetoken", token},
      {"launch_counter", std::to_string(counters_.getCounter())},
      {"topic", required(bundle.bundleIdentifier, "topic")},
      {"install_date", installDate.value_or("")},
      // Known once a report was built in this run of the application.
      {"advertiserId", required(state_.get(&TrackerFields::advertiserId), "advertiserId")},
      {"OriginalQuarnelId", originalId.value_or("")},
      {"reInstallCounter", reinstallCounter},
      {"sdk_version", kLibraryVersion},
  };
  const auto json = utils_.getJsonStringFromDictionary(body);
  if (!json) throw std::runtime_error("the registration has no JSON form");
  return *json;
}

}  // namespace quarnel
