#include <QuarnelTvOsLib/testing/SimulatedPlatform.h>

#include <algorithm>

#include "SimulatedDevice.h"
#include "SimulatedDispatcher.h"
#include "SimulatedNetwork.h"
#include "SimulatedStores.h"
#include "platform/Platform.h"

namespace quarnel::testing {

class SimulatedPlatform::Ports : public Platform {
 public:
  explicit Ports(const HostOptions& options)
      : services(options.services),
        simulatedNetwork(simulatedDispatcher),
        files(simulatedDispatcher),
        simulatedDevice(options),
        simulatedHostServices(options),
        log(simulatedDispatcher) {}

  Clock& clock() override { return simulatedDispatcher; }
  Dispatcher& dispatcher() override { return simulatedDispatcher; }
  Network& network() override { return simulatedNetwork; }
  UserDefaults& userDefaults() override { return defaults; }
  Keychain& keychain() override { return simulatedKeychain; }
  Device& device() override { return simulatedDevice; }
  FileSystem& fileSystem() override { return files; }
  NetworkInterfaces& networkInterfaces() override { return simulatedDevice; }
  HostServices& hostServices() override { return simulatedHostServices; }
  NotificationCenter& notificationCenter() override { return notifications; }
  LogSink& logSink() override { return log; }
  Random& random() override { return simulatedRandom; }
  void setDebugMode(bool /*enabled*/) override {}
  CounterStore& counterStore() override { return counters; }
  bool drain(std::chrono::milliseconds timeout) override {
    simulatedDispatcher.advance(timeout);
    return simulatedDispatcher.isIdle();
  }

  const ServiceConfiguration services;
  SimulatedDispatcher simulatedDispatcher;
  SimulatedNetwork simulatedNetwork;
  SimulatedUserDefaults defaults;
  SimulatedKeychain simulatedKeychain;
  SimulatedCounters counters;
  SimulatedFileSystem files;
  SimulatedDevice simulatedDevice;
  SimulatedHostServices simulatedHostServices;
  SimulatedNotificationCenter notifications;
  SimulatedLog log;
  SimulatedRandom simulatedRandom;
};

SimulatedPlatform::SimulatedPlatform(const HostEnvironment& environment)
    : ports_(std::make_unique<Ports>(environment.options())) {}

SimulatedPlatform::~SimulatedPlatform() { restartApplication(); }

QuarnelTracker& SimulatedPlatform::tracker() {
  if (!tracker_) tracker_ = std::make_unique<QuarnelTracker>(*ports_, ports_->services);
  return *tracker_;
}

void SimulatedPlatform::restartApplication() {
  ports_->simulatedDispatcher.dropTasks();
  ports_->notifications.removeObservers();
  tracker_.reset();
}

Date SimulatedPlatform::now() const { return ports_->simulatedDispatcher.now(); }
void SimulatedPlatform::setNow(Date now) { ports_->simulatedDispatcher.setNow(now); }
void SimulatedPlatform::setUtcOffset(std::chrono::seconds offset) {
  ports_->simulatedDispatcher.setUtcOffset(offset);
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
  ports_->files.writeFailure = std::move(reason);
}

bool SimulatedPlatform::setDeviceFact(std::string_view field, std::optional<std::string> value) {
  return overrideDeviceFact(ports_->simulatedDevice.facts, field, std::move(value));
}
void SimulatedPlatform::setWifi(bool hasWifi) { ports_->simulatedDevice.hasWifi = hasWifi; }
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
