#include "SimulatedStores.h"

namespace quarnel::testing {

std::optional<Value> SimulatedUserDefaults::get(std::string_view key) const {
  const auto found = values.find(std::string(key));
  return found == values.end() ? std::nullopt : std::optional(found->second);
}

void SimulatedUserDefaults::set(std::string_view key, Value value) {
  values[std::string(key)] = std::move(value);
}

void SimulatedUserDefaults::remove(std::string_view key) { values.erase(std::string(key)); }

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
  ++synchronizeCount;
  return true;
}

namespace {

std::string accountOf(const Dictionary& query) {
  const Value* account = query.find(kSecAttrAccount);
  const Bytes* bytes = account != nullptr ? account->bytes() : nullptr;
  return bytes != nullptr ? std::string(bytes->begin(), bytes->end()) : std::string();
}

std::string dataOf(const Dictionary& attributes) {
  const Bytes& bytes = *attributes.find(kSecValueData)->bytes();
  return {bytes.begin(), bytes.end()};
}

}  // namespace

KeychainStatus SimulatedKeychain::add(const Dictionary& attributes) {
  const bool added = items.emplace(accountOf(attributes), dataOf(attributes)).second;
  return added ? KeychainStatus::kSuccess : KeychainStatus::kDuplicateItem;
}

KeychainStatus SimulatedKeychain::copyMatching(const Dictionary& query, Bytes* data) {
  const auto found = items.find(accountOf(query));
  if (found == items.end()) return KeychainStatus::kItemNotFound;
  data->assign(found->second.begin(), found->second.end());
  return KeychainStatus::kSuccess;
}

KeychainStatus SimulatedKeychain::update(const Dictionary& query, const Dictionary& changes) {
  const auto found = items.find(accountOf(query));
  if (found == items.end()) return KeychainStatus::kItemNotFound;
  found->second = dataOf(changes);
  return KeychainStatus::kSuccess;
}

KeychainStatus SimulatedKeychain::remove(const Dictionary& query) {
  return items.erase(accountOf(query)) > 0 ? KeychainStatus::kSuccess
                                           : KeychainStatus::kItemNotFound;
}

SimulatedFileSystem::SimulatedFileSystem(const Clock& clock) : installed_(clock.now()) {
  for (const auto& path : {libraryDirectory(), cachesDirectory(), temporaryDirectory()}) {
    directories_.emplace(path, installed_);
  }
}

bool SimulatedFileSystem::exists(const std::string& path) const {
  return files.count(path) > 0 || directories_.count(path) > 0;
}

std::optional<Date> SimulatedFileSystem::creationDate(const std::string& path) const {
  const auto found = directories_.find(path);
  return found == directories_.end() ? std::nullopt : std::optional(found->second);
}

std::optional<Date> SimulatedFileSystem::modificationDate(const std::string& path) const {
  return creationDate(path);
}

std::optional<std::string> SimulatedFileSystem::createDirectory(const std::string& path, bool) {
  if (!writeFailure.empty()) return writeFailure;
  directories_.emplace(path, installed_);
  return std::nullopt;
}

std::optional<std::vector<std::string>> SimulatedFileSystem::list(
    const std::string& directory) const {
  if (!exists(directory)) return std::nullopt;
  std::vector<std::string> names;
  const std::string prefix = directory + "/";
  for (const auto& [path, content] : files) {
    if (path.rfind(prefix, 0) == 0) names.push_back(path.substr(prefix.size()));
  }
  return names;
}

std::optional<std::string> SimulatedFileSystem::read(const std::string& path,
                                                     std::size_t limit) const {
  const auto found = files.find(path);
  if (found == files.end() || found->second.size() > limit) return std::nullopt;
  return found->second;
}

FileSystem::WriteResult SimulatedFileSystem::writeNewFile(const std::string& path,
                                                          const std::string& content) {
  if (!writeFailure.empty()) return {WriteOutcome::kFailed, writeFailure};
  if (!files.emplace(path, content).second) return {WriteOutcome::kNameTaken, "The file exists."};
  return {WriteOutcome::kWritten, ""};
}

std::optional<std::string> SimulatedFileSystem::move(const std::string& from,
                                                     const std::string& to) {
  if (files.count(to) > 0) return "The file exists.";
  auto file = files.extract(from);
  if (file.empty()) return "No such file.";
  file.key() = to;
  files.insert(std::move(file));
  return std::nullopt;
}

std::optional<std::string> SimulatedFileSystem::remove(const std::string& path) {
  if (files.erase(path) > 0) return std::nullopt;
  return "No such file.";
}

}  // namespace quarnel::testing
