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

namespace quarnel {
namespace {

constexpr std::chrono::milliseconds kBusyPatience{5000};

// Keeps two processes from creating, checking or setting aside databases of one directory at the
// same time. Best effort: without the lock the worst is a needless new start.
class DirectoryLock {
 public:
  DirectoryLock(const std::string& directory, std::chrono::milliseconds patience)
      : directory_(::open(directory.c_str(), O_RDONLY | O_DIRECTORY | O_CLOEXEC)) {
    // flock() has no time limit of its own, and its holder may be a stopped process.
    const auto deadline = std::chrono::steady_clock::now() + patience;
    while (directory_.valid() && ::flock(directory_.get(), LOCK_EX | LOCK_NB) != 0) {
      if (errno != EWOULDBLOCK || std::chrono::steady_clock::now() > deadline) return;
      std::this_thread::sleep_for(std::chrono::milliseconds(2));
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

SqliteFile::SqliteFile(std::string purpose, std::string path, std::string table,
                       Durability durability)
    : purpose_(std::move(purpose)),
      path_(std::move(path)),
      table_(std::move(table)),
      durability_(durability),
      patience_(kBusyPatience) {}

SqliteFile::ShortPatience::ShortPatience(SqliteFile& file, std::chrono::milliseconds limit)
    : file_(file) {
  file_.setPatience(std::max(limit, std::chrono::milliseconds(0)));
}

SqliteFile::ShortPatience::~ShortPatience() { file_.setPatience(kBusyPatience); }

void SqliteFile::setPatience(std::chrono::milliseconds patience) {
  patience_ = patience;
  if (database_) ::sqlite3_busy_timeout(database_.get(), static_cast<int>(patience.count()));
}

bool SqliteFile::open(DeferredLog& log) {
  if (database_ && !fileIsGone()) return true;
  database_.reset();
  const std::string directory = parentDirectory(path_);
  if (const auto reason = makeDirectories(directory)) {
    fail(*reason, log);
    return false;
  }
  const DirectoryLock lock(directory, patience_);
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
  if (code == SQLITE_OK) code = checkTable();
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
  ::sqlite3_busy_timeout(opened, static_cast<int>(patience_.count()));
  const bool full = durability_ == Durability::kPowerLoss;
  return execute(opened, std::string("PRAGMA journal_mode=WAL; PRAGMA synchronous=") +
                             (full ? "FULL" : "NORMAL"));
}

// The schema has to be exactly the expected one: a foreign one may hold views and triggers.
int SqliteFile::checkTable() {
  int tables = 0;
  {
    SqliteStatement schema(database_.get(), "SELECT count(*), max(sql) FROM sqlite_schema");
    const int code =
        schema.get() ? ::sqlite3_step(schema.get()) : ::sqlite3_extended_errcode(database_.get());
    if (code != SQLITE_ROW) return code;
    tables = ::sqlite3_column_int(schema.get(), 0);
    if (tables > 1 || (tables == 1 && columnText(schema, 1) != table_)) return SQLITE_NOTADB;
  }
  // A file that says it is of a later format can only be read.
  const bool isReadOnly = ::sqlite3_db_readonly(database_.get(), "main") == 1;
  if (isReadOnly && ::access(path_.c_str(), W_OK) == 0) return SQLITE_NOTADB;
  const int code = checkPages(database_.get());
  return code == SQLITE_OK && tables == 0 ? execute(database_.get(), table_) : code;
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
  log.add("the " + purpose_ + " in " + path_ + " cannot be used: " + reason + ". Set aside as " +
          aside);
}

void SqliteFile::fail(const std::string& reason, DeferredLog& log) {
  if (!failing_) log.add("the " + purpose_ + " in " + path_ + " cannot be used now: " + reason);
  failing_ = true;
}

}  // namespace quarnel
