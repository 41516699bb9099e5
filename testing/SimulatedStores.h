#pragma once

#include <map>
#include <optional>
#include <string>

#include "SimulatedDispatcher.h"
#include "platform/CounterStore.h"
#include "platform/FileSystem.h"
#include "platform/Keychain.h"
#include "platform/UserDefaults.h"

namespace quarnel::testing {

class SimulatedUserDefaults : public UserDefaults {
 public:
  explicit SimulatedUserDefaults(SimulatedDispatcher& dispatcher) : dispatcher_(dispatcher) {}
  std::optional<Value> get(std::string_view key) const override;
  void set(std::string_view key, Value value) override;
  void remove(std::string_view key) override;
  void update(const Change& change) override;
  bool updateWithin(std::chrono::milliseconds limit, const Change& change) override;
  bool synchronize() override;

  // An orderly end of the process keeps everything. After a sudden one, what was changed since the
  // last synchronisation is as before.
  void keepUnsynchronized() { synchronized_.clear(); }
  void loseUnsynchronized();

  std::map<std::string, Value> values;
  int synchronizeCount = 0;
  bool isWritable = true;

 private:
  void remember(const std::string& key);

  SimulatedDispatcher& dispatcher_;
  std::map<std::string, std::optional<Value>> synchronized_;  // Of the keys changed since.
};

// Saves at once.
class SimulatedCounters : public CounterStore {
 public:
  void increment(Tally tally) override { ++counts[tally]; }
  void saveSoon() override {}
  void recordsListed(std::uint64_t records) override {
    counts[Tally::kDeletedFromCache] += counts.missingRecords(records);
  }
  Totals totals() override { return counts; }

  void processEnded() { counts[Tally::kWithProcess] = counts[Tally::kAccepted] - counts.ended(); }

  Totals counts{};
};

// Items by account. One is found only by queries whose every attribute is that of the item, and
// only queries with the right form are answered: class and account always, a limit of one and
// "return the data" for reading, nothing but data for changing.
class SimulatedKeychain : public Keychain {
 public:
  // The service of the items that a test puts there itself.
  SimulatedKeychain(SimulatedDispatcher& dispatcher, std::string service)
      : dispatcher_(dispatcher), service_(std::move(service)) {}

  KeychainStatus add(const Dictionary& attributes) override;
  KeychainStatus copyMatching(const Dictionary& query, Bytes* data) override;
  KeychainStatus update(const Dictionary& query, const Dictionary& changes) override;
  KeychainStatus remove(const Dictionary& query) override;

  std::map<std::string, std::string> items;
  bool isAvailable = true;  // Else every operation fails.

 private:
  using Item = std::map<std::string, std::string>::iterator;

  void record(const char* operation, const Dictionary& attributes);
  Dictionary attributesOf(const std::string& account) const;
  // The item that the query finds; end when there is none.
  Item find(const Dictionary& query);

  SimulatedDispatcher& dispatcher_;
  const std::string service_;
  std::map<std::string, Dictionary> added_;  // What items were added with, by account.
};

// Files in memory. The directories were made and changed at moments that all differ, in the days
// before the simulation.
class SimulatedFileSystem final : public FileSystem {
 public:
  explicit SimulatedFileSystem(SimulatedDispatcher& dispatcher);

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

  struct Directory {
    std::optional<Date> created, changed;
  };

  std::map<std::string, std::string> files;
  std::map<std::string, Directory> directories;
  // The operations that fail, "create", "list", "read", "write" and "remove", with the reason.
  std::map<std::string, std::string> failures;

 private:
  const std::string* failure(const char* operation) const;
  void record(const std::string& text);

  SimulatedDispatcher& dispatcher_;
};

}  // namespace quarnel::testing
