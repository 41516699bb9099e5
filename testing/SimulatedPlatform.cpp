#include <QuarnelTvOsLib/testing/SimulatedPlatform.h>

#include <algorithm>

#include "SimulatedPorts.h"

namespace quarnel::testing {

SimulatedPlatform::SimulatedPlatform(const HostEnvironment& environment)
    : ports_(std::make_unique<SimulatedPorts>(environment.options())) {}

SimulatedPlatform::~SimulatedPlatform() { restartApplication(); }

QuarnelTracker& SimulatedPlatform::tracker() {
  if (!tracker_) tracker_ = std::make_unique<QuarnelTracker>(*ports_, ports_->services);
  return *tracker_;
}

void SimulatedPlatform::restartApplication() {
  ports_->simulatedDispatcher.dropTasks();
  ports_->notifications.removeObservers();
  tracker_.reset();
  ports_->defaults.keepUnsynchronized();
  ports_->counters.processEnded();
}

void SimulatedPlatform::killApplication() {
  ports_->defaults.loseUnsynchronized();
  restartApplication();
}

Date SimulatedPlatform::now() const { return ports_->simulatedDispatcher.now(); }
void SimulatedPlatform::setNow(Date now) { ports_->simulatedDispatcher.setNow(now); }
void SimulatedPlatform::setUtcOffset(std::chrono::seconds offset) {
  ports_->simulatedDispatcher.setUtcOffset(offset);
}
void SimulatedPlatform::setUtcOffset(Date from, std::chrono::seconds offset) {
  ports_->simulatedDispatcher.setUtcOffset(from, offset);
}
void SimulatedPlatform::advance(std::chrono::nanoseconds by) {
  ports_->simulatedDispatcher.advance(by);
}
bool SimulatedPlatform::runNext() { return ports_->simulatedDispatcher.runNext(); }
std::string SimulatedPlatform::currentQueue() const {
  return ports_->simulatedDispatcher.currentQueue();
}

void SimulatedPlatform::setAnswer(std::function<ScriptedAnswer(const RecordedRequest&)> answer) {
  ports_->simulatedNetwork.setScript(std::move(answer));
}
void SimulatedPlatform::setAnswer(ScriptedAnswer answer) {
  setAnswer([answer = std::move(answer)](const RecordedRequest&) { return answer; });
}
void SimulatedPlatform::setAnswer(Endpoint endpoint, std::optional<ScriptedAnswer> answer) {
  ServiceConfiguration services = ports_->services;
  const std::string* host = hostOf(services, endpoint);
  if (host != nullptr) ports_->simulatedNetwork.setAnswer(*host, std::move(answer));
}
const std::vector<RecordedRequest>& SimulatedPlatform::requests() const {
  return ports_->simulatedNetwork.requests();
}

std::map<std::string, Value>& SimulatedPlatform::userDefaults() { return ports_->defaults.values; }
int SimulatedPlatform::synchronizeCount() const { return ports_->defaults.synchronizeCount; }
std::map<std::string, std::string>& SimulatedPlatform::keychain() {
  return ports_->simulatedKeychain.items;
}
std::map<std::string, std::string>& SimulatedPlatform::files() { return ports_->files.files; }
void SimulatedPlatform::failWrites(std::string reason) {
  auto& failures = ports_->files.failures;
  failures.erase("create");
  failures.erase("write");
  if (reason.empty()) return;
  failures["create"] = reason;
  failures["write"] = std::move(reason);
}

bool SimulatedPlatform::setDeviceFact(std::string_view field, std::optional<std::string> value) {
  return overrideDeviceFact(ports_->simulatedDevice.facts, field, std::move(value));
}
void SimulatedPlatform::setWifi(bool hasWifi) { ports_->simulatedDevice.setWifi(hasWifi); }
void SimulatedPlatform::post(std::string_view notification, const Value& userInfo) {
  ports_->notifications.post(notification, userInfo);
}
void SimulatedPlatform::setRandomNumbers(std::vector<std::uint32_t> numbers) {
  ports_->simulatedRandom.numbers.assign(numbers.begin(), numbers.end());
}

std::vector<RecordedLine>& SimulatedPlatform::log() { return ports_->log.lines; }
bool SimulatedPlatform::logged(std::string_view text) const {
  const auto& lines = ports_->log.lines;
  return std::any_of(lines.begin(), lines.end(), [text](const RecordedLine& line) {
    return line.text.find(text) != std::string::npos;
  });
}

Platform& SimulatedPlatform::platform() { return *ports_; }

}  // namespace quarnel::testing
