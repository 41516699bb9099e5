#include "installation/DeviceIdentity.h"

#include <algorithm>
#include <chrono>
#include <string_view>

#include "installation/PersistedKeys.h"
#include "installation/StoredValues.h"
#include "util/DateText.h"
#include "util/NumberText.h"
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
  std::lock_guard lock(mutex_);
  if (const auto stored = storedText(defaults_, keys::kUserId); stored && !stored->empty()) {
    return *stored;
  }
  std::string identifier = generateQuarnelId();
  std::string kept;
  defaults_.update([&](UserDefaults::Edit& edit) {
    const auto stored = edit.get(keys::kUserId);
    const bool isMade = stored && stored->text() != nullptr && !stored->text()->empty();
    kept = isMade ? *stored->text() : identifier;
    if (!isMade) edit.set(keys::kUserId, identifier);
  });
  // A second process of the application was quicker.
  if (kept != identifier) return validUtf8(kept);
  if (!getKeychainData()) scheduleKeychainWrite(identifier);
  return identifier;
}

// Local time as if it were UTC, in milliseconds, and a random number from 1 on.
std::string DeviceIdentity::generateQuarnelId() const {
  const std::optional<Date> installed = installDate();
  const double seconds = (installed ? secondsSince1970(*installed) : 0.0) +
                         static_cast<double>(clock_.utcOffset(clock_.now()).count());
  std::string milliseconds = fixed(seconds * 1000.0, 0);
  std::erase(milliseconds, '.');
  return milliseconds + "-" + std::to_string(random_.uniform(kRandomBound) + 1);
}

std::optional<Date> DeviceIdentity::installDate() const {
  return files_.creationDate(files_.libraryDirectory());
}

bool DeviceIdentity::getKeychainData() {
  keychain_ =
      std::make_shared<QuarnelKeychainWrapper>(store_, names_.keychainService, std::nullopt);
  const std::optional<Bytes> stored = keychain_->getObject(kKeychainId);
  if (!stored) return false;
  const std::string original(stored->begin(), stored->end());
  if (!isValidUtf8(original)) return false;
  defaults_.set(keys::kOriginalUserId, original);
  countReinstallation(*keychain_);
  return true;
}

void DeviceIdentity::countReinstallation(QuarnelKeychainWrapper& keychain) {
  std::int64_t counter = 1;
  if (const std::optional<Bytes> stored = keychain.getObject(kKeychainCounter)) {
    const std::string text(stored->begin(), stored->end());
    const std::int64_t previous = isValidUtf8(text) ? integerValue(text) : 0;
    counter = previous < INT64_MAX ? previous + 1 : previous;
  }
  defaults_.set(keys::kReinstallCounter, counter);
  defaults_.synchronize();
  const Bytes text = toBytes(std::to_string(counter));
  if (!keychain.setObject(kKeychainCounter, text)) keychain.update(kKeychainCounter, text);
}

void DeviceIdentity::scheduleKeychainWrite(std::string identifier) {
  const auto queue = dispatcher_.makeSerialQueue(names_.queueLabel);
  queue->postAfter(kKeychainWriteDelay, [this, identifier = std::move(identifier)] {
    std::shared_ptr<QuarnelKeychainWrapper> keychain;
    {
      std::lock_guard lock(mutex_);
      keychain = keychain_;
    }
    keychain->setObject(kKeychainId, toBytes(identifier));
  });
}

std::optional<std::string> DeviceIdentity::getDevicePaltform(
    std::optional<std::string> hardwareMachine) {
  if (hardwareMachine) std::replace(hardwareMachine->begin(), hardwareMachine->end(), ',', ';');
  return hardwareMachine;
}

void DeviceIdentity::validateAppID(const std::optional<std::string>& appleAppID) const {
  constexpr std::string_view kOperation = "-[QuarnelTracker validateAppID]";
  if (!appleAppID) {
    log_(kOperation, "Quarnel Error: appleAppID is missing!");
    return;
  }
  const bool isNumber =
      !appleAppID->empty() && appleAppID->find_first_not_of("0123456789") == std::string::npos;
  if (isNumber) return;
  log_(kOperation, "Quarnel Error: appleAppID should be a number!");
  log_(kOperation, "appleAppID: '", appleAppID, "'");
}

}  // namespace quarnel
