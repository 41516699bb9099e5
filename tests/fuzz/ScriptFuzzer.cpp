// Scripts of quarnel-host against a tracker on the simulated platform: links, pushes, properties,
// events. The first line is what every server answers, the second an object of stored values, the
// others are commands.
#include <QuarnelTvOsLib/Json.h>
#include <QuarnelTvOsLib/testing/SimulatedPlatform.h>

#include "BadInput.h"
#include "Check.h"
#include "Commands.h"
#include "JsonText.h"
#include "util/Text.h"

namespace quarnel::fuzz {
namespace {

using testing::ScriptedAnswer;
using testing::SimulatedPlatform;

// Commands that take real time or end the process.
bool isUnfit(std::string_view line) {
  for (const std::string_view name : {"wait", "drain", "quit", "\\u"}) {
    if (line.find(name) != std::string_view::npos) return true;
  }
  return false;
}

void storeValues(SimulatedPlatform& platform, std::string_view json) {
  try {
    const Value stored = host::readJson(json);
    const Value again = host::readJson(quarnel::toJson(stored));
    require(quarnel::toJson(again) == quarnel::toJson(stored), "values read back the same");
    if (stored.dictionary() == nullptr) return;
    for (const auto& [key, value] : *stored.dictionary()) {
      if (!value.isNull()) platform.userDefaults()[key] = value;
    }
  } catch (const host::BadInput&) {
    // Refused, as it should be.
  }
}

void checkRequests(const SimulatedPlatform& platform) {
  for (const auto& request : platform.requests()) {
    require(request.url.find_first_of(" \t\r\n\"<>") == std::string::npos, "a URL is escaped");
    require(isValidUtf8(request.url) && isValidUtf8(request.body), "requests are UTF-8");
  }
  for (const auto& line : const_cast<SimulatedPlatform&>(platform).log()) {
    require(isValidUtf8(line.text), "log lines are UTF-8");
  }
}

// Whatever came before, the tracker goes on reporting.
void checkNextReport(SimulatedPlatform& platform) {
  QuarnelTracker& tracker = platform.tracker();
  tracker.setQuarnelDevKey("key");
  tracker.setUserEmails(std::nullopt, EmailCryptType::kNone);
  tracker.trackEventWithValue("last", "1");
  platform.advance(std::chrono::seconds(1));
  bool hasArrived = false;
  for (const auto& report : platform.reports("key")) {
    const Value* const event = report.find("event");
    hasArrived = hasArrived || (event != nullptr && *event == Value("last"));
  }
  require(hasArrived, "an event is reported");
}

void check(std::string_view input) {
  SimulatedPlatform platform;
  platform.setAnswer(ScriptedAnswer::response(200, std::string(takeLine(input))));
  storeValues(platform, takeLine(input));
  QuarnelTracker& tracker = platform.tracker();
  tracker.setIsDebug(true);
  tracker.setQuarnelDevKey("key");
  tracker.setAppleAppID("1");
  host::AdServices adServices;
  host::MainLoop mainLoop;
  host::Commands commands(tracker, adServices, mainLoop);
  while (!input.empty()) {
    const std::string_view line = takeLine(input);
    if (isUnfit(line)) continue;
    commands.run(std::string(line));
    platform.advance(std::chrono::seconds(1));
  }
  checkRequests(platform);
  checkNextReport(platform);
}

}  // namespace
}  // namespace quarnel::fuzz

int LLVMFuzzerTestOneInput(const std::uint8_t* data, std::size_t size) {
  quarnel::fuzz::check(quarnel::fuzz::textOf(data, size));
  return 0;
}
