#include "attribution/UninstallRegistration.h"

#include <chrono>
#include <stdexcept>
#include <string_view>
#include <utility>

#include "installation/PersistedKeys.h"
#include "installation/StoredValues.h"
#include "platform/DeviceFacts.h"
#include "platform/Dispatcher.h"
#include "platform/UserDefaults.h"
#include "util/Json.h"
#include "util/Text.h"

namespace quarnel {
namespace {

constexpr std::string_view kOperation = "-[QuarnelTracker backgroundRegisterUninstall:]";
constexpr std::chrono::milliseconds kDelay{3500};

std::string required(const std::optional<std::string>& text, const char* key) {
  if (!text) throw std::invalid_argument(std::string("no value for ") + key);
  return *text;
}

}  // namespace

UninstallRegistration::UninstallRegistration(const TrackerContext& context,
                                             DeviceIdentity& identity, Counters& counters,
                                             InstallDates& dates, StatSession& session)
    : context_(context),
      identity_(identity),
      counters_(counters),
      dates_(dates),
      session_(session),
      queue_(context.platform.dispatcher().makeSerialQueue(context.services.vendorPrefix +
                                                           ".QuarnelTokens")) {}

void UninstallRegistration::registerUninstall(Bytes deviceToken) {
  auto ticket = waiting_.admit(deviceToken.size());
  if (!ticket) {
    context_.log(kOperation, "too many tokens wait to be registered - not taking this one");
    return;
  }
  queue_->post([this, deviceToken = std::move(deviceToken), ticket = std::move(ticket)] {
    remember(deviceToken, ticket);
  });
}

void UninstallRegistration::remember(const Bytes& deviceToken,
                                     const Admission::SharedTicket& ticket) {
  UserDefaults& defaults = context_.platform.userDefaults();
  const std::string description = describeBytes(deviceToken);
  if (storedText(defaults, keys::kDeviceToken) == description) return;
  defaults.set(keys::kDeviceToken, description);
  const auto queue =
      context_.platform.dispatcher().makeSerialQueue(context_.services.shortVendorPrefix + ".sdk");
  queue->postAfter(kDelay,
                   [this, ticket, token = hexadecimal(deviceToken.data(), deviceToken.size())] {
                     backgroundRegisterUninstall(token);
                   });
}

void UninstallRegistration::backgroundRegisterUninstall(const std::string& token) {
  try {
    std::string url = "https://" + context_.services.registerHost + "/api/v";
    url += kServerApiVersion;
    url += "/iosevent?buildnumber=";
    url += kLibraryVersion;
    url += "&app_id=";
    url += textOrNull(context_.state.get(&TrackerFields::appleAppID));
    context_.log(kOperation, "calling register Uninstall: ", url);
    HttpRequest request;
    request.method = "POST";
    request.url = std::move(url);
    request.headers = {{"Content-Type", "application/json"}};
    request.body = body(token);
    session_.start(std::move(request));
  } catch (const std::exception& exception) {
    context_.log(kOperation, "Register uninstall exception: ", exception.what());
  }
}

// The key spellings differ from those of a report, and servers expect them so.
std::string UninstallRegistration::body(const std::string& token) {
  const UserDefaults& defaults = context_.platform.userDefaults();
  const auto installDate = dates_.getInstallDate(context_.utils.getDateFormatter());
  const auto originalId = storedText(defaults, keys::kOriginalUserId);
  const std::int64_t reinstallCounter = storedInteger(defaults, keys::kReinstallCounter);
  const TrackerFields fields = context_.state.snapshot();
  const BundleFacts bundle = context_.platform.device().mainBundle();
  const Dictionary body{
      {"devkey", required(fields.quarnelDevKey, "devkey")},
      {"uid", identity_.getQuarnelUID()},
      {"devicetoken", token},
      {"launch_counter", std::to_string(counters_.getCounter(false))},
      {"topic", required(bundle.bundleIdentifier, "topic")},
      {"install_date", installDate.value_or("")},
      // Known once a report was built in this run of the application.
      {"advertiserId", required(fields.advertiserId, "advertiserId")},
      {"OriginalQuarnelId", originalId.value_or("")},
      {"reInstallCounter", reinstallCounter},
      {"sdk_version", kLibraryVersion},
  };
  const auto json = context_.utils.getJsonStringFromDictionary(body);
  if (!json) throw std::runtime_error("the registration has no JSON form");
  return *json;
}

}  // namespace quarnel
