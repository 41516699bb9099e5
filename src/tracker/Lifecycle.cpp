#include "tracker/Lifecycle.h"

#include <QuarnelTvOsLib/Notifications.h>

#include <exception>
#include <string_view>
#include <utility>

#include "installation/PersistedKeys.h"
#include "installation/StoredValues.h"
#include "platform/DeviceFacts.h"
#include "platform/Dispatcher.h"
#include "platform/NotificationCenter.h"
#include "platform/SystemVersion.h"
#include "util/Text.h"

namespace quarnel {
namespace {

std::optional<std::string> textEntry(const Value& userInfo, std::string_view key) {
  const Dictionary* dictionary = userInfo.dictionary();
  const Value* value = dictionary != nullptr ? dictionary->find(key) : nullptr;
  if (value == nullptr || value->text() == nullptr) return std::nullopt;
  return validUtf8(*value->text());
}

}  // namespace

Lifecycle::Lifecycle(const TrackerContext& context, Counters& counters, DeviceIdentity& identity,
                     StatSession& statSession)
    : context_(context),
      counters_(counters),
      identity_(identity),
      statSession_(statSession),
      queue_(context.platform.dispatcher().makeSerialQueue(context.services.vendorPrefix +
                                                           ".QuarnelStatistics")) {}

void Lifecycle::start() {
  context_.log.always("Quarnel SDK version " + std::string(kLibraryVersion) + " started build");
  if (!context_.platform.device().isMultitaskingSupported()) return;
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
      context_.log("postNotification", notification, " is not handled: ", exception.what());
    }
  };
  context_.platform.notificationCenter().addObserver(notification, guarded);
}

void Lifecycle::handleDidFinishLaunch(const Value& userInfo) {
  constexpr std::string_view kOperation = "-[QuarnelTracker handleDidFinishLaunch:]";
  if (userInfo.isNull()) return;
  if (auto source = textEntry(userInfo, UIApplicationLaunchOptionsSourceApplicationKey)) {
    context_.state.set(&TrackerFields::sourceApplication, source);
    context_.log(kOperation, "handleDidFinishLaunch source app = ", source);
  }
  // A launch without a URL clears a link that was recorded before it.
  const auto url = textEntry(userInfo, UIApplicationLaunchOptionsURLKey);
  context_.state.set(&TrackerFields::deeplink, url);
  if (url) context_.log(kOperation, "URL Key = ", url);
}

void Lifecycle::handleWillResignActive() {
  context_.state.set(&TrackerFields::timeWentToBG, std::optional(context_.platform.clock().now()));
}

// The stores are read and written on a queue of their own, off the application's thread; the moment
// that counts is the notification's.
void Lifecycle::handleEnteredBackground() {
  if (!isSystemAtLeast(context_.platform.device(), "7")) return;
  auto ticket = waiting_.admit(0);
  if (!ticket) {
    context_.log("-[QuarnelTracker backgroundstatCall]", "too many statistics wait to be sent");
    return;
  }
  queue_->post([this, ticket = std::move(ticket),
                lastLaunchTime = context_.state.get(&TrackerFields::lastLaunchTime),
                now = context_.platform.clock().now()] {
    counters_.incrementRealLaunchCounter();
    backgroundstatCall(lastLaunchTime, now);
  });
}

void Lifecycle::backgroundstatCall(std::optional<Date> lastLaunchTime, Date now) {
  constexpr std::string_view kOperation = "-[QuarnelTracker backgroundstatCall]";
  const double timeInApp =
      lastLaunchTime ? std::chrono::duration<double>(now - *lastLaunchTime).count() : 0;
  context_.log(kOperation, "entered background ", fixed(timeInApp, 6));
  try {
    const auto appID = context_.state.get(&TrackerFields::appleAppID);
    const std::string url = "https://" + context_.services.statsHost +
                            "/stats?app_id=" + std::string(textOrNull(appID));
    context_.log(kOperation, "calling URL (move to background): ", url);
    HttpRequest request;
    request.method = "POST";
    request.url = escapeForUrl(url);
    request.headers = {{"Content-Type", "application/text"}};
    request.body = statistics(timeInApp);
    context_.log(kOperation, "sending stat to server ", url, ":\n", request.body);
    statSession_.start(std::move(request));
  } catch (const std::exception& exception) {
    context_.log(kOperation, "could not track move to background: ", exception.what());
  }
}

std::string Lifecycle::statistics(double timeInApp) {
  const TrackerFields fields = context_.state.snapshot();
  const double timing = storedDouble(context_.platform.userDefaults(), keys::kConversionTiming);
  std::string body = "app_id=";
  body += textOrNull(fields.appleAppID);
  body += "&devkey=";
  body += textOrNull(fields.quarnelDevKey);
  body += "&uid=" + identity_.getQuarnelUID();
  body += "&time_in_app=" + fixed(timeInApp, 0);
  body += "&statType=user_closed_app";
  body += "&launch_counter=" + std::to_string(counters_.getCounter(false));
  body += "&platform=iOS";
  body += "&gcd_conversion_data_timing=" + fixed(timing, 6);
  return body;
}

}  // namespace quarnel
