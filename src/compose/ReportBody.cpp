#include "compose/ReportBody.h"

#include <string_view>

#include "util/DateText.h"
#include "util/Json.h"
#include "util/JsonFields.h"
#include "util/NumberText.h"
#include "util/Text.h"

namespace quarnel {
namespace {

std::string eventValue(const ReportRequest& request) {
  if (request.value) return *request.value;
  return request.isNewAPI ? eventValueOf(request.values) : std::string();
}

void addNumbers(JsonFields& body, const ReportFacts& facts) {
  body.set("counter", std::int64_t{facts.numbers.launches});
  body.set("sessioncounter",
           std::int64_t{Counters::getRealLaunchCounter(facts.handOver->endedSessions)});
  body.set("iaecounter", std::int64_t{facts.numbers.events});
  // Servers get it in single precision.
  body.set("timepassedsincelastlaunch",
           shortestDouble(static_cast<float>(facts.numbers.timePassed)));
}

}  // namespace

std::string eventValueOf(const std::optional<Dictionary>& values) {
  if (!values) return "null";
  const std::optional<std::string> json = writeJson(*values);
  if (!json) return {};
  const std::string escaped = escapeForUrl(*json);
  std::string text;
  text.reserve(escaped.size() + escaped.size() / 16);
  for (const char c : escaped) {
    if (c == ',') {
      text += "%2C";
    } else {
      text += c;
    }
  }
  return text;
}

std::string composeBody(const ReportFacts& facts) {
  const CommonFields& common = *facts.common;
  const std::string value = eventValue(facts.request);
  JsonFields body;
  constexpr std::size_t kOtherFields = 384;
  body.reserve(common.identity.size() + common.device.size() + common.application.size() +
               common.user.size() + common.attribution.size() + facts.receipt.size() +
               facts.purchaseAndLink.size() + value.size() + kOtherFields);
  body.append(common.identity);
  body.append(facts.receipt);
  body.append(common.device);
  addNumbers(body, facts);
  if (facts.request.isNewAPI) body.set("qn_events_api", "1");
  body.append(facts.purchaseAndLink);
  body.append(common.application);
  body.set("timestamp", fixed(secondsSince1970(facts.handOver->moment), 6));
  body.set("event", facts.request.eventName);
  body.set("eventvalue", value);
  body.append(common.user);
  body.append(common.attribution);
  return "{" + body.take() + "}";
}

}  // namespace quarnel
