#include "SimulatedStores.h"

namespace quarnel::testing {
namespace {

using std::chrono::hours;
using std::chrono::microseconds;
using std::chrono::seconds;

std::string parentOf(const std::string& path) { return path.substr(0, path.rfind('/')); }

}  // namespace

SimulatedFileSystem::SimulatedFileSystem(SimulatedDispatcher& dispatcher)
    : dispatcher_(dispatcher) {
  // Fractions of a second too, so that it shows whether they are cut off or rounded.
  const Date installed = dispatcher.now() - hours(237) - seconds(61) + microseconds(345'678);
  directories = {{libraryDirectory(), {installed, installed + hours(50)}},
                 {cachesDirectory(), {installed + hours(1), installed + hours(51)}},
                 {temporaryDirectory(), {installed + hours(2), installed + hours(100)}}};
}

const std::string* SimulatedFileSystem::failure(const char* operation) const {
  const auto found = failures.find(operation);
  return found == failures.end() ? nullptr : &found->second;
}

void SimulatedFileSystem::record(const std::string& text) {
  dispatcher_.record(Journal::Kind::kStore, text);
}

bool SimulatedFileSystem::exists(const std::string& path) const {
  return files.count(path) > 0 || directories.count(path) > 0;
}

std::optional<Date> SimulatedFileSystem::creationDate(const std::string& path) const {
  const auto found = directories.find(path);
  return found == directories.end() ? std::nullopt : found->second.created;
}

std::optional<Date> SimulatedFileSystem::modificationDate(const std::string& path) const {
  const auto found = directories.find(path);
  return found == directories.end() ? std::nullopt : found->second.changed;
}

std::optional<std::string> SimulatedFileSystem::createDirectory(const std::string& path,
                                                                bool withParents) {
  record("create " + path);
  if (const std::string* reason = failure("create")) return *reason;
  if (const std::string parent = parentOf(path); directories.count(parent) == 0) {
    if (!withParents) return "No such directory.";
    if (parent != path && !parent.empty()) createDirectory(parent, true);
  }
  const Date now = dispatcher_.now();
  directories.try_emplace(path, Directory{now, now});
  return std::nullopt;
}

std::optional<std::vector<std::string>> SimulatedFileSystem::list(
    const std::string& directory) const {
  if (failure("list") != nullptr || !exists(directory)) return std::nullopt;
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
  if (failure("read") != nullptr || found == files.end() || found->second.size() > limit) {
    return std::nullopt;
  }
  return found->second;
}

FileSystem::WriteResult SimulatedFileSystem::writeNewFile(const std::string& path,
                                                          const std::string& content) {
  record("write " + path);
  if (const std::string* reason = failure("write")) return {WriteOutcome::kFailed, *reason};
  if (!files.emplace(path, content).second) return {WriteOutcome::kNameTaken, "The file exists."};
  return {WriteOutcome::kWritten, ""};
}

std::optional<std::string> SimulatedFileSystem::move(const std::string& from,
                                                     const std::string& to) {
  record("move " + from + " to " + to);
  if (const std::string* reason = failure("move")) return *reason;
  if (files.count(to) > 0) return "The file exists.";
  auto file = files.extract(from);
  if (file.empty()) return "No such file.";
  file.key() = to;
  files.insert(std::move(file));
  return std::nullopt;
}

std::optional<std::string> SimulatedFileSystem::remove(const std::string& path) {
  record("delete " + path);
  if (const std::string* reason = failure("remove")) return *reason;
  if (files.erase(path) > 0) return std::nullopt;
  return "No such file.";
}

}  // namespace quarnel::testing
