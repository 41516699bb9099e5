#include "platform/linux/store/CounterTable.h"

#include <unistd.h>

#include <algorithm>
#include <functional>
#include <utility>
#include <vector>

#include "platform/linux/process/LogSinks.h"
#include "platform/linux/store/FormerCounters.h"
#include "util/Limits.h"

namespace quarnel {
namespace {

constexpr char kTotalsTable[] =
    "CREATE TABLE totals(counter INTEGER PRIMARY KEY, value INTEGER NOT NULL)";
constexpr char kOpenTable[] =
    "CREATE TABLE open(process TEXT PRIMARY KEY NOT NULL, accepted INTEGER NOT NULL, "
    "ended INTEGER NOT NULL) WITHOUT ROWID";

constexpr auto kOften = SqliteStatement::Use::kOften;

std::string insertStatements(const CounterStore::Totals& totals) {
  std::string sql;
  for (std::size_t i = 0; i < totals.size(); ++i) {
    sql += "INSERT INTO totals VALUES(" + std::to_string(i) + ", " +
           std::to_string(static_cast<std::int64_t>(totals[static_cast<Tally>(i)])) + ");";
  }
  return sql;
}

std::string columnText(const SqliteStatement& row, int column) {
  const auto* text = reinterpret_cast<const char*>(::sqlite3_column_text(row.get(), column));
  return text == nullptr ? "" : text;
}

void bindText(const SqliteStatement& statement, int parameter, const std::string& text) {
  ::sqlite3_bind_text64(statement.get(), parameter, text.data(), text.size(), SQLITE_TRANSIENT,
                        SQLITE_UTF8);
}

void bindNumber(const SqliteStatement& statement, int parameter, std::uint64_t number) {
  ::sqlite3_bind_int64(statement.get(), parameter, static_cast<std::int64_t>(number));
}

int readTotals(sqlite3* database, CounterStore::Totals& totals) {
  SqliteStatement rows(database, "SELECT counter, value FROM totals", kOften);
  if (!rows.get()) return ::sqlite3_extended_errcode(database);
  int code = SQLITE_ROW;
  while ((code = ::sqlite3_step(rows.get())) == SQLITE_ROW) {
    const auto counter = static_cast<std::uint64_t>(::sqlite3_column_int64(rows.get(), 0));
    if (counter >= totals.size()) continue;  // Of a later version.
    totals[static_cast<Tally>(counter)] =
        static_cast<std::uint64_t>(::sqlite3_column_int64(rows.get(), 1));
  }
  return code == SQLITE_DONE ? SQLITE_OK : code;
}

int addTotals(sqlite3* database, const CounterStore::Totals& added) {
  SqliteStatement add(database,
                      "INSERT INTO totals VALUES(?1, ?2) "
                      "ON CONFLICT(counter) DO UPDATE SET value = value + ?2",
                      kOften);
  int code = add.get() ? SQLITE_OK : ::sqlite3_extended_errcode(database);
  for (std::size_t i = 0; code == SQLITE_OK && i < added.size(); ++i) {
    const std::uint64_t number = added[static_cast<Tally>(i)];
    if (number == 0) continue;
    bindNumber(add, 1, i);
    bindNumber(add, 2, number);
    code = add.run();
  }
  return code;
}

CounterStore::Totals sum(CounterStore::Totals left, const CounterStore::Totals& right) {
  std::transform(left.begin(), left.end(), right.begin(), left.begin(), std::plus<>());
  return left;
}

CounterStore::Totals difference(CounterStore::Totals left, const CounterStore::Totals& right) {
  std::transform(left.begin(), left.end(), right.begin(), left.begin(), std::minus<>());
  return left;
}

}  // namespace

std::shared_ptr<CounterTable> CounterTable::make(const std::string& folder,
                                                 std::shared_ptr<SerialQueue> queue,
                                                 std::shared_ptr<LogSink> log) {
  std::shared_ptr<CounterTable> table(new CounterTable(folder, std::move(queue), std::move(log)));
  callAtExit(table);
  return table;
}

CounterTable::CounterTable(const std::string& folder, std::shared_ptr<SerialQueue> queue,
                           std::shared_ptr<LogSink> log)
    : formerFile_(folder + "/report-counters"),
      queue_(std::move(queue)),
      log_(std::move(log)),
      file_("counters", folder + "/report-counts.db",
            {{kTotalsTable, kOpenTable},
             [this] { return insertStatements(readFormerCounters(formerFile_)); }},
            SqliteFile::Durability::kProcess, [this] { increment(Tally::kStoreSetAside); }),
      mark_(folder + "/report-processes") {}

void CounterTable::increment(Tally tally) { fresh_[static_cast<std::size_t>(tally)].fetch_add(1); }

void CounterTable::saveSoon() {
  if (isScheduled_.load() || isScheduled_.exchange(true)) return;
  queue_->postAfter(limits::kCounterSave, [weak = weak_from_this()] {
    const auto self = weak.lock();
    if (!self) return;
    self->isScheduled_ = false;  // Before saving: what is counted meanwhile is not forgotten.
    self->saveWithin(limits::kCounterLock);
  });
}

void CounterTable::recordsListed(std::uint64_t records) {
  {
    const std::lock_guard lock(mutex_);
    listing_ = Listing{++listings_, records, fresh()};
  }
  saveSoon();
}

// The outcomes before what was accepted, so that no report has ended without having begun.
CounterStore::Totals CounterTable::fresh() const {
  Totals fresh{};
  for (std::size_t i = kCounters; i-- > 0;) fresh[static_cast<Tally>(i)] = fresh_[i].load();
  return fresh;
}

CounterStore::Totals CounterTable::totals() {
  if (!isLoaded_) saveWithin(limits::kCounterLock);
  const std::lock_guard lock(mutex_);
  Totals totals = sum(saved_, fresh());
  // A process that was taken for dead and was not gives back what it ends.
  auto& lost = totals[Tally::kWithProcess];
  if (static_cast<std::int64_t>(lost) < 0) lost = 0;
  return totals;
}

void CounterTable::processIsExiting() { saveWithin(limits::kCounterLock); }

bool CounterTable::saveWithin(std::chrono::milliseconds limit) {
  return saveUntil(std::chrono::steady_clock::now() + limit);
}

bool CounterTable::saveUntil(std::chrono::steady_clock::time_point deadline) {
  DeferredLog log(*log_);
  const std::unique_lock lock(fileMutex_, deadline);
  if (!lock) return false;
  const SqliteFile::ShortPatience patience(file_, deadline);
  for (int attempt = 0; attempt < SqliteFile::kAttempts; ++attempt) {
    if (merge(log)) return true;
    if (!file_.canTryAgain()) break;
  }
  return false;
}

// What cannot be saved now is tried again with what is counted next.
bool CounterTable::merge(DeferredLog& log) {
  if (!file_.open(log)) return false;
  if (!mark_.make()) return false;
  Merge merge;
  std::optional<ProcessMark::Others> others;
  const auto work = [&](sqlite3* database) {
    others.emplace(mark_);
    return write(database, *others, merge);
  };
  if (!file_.transact(work, log)) return false;
  rowName_ = mark_.name();
  remember(merge);
  others->removeEnded();
  // The database has its numbers.
  if (!isLoaded_.exchange(true)) ::unlink(formerFile_.c_str());
  return true;
}

int CounterTable::write(sqlite3* database, const ProcessMark::Others& others, Merge& merge) {
  if (const int code = readTotals(database, merge.stored)) return code;
  {
    const std::lock_guard lock(mutex_);
    merge.added = fresh();
    merge.listing = listing_;
  }
  if (const int code = buryEnded(database, others, merge.noticed)) return code;
  if (merge.listing && others.isKnown() && !others.someoneLives()) {
    // Another process may have put records there since.
    merge.noticed[Tally::kDeletedFromCache] =
        sum(merge.stored, merge.listing->fresh).missingRecords(merge.listing->records);
  }
  if (const int code = writeOwnRow(database, merge.added)) return code;
  return addTotals(database, sum(merge.added, merge.noticed));
}

// Rows without a living process.
int CounterTable::buryEnded(sqlite3* database, const ProcessMark::Others& others, Totals& noticed) {
  if (!others.isKnown()) return SQLITE_OK;
  SqliteStatement rows(database, "SELECT process, accepted - ended FROM open", kOften);
  SqliteStatement bury(database, "DELETE FROM open WHERE process = ?1", kOften);
  if (!rows.get() || !bury.get()) return ::sqlite3_extended_errcode(database);
  std::vector<std::string> ended;
  int code = SQLITE_ROW;
  while ((code = ::sqlite3_step(rows.get())) == SQLITE_ROW) {
    const std::string process = columnText(rows, 0);
    if (process == rowName_ || process == mark_.name() || others.lives(process)) continue;
    ended.push_back(process);
    noticed[Tally::kWithProcess] +=
        static_cast<std::uint64_t>(::sqlite3_column_int64(rows.get(), 1));
  }
  code = code == SQLITE_DONE ? SQLITE_OK : code;
  for (auto next = ended.begin(); code == SQLITE_OK && next != ended.end(); ++next) {
    bindText(bury, 1, *next);
    code = bury.run();
  }
  return code;
}

int CounterTable::writeOwnRow(sqlite3* database, const Totals& added) {
  int code = SQLITE_OK;
  if (!rowName_.empty() && rowName_ != mark_.name()) {
    SqliteStatement rename(database, "UPDATE open SET process = ?2 WHERE process = ?1");
    bindText(rename, 1, rowName_);
    bindText(rename, 2, mark_.name());
    code = rename.run();
  }
  const std::uint64_t accepted = added[Tally::kAccepted];
  if (code != SQLITE_OK || (accepted == 0 && added.ended() == 0)) return code;
  SqliteStatement store(database,
                        "INSERT INTO open VALUES(?1, ?2, ?3) ON CONFLICT(process) DO UPDATE "
                        "SET accepted = accepted + ?2, ended = ended + ?3",
                        kOften);
  if (!store.get()) return ::sqlite3_extended_errcode(database);
  bindText(store, 1, mark_.name());
  bindNumber(store, 2, accepted);
  bindNumber(store, 3, added.ended());
  return store.run();
}

void CounterTable::remember(const Merge& merge) {
  const std::lock_guard lock(mutex_);
  saved_ = sum(sum(merge.stored, merge.added), merge.noticed);
  for (std::size_t i = 0; i < kCounters; ++i) fresh_[i] -= merge.added[static_cast<Tally>(i)];
  if (!listing_) return;
  const bool isSeen = merge.listing && merge.listing->number == listing_->number;
  if (isSeen) {
    listing_.reset();
  } else {
    listing_->fresh = difference(listing_->fresh, merge.added);
  }
}

}  // namespace quarnel
