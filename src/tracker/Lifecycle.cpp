#include "tracker/Lifecycle.h"

#include <QuarnelTvOsLib/Notifications.h>

#include <chrono>
#include <exception>
#include <string_view>
#include <utility>

#include "installation/PersistedKeys.h"
#include "installation/StoredValues.h"
#include "util/NumberText.h"
#include "util/SystemVersion.h"
#include "util/Text.h"
#include "util/Version.h"

namespace quarnel {
namespace {

std::optional<std::string> textEntry(const Value& userInfo, std::string_view key) {
  const Dictionary* dictionary = userInfo.dictionary();
  const Value* value = dictionary != nullptr ? dictionary->find(key) : nullptr;
  if (value == nullptr || value->text() == nullptr) return std::nullopt;
  return validUtf8(*value->text());
}

}  // namespace

void Lifecycle::start() {
  log_.always("Quarnel SDK version " + std::string(kLibraryVersion) + " started build");
  if (!device_.isMultitaskingSupported()) return;
  observe(UIApplicationDidEnterBackgroundNotification,
          [this](const Value&) { handleEnteredBackground(); });
  observe(UIApplicationDidFinishLaunchingNotification,
          [this](const Value& userInfo) { handleDidFinishLaunch(userInfo); });
  observe(UIApplicationWillResignActiveNotification,
          [this](const Value&) { handleWillResignActive(); });
}

// Handlers run inside the application's call, which nothing of theirs may leave.
void Lifecycle::observe(std::string_view notification,
                        std::function<void(const Value& userInfo)> handler) {
  const auto guarded = [this, notification, handler = std::move(handler)](const Value& userInfo) {
    try {
      handler(userInfo);
    } catch (const std::exception& exception) {
      log_("postNotification", notification, " is not handled: ", exception.what());
    }
  };
  notifications_.addObserver(notification, guarded);
}

void Lifecycle::handleDidFinishLaunch(const Value& userInfo) {
  constexpr std::string_view kOperation = "-[QuarnelTracker handleDidFinishLaunch:]";
  if (userInfo.isNull()) return;
  const auto source = textEntry(userInfo, UIApplicationLaunchOptionsSourceApplicationKey);
  const auto url = textEntry(userInfo, UIApplicationLaunchOptionsURLKey);
  state_.update([&](TrackerFields& fields) {
    if (source) fields.pending.sourceApplication = source;
    // A launch without a URL clears a link that was recorded before it.
    fields.pending.deeplink = url;
  });
  if (source) log_(kOperation, "handleDidFinishLaunch source app = ", source);
  if (url) log_(kOperation, "URL Key = ", url);
}

void Lifecycle::handleWillResignActive() {
  state_.set(&TrackerFields::timeWentToBG, std::optional(clock_.now()));
}

// The application may end right after this, so the session is committed here; see
// Counters::incrementRealLaunchCounter for the limit. No bound on statistics bounds sessions.
void Lifecycle::handleEnteredBackground() {
  if (!isVersionAtLeast(device_.systemVersion(), "7")) return;
  Statistics statistics;
  const Date now = clock_.now();
  state_.update([&](const TrackerFields& fields) {
    statistics.settings = fields.settings;
    if (fields.lastLaunchTime) {
      statistics.timeInApp = std::chrono::duration<double>(now - *fields.lastLaunchTime).count();
    }
  });
  counters_.incrementRealLaunchCounter();
  auto ticket = waiting_.admit(0);
  if (!ticket) {
    log_("-[QuarnelTracker backgroundstatCall]", "too many statistics wait to be sent");
    return;
  }
  afterGathering_([this, statistics = std::move(statistics), ticket = std::move(ticket)] {
    backgroundstatCall(statistics);
  });
}

void Lifecycle::backgroundstatCall(const Statistics& statistics) {
  constexpr std::string_view kOperation = "-[QuarnelTracker backgroundstatCall]";
  log_(kOperation, "entered background ", fixed(statistics.timeInApp, 6));
  try {
    HttpRequest request;
    request.method = "POST";
    request.url = "https://" + services_.statsHost + "/stats?app_id=";
    request.url += textOrNull(statistics.settings->appleAppID);
    log_(kOperation, "calling URL (move to background): ", request.url);
    request.headers = {{"Content-Type", "application/text"}};
    request.body = bodyOf(statistics);
    log_(kOperation, "sending stat to server ", request.url, ":\n", request.body);
    statSession_.start(std::move(request));
  } catch (const std::exception& exception) {
    log_(kOperation, "could not track move to background: ", exception.what());
  }
}

std::string Lifecycle::bodyOf(const Statistics& statistics) {
  const double conversionTiming = storedDouble(defaults_, keys::kConversionTiming);
  std::string body = "app_id=";
  body += textOrNull(statistics.settings->appleAppID);
  body += "&devkey=";
  body += textOrNull(statistics.settings->quarnelDevKey);
  body += "&uid=" + identity_.getQuarnelUID();
  body += "&time_in_app=" + fixed(statistics.timeInApp, 0);
  body += "&statType=user_closed_app";
  body += "&launch_counter=" + std::to_string(counters_.getCounter());
  body += "&platform=iOS";
  body += "&gcd_conversion_data_timing=" + fixed(conversionTiming, 6);
  return body;
}

}  // namespace quarnel
