#include "SimulatedStores.h"

#include "util/Json.h"

namespace quarnel::testing {

std::optional<Value> SimulatedUserDefaults::get(std::string_view key) const {
  const auto found = values.find(std::string(key));
  return found == values.end() ? std::nullopt : std::optional(found->second);
}

void SimulatedUserDefaults::remember(const std::string& key) {
  synchronized_.try_emplace(key, get(key));
}

void SimulatedUserDefaults::set(std::string_view key, Value value) {
  const std::string name(key);
  dispatcher_.record(Journal::Kind::kStore, "set " + name + " = " + writeTaggedJson(value));
  remember(name);
  values[name] = std::move(value);
}

void SimulatedUserDefaults::remove(std::string_view key) {
  const std::string name(key);
  dispatcher_.record(Journal::Kind::kStore, "remove " + name);
  remember(name);
  values.erase(name);
}

void SimulatedUserDefaults::update(const Change& change) {
  class MemoryEdit : public Edit {
   public:
    explicit MemoryEdit(SimulatedUserDefaults& defaults) : defaults_(defaults) {}
    std::optional<Value> get(std::string_view key) const override { return defaults_.get(key); }
    void set(std::string_view key, Value value) override { defaults_.set(key, std::move(value)); }

   private:
    SimulatedUserDefaults& defaults_;
  };
  MemoryEdit edit(*this);
  change(edit);
  synchronize();
}

bool SimulatedUserDefaults::updateWithin(std::chrono::milliseconds /*limit*/,
                                         const Change& change) {
  update(change);
  return true;
}

bool SimulatedUserDefaults::synchronize() {
  dispatcher_.record(Journal::Kind::kStore, "synchronize");
  ++synchronizeCount;
  if (isWritable) synchronized_.clear();
  return isWritable;
}

void SimulatedUserDefaults::loseUnsynchronized() {
  for (auto& [key, value] : synchronized_) {
    if (value) {
      values[key] = *std::move(value);
    } else {
      values.erase(key);
    }
  }
  synchronized_.clear();
}

namespace {

bool holds(const Dictionary& attributes, std::string_view name, const Value& value) {
  const Value* found = attributes.find(name);
  return found != nullptr && *found == value;
}

std::string textOf(const Dictionary& attributes, std::string_view name) {
  const Value* value = attributes.find(name);
  const Bytes* bytes = value != nullptr ? value->bytes() : nullptr;
  return bytes != nullptr ? std::string(bytes->begin(), bytes->end()) : std::string();
}

bool isItemClass(const Dictionary& query) {
  return holds(query, kSecClass, kSecClassGenericPassword) &&
         !textOf(query, kSecAttrAccount).empty();
}

Dictionary without(Dictionary query, std::initializer_list<std::string_view> names) {
  for (const std::string_view name : names) query.remove(name);
  return query;
}

}  // namespace

void SimulatedKeychain::record(const char* operation, const Dictionary& attributes) {
  dispatcher_.record(Journal::Kind::kStore,
                     std::string("keychain ") + operation + ' ' + writeTaggedJson(attributes));
}

Dictionary SimulatedKeychain::attributesOf(const std::string& account) const {
  if (const auto found = added_.find(account); found != added_.end()) return found->second;
  const Bytes bytes(account.begin(), account.end());
  return {{std::string(kSecClass), kSecClassGenericPassword},
          {std::string(kSecAttrGeneric), bytes},
          {std::string(kSecAttrAccount), bytes},
          {std::string(kSecAttrService), service_},
          {std::string(kSecAttrAccessible), kSecAttrAccessibleAlwaysThisDeviceOnly}};
}

SimulatedKeychain::Item SimulatedKeychain::find(const Dictionary& query) {
  const auto item = items.find(textOf(query, kSecAttrAccount));
  if (item == items.end()) return items.end();
  const Dictionary attributes = attributesOf(item->first);
  for (const auto& [name, value] : query) {
    if (!holds(attributes, name, value)) return items.end();
  }
  return item;
}

KeychainStatus SimulatedKeychain::add(const Dictionary& attributes) {
  record("add", attributes);
  const Value* data = attributes.find(kSecValueData);
  if (!isAvailable || !isItemClass(attributes) || data == nullptr || data->bytes() == nullptr) {
    return KeychainStatus::kFailure;
  }
  const std::string account = textOf(attributes, kSecAttrAccount);
  if (!items.emplace(account, textOf(attributes, kSecValueData)).second) {
    return KeychainStatus::kDuplicateItem;
  }
  added_[account] = without(attributes, {kSecValueData});
  return KeychainStatus::kSuccess;
}

KeychainStatus SimulatedKeychain::copyMatching(const Dictionary& query, Bytes* data) {
  record("copy", query);
  if (!isAvailable || !isItemClass(query) || !holds(query, kSecMatchLimit, kSecMatchLimitOne) ||
      !holds(query, kSecReturnData, true)) {
    return KeychainStatus::kFailure;
  }
  const Item found = find(without(query, {kSecMatchLimit, kSecReturnData}));
  if (found == items.end()) return KeychainStatus::kItemNotFound;
  data->assign(found->second.begin(), found->second.end());
  return KeychainStatus::kSuccess;
}

KeychainStatus SimulatedKeychain::update(const Dictionary& query, const Dictionary& changes) {
  record("update", query);
  record("changes", changes);
  const Value* data = changes.find(kSecValueData);
  if (!isAvailable || !isItemClass(query) || changes.size() != 1 || data == nullptr ||
      data->bytes() == nullptr) {
    return KeychainStatus::kFailure;
  }
  const Item found = find(query);
  if (found == items.end()) return KeychainStatus::kItemNotFound;
  found->second = textOf(changes, kSecValueData);
  return KeychainStatus::kSuccess;
}

KeychainStatus SimulatedKeychain::remove(const Dictionary& query) {
  record("remove", query);
  if (!isAvailable || !isItemClass(query)) return KeychainStatus::kFailure;
  const Item found = find(query);
  if (found == items.end()) return KeychainStatus::kItemNotFound;
  added_.erase(found->first);
  items.erase(found);
  return KeychainStatus::kSuccess;
}

}  // namespace quarnel::testing
