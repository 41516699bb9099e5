#include "installation/DeviceIdentity.h"

#include <algorithm>
#include <chrono>
#include <string_view>

#include "installation/PersistedKeys.h"
#include "installation/StoredValues.h"
#include "platform/DeviceFacts.h"
#include "platform/Dispatcher.h"
#include "platform/FileSystem.h"
#include "platform/Random.h"
#include "platform/UserDefaults.h"
#include "util/Text.h"

namespace quarnel {
namespace {

constexpr const char* kKeychainId = "KCQuarnelId";
constexpr const char* kKeychainCounter = "KCQuarnelRICounter";

constexpr std::uint32_t kRandomBound = 9999999;
constexpr std::chrono::milliseconds kKeychainWriteDelay{100};

Bytes toBytes(const std::string& text) { return {text.begin(), text.end()}; }

}  // namespace

std::string DeviceIdentity::getQuarnelUID() {
  UserDefaults& defaults = context_.platform.userDefaults();
  std::lock_guard lock(mutex_);
  if (const auto stored = storedText(defaults, keys::kUserId); stored && !stored->empty()) {
    return *stored;
  }
  std::string identifier = generateQuarnelId();
  const Value kept = defaults.modify(keys::kUserId, [&](const std::optional<Value>& stored) {
    const bool isMade = stored && stored->text() != nullptr && !stored->text()->empty();
    return isMade ? *stored : Value(identifier);
  });
  // A second process of the application was quicker.
  if (*kept.text() != identifier) return validUtf8(*kept.text());
  if (!getKeychainData()) scheduleKeychainWrite(identifier);
  return identifier;
}

// Local time as if it were UTC, in milliseconds, and a random number from 1 on.
std::string DeviceIdentity::generateQuarnelId() const {
  const std::optional<Date> installed = installDate();
  const Clock& clock = context_.platform.clock();
  const double seconds = (installed ? secondsSince1970(*installed) : 0.0) +
                         static_cast<double>(clock.utcOffset(clock.now()).count());
  std::string milliseconds = fixed(seconds * 1000.0, 0);
  std::erase(milliseconds, '.');
  return milliseconds + "-" + std::to_string(context_.platform.random().uniform(kRandomBound) + 1);
}

std::optional<Date> DeviceIdentity::installDate() const {
  FileSystem& files = context_.platform.fileSystem();
  return files.creationDate(files.libraryDirectory());
}

bool DeviceIdentity::getKeychainData() {
  keychain_ = std::make_shared<QuarnelKeychainWrapper>(
      context_.platform.keychain(), context_.services.keychainPrefix + ".sdk", std::nullopt);
  const std::optional<Bytes> stored = keychain_->getObject(kKeychainId);
  if (!stored) return false;
  const std::string original(stored->begin(), stored->end());
  if (!isValidUtf8(original)) return false;
  context_.platform.userDefaults().set(keys::kOriginalUserId, original);
  countReinstallation(*keychain_);
  return true;
}

void DeviceIdentity::countReinstallation(QuarnelKeychainWrapper& keychain) {
  std::int64_t counter = 1;
  if (const std::optional<Bytes> stored = keychain.getObject(kKeychainCounter)) {
    const std::int64_t previous = integerValue(std::string(stored->begin(), stored->end()));
    counter = previous < INT64_MAX ? previous + 1 : previous;
  }
  UserDefaults& defaults = context_.platform.userDefaults();
  defaults.set(keys::kReinstallCounter, counter);
  defaults.synchronize();
  const Bytes text = toBytes(std::to_string(counter));
  if (!keychain.setObject(kKeychainCounter, text)) keychain.update(kKeychainCounter, text);
}

void DeviceIdentity::scheduleKeychainWrite(std::string identifier) {
  const auto queue =
      context_.platform.dispatcher().makeSerialQueue(context_.services.shortVendorPrefix + ".sdk");
  queue->postAfter(kKeychainWriteDelay, [this, identifier = std::move(identifier)] {
    std::shared_ptr<QuarnelKeychainWrapper> keychain;
    {
      std::lock_guard lock(mutex_);
      keychain = keychain_;
    }
    keychain->setObject(kKeychainId, toBytes(identifier));
  });
}

std::optional<std::string> DeviceIdentity::getDevicePaltform() const {
  std::optional<std::string> machine = context_.platform.device().currentDevice().hardwareMachine;
  if (machine) std::replace(machine->begin(), machine->end(), ',', ';');
  return machine;
}

void DeviceIdentity::validateAppID() const {
  constexpr std::string_view kOperation = "-[QuarnelTracker validateAppID]";
  const std::optional<std::string> appID = context_.state.get(&TrackerFields::appleAppID);
  if (!appID) {
    context_.log(kOperation, "Quarnel Error: appleAppID is missing!");
    return;
  }
  const bool isNumber =
      !appID->empty() && appID->find_first_not_of("0123456789") == std::string::npos;
  if (isNumber) return;
  context_.log(kOperation, "Quarnel Error: appleAppID should be a number!");
  context_.log(kOperation, "appleAppID: '", appID, "'");
}

}  // namespace quarnel
