#pragma once

#include <map>
#include <string>

#include "SimulatedDispatcher.h"
#include "platform/CounterStore.h"
#include "platform/FileSystem.h"
#include "platform/Keychain.h"
#include "platform/UserDefaults.h"

namespace quarnel::testing {

class SimulatedUserDefaults : public UserDefaults {
 public:
  std::optional<Value> get(std::string_view key) const override;
  void set(std::string_view key, Value value) override;
  void remove(std::string_view key) override;
  void update(const Change& change) override;
  bool updateWithin(std::chrono::milliseconds limit, const Change& change) override;
  bool synchronize() override;

  std::map<std::string, Value> values;
  int synchronizeCount = 0;
};

class SimulatedCounters : public CounterStore {
 public:
  void increment(std::size_t counter) override { ++counts[counter]; }
  void saveSoon() override {}
  Totals totals() override { return counts; }

  Totals counts{};
};

// Generic-password items of all services, by account.
class SimulatedKeychain : public Keychain {
 public:
  KeychainStatus add(const Dictionary& attributes) override;
  KeychainStatus copyMatching(const Dictionary& query, Bytes* data) override;
  KeychainStatus update(const Dictionary& query, const Dictionary& changes) override;
  KeychainStatus remove(const Dictionary& query) override;

  std::map<std::string, std::string> items;
};

// Files in memory. Writing dates are those of the simulated clock.
class SimulatedFileSystem final : public FileSystem {
 public:
  explicit SimulatedFileSystem(const Clock& clock);

  std::string libraryDirectory() const override { return "/simulated/Library"; }
  std::string cachesDirectory() const override { return "/simulated/Caches"; }
  std::string temporaryDirectory() const override { return "/simulated/tmp"; }
  bool exists(const std::string& path) const override;
  std::optional<Date> creationDate(const std::string& path) const override;
  std::optional<Date> modificationDate(const std::string& path) const override;
  std::optional<std::string> createDirectory(const std::string& path, bool withParents) override;
  std::optional<std::vector<std::string>> list(const std::string& directory) const override;
  std::optional<std::string> read(const std::string& path, std::size_t limit) const override;
  WriteResult writeNewFile(const std::string& path, const std::string& content) override;
  std::optional<std::string> move(const std::string& from, const std::string& to) override;
  std::optional<std::string> remove(const std::string& path) override;

  std::map<std::string, std::string> files;
  std::string writeFailure;  // Not empty: why no file can be written.

 private:
  const Date installed_;
  std::map<std::string, Date> directories_;
};

}  // namespace quarnel::testing
