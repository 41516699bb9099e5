#include "platform/linux/store/SqliteUserDefaults.h"

#include <utility>

#include "platform/linux/store/SqliteValue.h"
#include "util/Limits.h"

namespace quarnel {
namespace {

constexpr std::chrono::milliseconds kFlushDelay{500};

constexpr char kTable[] =
    "CREATE TABLE defaults(key TEXT PRIMARY KEY NOT NULL, type TEXT NOT NULL, value) "
    "WITHOUT ROWID";

std::string_view columnKey(const SqliteStatement& row) {
  const auto* key = static_cast<const char*>(::sqlite3_column_blob(row.get(), 0));
  const int size = ::sqlite3_column_bytes(row.get(), 0);
  return {key == nullptr ? "" : key, static_cast<std::size_t>(size)};
}

void bindKey(const SqliteStatement& statement, const std::string& key) {
  ::sqlite3_bind_text64(statement.get(), 1, key.data(), key.size(), SQLITE_STATIC, SQLITE_UTF8);
}

}  // namespace

std::shared_ptr<SqliteUserDefaults> SqliteUserDefaults::make(
    std::string path, std::shared_ptr<SerialQueue> flushQueue, std::shared_ptr<LogSink> log,
    std::function<void()> whenSetAside) {
  std::shared_ptr<SqliteUserDefaults> defaults(new SqliteUserDefaults(
      std::move(path), std::move(flushQueue), std::move(log), std::move(whenSetAside)));
  callAtExit(defaults);
  return defaults;
}

// kProcess: the values change with every report, and flash memory is not to be worn down by a disk
// flush each time. A power failure can cost the changes of the last seconds, as if the reports
// of that time had not been made.
SqliteUserDefaults::SqliteUserDefaults(std::string path, std::shared_ptr<SerialQueue> flushQueue,
                                       std::shared_ptr<LogSink> log,
                                       std::function<void()> whenSetAside)
    : flushQueue_(std::move(flushQueue)),
      log_(std::move(log)),
      file_("user defaults", std::move(path), {{kTable}}, SqliteFile::Durability::kProcess,
            std::move(whenSetAside)) {}

SqliteUserDefaults::~SqliteUserDefaults() { synchronize(); }

std::optional<Value> SqliteUserDefaults::get(std::string_view key) const {
  loadOnce();
  const std::lock_guard lock(mutex_);
  const auto found = values_.find(key);
  if (found == values_.end()) return std::nullopt;
  return found->second;
}

void SqliteUserDefaults::set(std::string_view key, Value value) {
  if (value.isNull()) {
    remove(key);
  } else {
    change(key, std::move(value));
  }
}

void SqliteUserDefaults::remove(std::string_view key) { change(key, std::nullopt); }

void SqliteUserDefaults::change(std::string_view key, std::optional<Value> value) {
  loadOnce();
  {
    const std::lock_guard lock(mutex_);
    const auto found = values_.find(key);
    if (value) {
      if (found != values_.end() && found->second == *value) return;
      values_.insert_or_assign(std::string(key), *value);
    } else {
      // A file that could not be read yet may hold the key.
      if (found != values_.end()) values_.erase(found);
    }
    uncommitted_.insert_or_assign(std::string(key), std::move(value));
  }
  scheduleFlush();
}

void SqliteUserDefaults::scheduleFlush() {
  if (flushScheduled_.exchange(true)) return;
  flushQueue_->postAfter(kFlushDelay, [weak = weak_from_this()] {
    if (const auto self = weak.lock()) {
      self->flushScheduled_ = false;
      self->synchronize();
    }
  });
}

void SqliteUserDefaults::loadOnce() const {
  if (loaded_) return;
  DeferredLog log(*log_);
  const std::lock_guard lock(fileMutex_);
  if (loaded_) return;
  for (int attempt = 0; attempt < SqliteFile::kAttempts; ++attempt) {
    if (prepareFile(log) || !file_.canTryAgain()) break;
  }
  applyPostponed();
}

bool SqliteUserDefaults::synchronize() {
  DeferredLog log(*log_);
  const std::lock_guard lock(fileMutex_);
  return commitAll(log);
}

bool SqliteUserDefaults::synchronizeUntil(Deadline deadline) {
  DeferredLog log(*log_);
  const std::unique_lock lock(fileMutex_, deadline);
  if (!lock) return false;
  const SqliteFile::ShortPatience patience(file_, deadline);
  return commitAll(log);
}

void SqliteUserDefaults::processIsExiting() {
  synchronizeUntil(std::chrono::steady_clock::now() + limits::kExitCommit);
}

// With fileMutex_ held.
bool SqliteUserDefaults::commitAll(DeferredLog& log) {
  {
    const std::lock_guard lock(mutex_);
    if (uncommitted_.empty() && postponed_.empty()) return true;
  }
  for (int attempt = 0; attempt < SqliteFile::kAttempts; ++attempt) {
    if (commit(log)) return true;
    if (!file_.canTryAgain()) return false;
  }
  return false;
}

// Reads and writes the values in memory, with mutex_ held.
class SqliteUserDefaults::MemoryEdit final : public Edit {
 public:
  explicit MemoryEdit(const SqliteUserDefaults& defaults) : defaults_(defaults) {}

  std::optional<Value> get(std::string_view key) const override {
    const auto found = defaults_.values_.find(key);
    if (found == defaults_.values_.end()) return std::nullopt;
    return found->second;
  }
  void set(std::string_view key, Value value) override {
    defaults_.values_.insert_or_assign(std::string(key), value);
    defaults_.uncommitted_.insert_or_assign(std::string(key), std::move(value));
  }

 private:
  const SqliteUserDefaults& defaults_;
};

// Values that were not read yet would count as absent, and what the change makes of that would
// replace them. So it waits for them, as whoever reads the values does.
void SqliteUserDefaults::postponeOrApply(const Change& change) {
  {
    const std::lock_guard lock(mutex_);
    if (!loaded_) {
      postponed_.push_back(change);
      return;
    }
  }
  applyInMemory(change);
}

// The values are there, or will not be: everything starts from what is in memory now.
void SqliteUserDefaults::applyPostponed() const {
  for (;;) {
    std::vector<Change> postponed;
    {
      const std::lock_guard lock(mutex_);
      loaded_ = postponed_.empty();
      if (loaded_) return;
      postponed.swap(postponed_);
    }
    for (const Change& change : postponed) applyInMemory(change);
  }
}

void SqliteUserDefaults::applyInMemory(const Change& change) const {
  const std::lock_guard lock(mutex_);
  MemoryEdit edit(*this);
  change(edit);
}

void SqliteUserDefaults::update(const Change& change) {
  loadOnce();
  const std::lock_guard lock(fileMutex_);
  commitChange(change);
}

bool SqliteUserDefaults::updateWithin(std::chrono::milliseconds limit, const Change& change) {
  const auto deadline = std::chrono::steady_clock::now() + limit;
  std::unique_lock lock(fileMutex_, std::defer_lock);
  if (!lock.try_lock_until(deadline)) {
    postponeOrApply(change);
    scheduleFlush();
    return false;
  }
  const SqliteFile::ShortPatience patience(file_, deadline);
  return commitChange(change);
}

// With fileMutex_ held. Once the values are loaded, without a file the step is one for this process
// alone.
bool SqliteUserDefaults::commitChange(const Change& change) {
  DeferredLog log(*log_);
  bool isApplied = false;
  const auto apply = [&] {
    applyInMemory(change);
    isApplied = true;
  };
  bool isCommitted = commit(log, apply);
  if (!isApplied) postponeOrApply(change);
  for (int attempt = 1; !isCommitted && attempt < SqliteFile::kAttempts; ++attempt) {
    if (!file_.canTryAgain()) break;
    isCommitted = commit(log);
  }
  if (!isCommitted) scheduleFlush();
  return isCommitted;
}

// Opens the file and takes over what it holds. False when it cannot be used now.
bool SqliteUserDefaults::prepareFile(DeferredLog& log) const {
  if (!file_.open(log)) return false;
  if (file_.generation() == knownGeneration_) return true;
  if (knownGeneration_ != 0) {
    // Another file than the one the values came from: it gets all of them.
    const std::lock_guard lock(mutex_);
    for (const auto& [key, value] : values_) uncommitted_.try_emplace(key, value);
  }
  if (!file_.read([this](sqlite3* database) { return load(database); }, log)) return false;
  knownGeneration_ = file_.generation();
  knownVersion_ = 0;
  applyPostponed();
  return true;
}

int SqliteUserDefaults::load(sqlite3* database) const {
  Values stored;
  SqliteStatement rows(database, "SELECT key, type, value FROM defaults");
  if (!rows.get()) return ::sqlite3_extended_errcode(database);
  int code = SQLITE_ROW;
  while ((code = ::sqlite3_step(rows.get())) == SQLITE_ROW) {
    std::string key(columnKey(rows));
    if (auto value = readSqliteValue(rows.get(), 1)) {
      stored.insert_or_assign(std::move(key), *std::move(value));
    }
  }
  if (code != SQLITE_DONE) return code;
  mergeStored(std::move(stored));
  return SQLITE_OK;
}

// In a transaction: else the version could be a later one than what is loaded.
int SqliteUserDefaults::loadIfChanged(sqlite3* database) const {
  SqliteStatement version(database, "PRAGMA data_version", SqliteStatement::Use::kOften);
  if (!version.get() || ::sqlite3_step(version.get()) != SQLITE_ROW) {
    return ::sqlite3_extended_errcode(database);
  }
  const std::int64_t current = ::sqlite3_column_int64(version.get(), 0);
  if (current == knownVersion_) return SQLITE_OK;
  const int code = load(database);
  if (code == SQLITE_OK) knownVersion_ = current;
  return code;
}

void SqliteUserDefaults::mergeStored(Values stored) const {
  const std::lock_guard lock(mutex_);
  for (auto& [key, value] : stored) {
    if (uncommitted_.find(key) == uncommitted_.end()) values_.insert_or_assign(key, value);
  }
}

// `change` is called once it is certain that no other process writes meanwhile.
bool SqliteUserDefaults::commit(DeferredLog& log, const std::function<void()>& change) {
  if (!prepareFile(log)) return false;
  Changes changes;
  const auto writeAll = [&](sqlite3* database) {
    if (const int code = loadIfChanged(database)) return code;
    if (change) change();
    {
      const std::lock_guard lock(mutex_);
      changes.swap(uncommitted_);
    }
    return writeChanges(database, changes, log);
  };
  if (file_.transact(writeAll, log)) return true;
  const std::lock_guard lock(mutex_);
  uncommitted_.merge(changes);  // What was changed again meanwhile stays as it is.
  return false;
}

int SqliteUserDefaults::writeChanges(sqlite3* database, const Changes& changes, DeferredLog& log) {
  using Use = SqliteStatement::Use;
  SqliteStatement store(database, "INSERT OR REPLACE INTO defaults VALUES(?1, ?2, ?3)",
                        Use::kOften);
  SqliteStatement erase(database, "DELETE FROM defaults WHERE key = ?1", Use::kOften);
  if (!store.get() || !erase.get()) return ::sqlite3_extended_errcode(database);
  int code = SQLITE_OK;
  for (auto change = changes.begin(); code == SQLITE_OK && change != changes.end(); ++change) {
    const auto& [key, value] = *change;
    SqliteStatement& statement = value ? store : erase;
    bindKey(statement, key);
    std::string why;
    if (value && !bindSqliteValue(statement.get(), 2, *value, &why)) {
      log.add("the user default \"" + key + "\" is kept in memory only: " + why);
      continue;
    }
    code = statement.run();
  }
  return code;
}

}  // namespace quarnel
