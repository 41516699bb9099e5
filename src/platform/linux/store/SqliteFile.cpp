#include "platform/linux/store/SqliteFile.h"

#include <fcntl.h>
#include <sys/file.h>
#include <sys/stat.h>
#include <unistd.h>

#include <algorithm>
#include <cerrno>
#include <chrono>
#include <cstdio>
#include <cstring>
#include <string_view>
#include <thread>
#include <utility>

#include "platform/linux/store/Directories.h"
#include "platform/linux/store/FileDescriptor.h"
#include "util/Limits.h"

namespace quarnel {
namespace {

using Clock = std::chrono::steady_clock;

// Pages of the write-ahead log at which a commit moves them into the database; SQLite's default.
constexpr int kCheckpointPages = 1000;

// Keeps two processes from creating, checking or setting aside databases of one directory at the
// same time. Best effort: without the lock the worst is a needless new start.
class DirectoryLock {
 public:
  DirectoryLock(const std::string& directory, Clock::time_point deadline)
      : directory_(::open(directory.c_str(), O_RDONLY | O_DIRECTORY | O_CLOEXEC)) {
    // flock() has no time limit of its own, and its holder may be a stopped process.
    while (directory_.valid() && ::flock(directory_.get(), LOCK_EX | LOCK_NB) != 0) {
      if (errno != EWOULDBLOCK || Clock::now() >= deadline) return;
      std::this_thread::sleep_for(limits::kLockRetry);
    }
  }

 private:
  FileDescriptor directory_;
};

bool isCorruption(int code) {
  const int primary = code & 0xff;
  return primary == SQLITE_CORRUPT || primary == SQLITE_NOTADB;
}

int execute(sqlite3* database, const std::string& sql) {
  return ::sqlite3_exec(database, sql.c_str(), nullptr, nullptr, nullptr);
}

std::string_view columnText(const SqliteStatement& statement, int column) {
  const auto* text = reinterpret_cast<const char*>(::sqlite3_column_text(statement.get(), column));
  return text == nullptr ? std::string_view() : std::string_view(text);
}

int checkPages(sqlite3* database) {
  const SqliteStatement check(database, "PRAGMA quick_check(1)");
  const int code = check.get() ? ::sqlite3_step(check.get()) : ::sqlite3_extended_errcode(database);
  if (code != SQLITE_ROW) return code;
  return columnText(check, 0) == "ok" ? SQLITE_OK : SQLITE_CORRUPT;
}

sqlite3_stmt* keptStatement(sqlite3* database, const char* sql) {
  sqlite3_stmt* kept = ::sqlite3_next_stmt(database, nullptr);
  while (kept != nullptr && std::strcmp(::sqlite3_sql(kept), sql) != 0) {
    kept = ::sqlite3_next_stmt(database, kept);
  }
  return kept;
}

int executeOften(sqlite3* database, const char* sql) {
  return SqliteStatement(database, sql, SqliteStatement::Use::kOften).run();
}

}  // namespace

SqliteStatement::SqliteStatement(sqlite3* database, const char* sql, Use use)
    : database_(database), statement_(nullptr, Deleter{use}) {
  sqlite3_stmt* statement = use == Use::kOften ? keptStatement(database, sql) : nullptr;
  if (statement == nullptr) {
    const unsigned flags = use == Use::kOften ? SQLITE_PREPARE_PERSISTENT : 0;
    ::sqlite3_prepare_v3(database, sql, -1, flags, &statement, nullptr);
  }
  statement_.reset(statement);
}

int SqliteStatement::run() {
  if (!statement_) return ::sqlite3_extended_errcode(database_);
  const int code = ::sqlite3_step(statement_.get());
  ::sqlite3_reset(statement_.get());
  return code == SQLITE_DONE || code == SQLITE_ROW ? SQLITE_OK : code;
}

SqliteFile::SqliteFile(std::string purpose, std::string path, Schema schema, Durability durability,
                       std::function<void()> whenSetAside)
    : purpose_(std::move(purpose)),
      path_(std::move(path)),
      schema_(std::move(schema)),
      durability_(durability),
      whenSetAside_(std::move(whenSetAside)) {}

SqliteFile::ShortPatience::ShortPatience(SqliteFile& file, Deadline deadline) : file_(file) {
  file_.deadline_ = std::min(deadline, Clock::now() + limits::kStoreLock);
  file_.limitCheckpoints();
}

SqliteFile::ShortPatience::~ShortPatience() {
  file_.deadline_.reset();
  file_.limitCheckpoints();
}

void SqliteFile::limitCheckpoints() {
  if (database_) ::sqlite3_wal_autocheckpoint(database_.get(), deadline_ ? 0 : kCheckpointPages);
}

// SQLite asks whether it may try again.
int SqliteFile::waitForLock(void* self, int attempt) {
  auto& file = *static_cast<SqliteFile*>(self);
  const auto now = Clock::now();
  if (attempt == 0) file.waitsUntil_ = file.deadline_.value_or(now + limits::kStoreLock);
  if (now >= file.waitsUntil_) return 0;
  std::this_thread::sleep_for(limits::kLockRetry);
  return 1;
}

bool SqliteFile::open(DeferredLog& log) {
  if (database_ && !fileIsGone()) return true;
  database_.reset();
  const std::string directory = parentDirectory(path_);
  if (const auto reason = makeDirectories(directory)) {
    fail(*reason, log);
    return false;
  }
  const DirectoryLock lock(directory, deadline_.value_or(Clock::now() + limits::kStoreLock));
  // The first time a file looks damaged, the second time it is set aside, the third time it is new.
  for (int attempt = 0; attempt < kAttempts; ++attempt) {
    if (tryOpen(log)) return true;
    if (!canTryAgain()) return false;
  }
  return false;
}

bool SqliteFile::tryOpen(DeferredLog& log) {
  struct stat status {};
  if (::lstat(path_.c_str(), &status) == 0) {
    // Opening a FIFO would block, and a link may lead anywhere.
    if (!S_ISREG(status.st_mode)) {
      setAside("it is not a regular file", log);
      return false;
    }
    if ((status.st_mode & 077) != 0) ::chmod(path_.c_str(), 0600);
  } else {
    // SQLite would make it readable for others; its log files get the mode of this one. Only a new
    // file may be opened and closed here: closing one that this process uses drops SQLite's locks.
    const FileDescriptor created(
        ::open(path_.c_str(), O_RDWR | O_CREAT | O_EXCL | O_NOFOLLOW | O_CLOEXEC, 0600));
  }
  int code = openDatabase();
  if (code == SQLITE_OK) code = checkTables();
  // All statements so far are sound, so it is the file that SQLite makes no sense of.
  if ((code & 0xff) == SQLITE_ERROR) code = SQLITE_NOTADB;
  if (code == SQLITE_OK) {
    ++generation_;
    failing_ = false;
    return true;
  }
  failWith(code, log);
  database_.reset();
  return false;
}

int SqliteFile::openDatabase() {
  sqlite3* opened = nullptr;
  const int code = ::sqlite3_open_v2(
      path_.c_str(), &opened,
      SQLITE_OPEN_READWRITE | SQLITE_OPEN_CREATE | SQLITE_OPEN_EXRESCODE | SQLITE_OPEN_NOMUTEX,
      nullptr);
  database_.reset(opened);
  if (code != SQLITE_OK) return code;
  ::sqlite3_busy_handler(opened, &SqliteFile::waitForLock, this);
  limitCheckpoints();
  const bool full = durability_ == Durability::kPowerLoss;
  return execute(opened, std::string("PRAGMA journal_mode=WAL; PRAGMA synchronous=") +
                             (full ? "FULL" : "NORMAL"));
}

// The schema has to be exactly the expected one: a foreign one may hold views and triggers.
int SqliteFile::compareSchema(bool& isNew) {
  SqliteStatement schema(database_.get(), "SELECT sql FROM sqlite_schema ORDER BY rowid");
  if (!schema.get()) return ::sqlite3_extended_errcode(database_.get());
  std::size_t count = 0;
  int code = SQLITE_ROW;
  while ((code = ::sqlite3_step(schema.get())) == SQLITE_ROW) {
    const bool isKnown =
        count < schema_.tables.size() && columnText(schema, 0) == schema_.tables[count];
    if (!isKnown) return SQLITE_NOTADB;
    ++count;
  }
  if (code != SQLITE_DONE) return code;
  isNew = count == 0;
  return isNew || count == schema_.tables.size() ? SQLITE_OK : SQLITE_NOTADB;
}

int SqliteFile::checkTables() {
  bool isNew = false;
  if (const int code = compareSchema(isNew)) return code;
  // A file that says it is of a later format can only be read.
  const bool isReadOnly = ::sqlite3_db_readonly(database_.get(), "main") == 1;
  if (isReadOnly && ::access(path_.c_str(), W_OK) == 0) return SQLITE_NOTADB;
  const int code = checkPages(database_.get());
  return code == SQLITE_OK && isNew ? makeTables() : code;
}

// All of it or nothing. Another process may have been faster.
int SqliteFile::makeTables() {
  int code = execute(database_.get(), "BEGIN IMMEDIATE");
  if (code != SQLITE_OK) return code;
  bool isNew = false;
  code = compareSchema(isNew);
  if (code == SQLITE_OK && isNew) {
    for (const std::string& table : schema_.tables) {
      if (code == SQLITE_OK) code = execute(database_.get(), table);
    }
    if (code == SQLITE_OK && schema_.firstContents) {
      code = execute(database_.get(), schema_.firstContents());
    }
  }
  if (code == SQLITE_OK) code = execute(database_.get(), "COMMIT");
  if (code != SQLITE_OK) execute(database_.get(), "ROLLBACK");
  return code;
}

bool SqliteFile::read(const std::function<int(sqlite3*)>& work, DeferredLog& log) {
  const int code = work(database_.get());
  return code == SQLITE_OK || failWith(code, log);
}

bool SqliteFile::transact(const std::function<int(sqlite3*)>& work, DeferredLog& log) {
  sqlite3* const database = database_.get();
  int code = executeOften(database, "BEGIN IMMEDIATE");
  if (code == SQLITE_OK) code = work(database);
  if (code == SQLITE_OK) code = executeOften(database, "COMMIT");
  if (code == SQLITE_OK) {
    failing_ = false;
    isSuspect_ = false;
    return true;
  }
  if (::sqlite3_get_autocommit(database) == 0) execute(database, "ROLLBACK");
  return failWith(code, log);
}

bool SqliteFile::failWith(int code, DeferredLog& log) {
  const std::string reason = ::sqlite3_errstr(code);
  if (!isCorruption(code)) {
    fail(reason, log);
  } else if (isSuspect_) {
    setAside(reason, log);
  } else {
    // To SQLite, a read that failed is damage, too, but that may pass.
    isSuspect_ = true;
    failing_ = false;
    database_.reset();
  }
  return false;
}

bool SqliteFile::fileIsGone() const {
  int moved = 0;
  ::sqlite3_file_control(database_.get(), "main", SQLITE_FCNTL_HAS_MOVED, &moved);
  return moved != 0;
}

void SqliteFile::setAside(const std::string& reason, DeferredLog& log) {
  database_.reset();
  const auto now = std::chrono::floor<std::chrono::microseconds>(std::chrono::system_clock::now());
  const std::string aside = path_ + ".corrupt-" + std::to_string(now.time_since_epoch().count());
  if (std::rename(path_.c_str(), aside.c_str()) != 0) {
    fail(reason + ", and it cannot be set aside: " + std::strerror(errno), log);
    return;
  }
  for (const char* const suffix : {"-wal", "-shm"}) {
    std::rename((path_ + suffix).c_str(), (aside + suffix).c_str());
  }
  failing_ = false;
  isSuspect_ = false;
  if (whenSetAside_) whenSetAside_();
  log.add("the " + purpose_ + " in " + path_ + " cannot be used: " + reason + ". Set aside as " +
          aside);
}

void SqliteFile::fail(const std::string& reason, DeferredLog& log) {
  if (!failing_) log.add("the " + purpose_ + " in " + path_ + " cannot be used now: " + reason);
  failing_ = true;
}

}  // namespace quarnel
