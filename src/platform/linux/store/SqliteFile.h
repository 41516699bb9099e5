#pragma once

#include <sqlite3.h>

#include <chrono>
#include <functional>
#include <memory>
#include <optional>
#include <string>
#include <vector>

#include "platform/linux/process/LogSinks.h"

namespace quarnel {

// A prepared statement; null when it could not be prepared.
class SqliteStatement {
 public:
  enum class Use { kOnce, kOften };

  // One that is used often stays with the database until that is closed, ready for the next time:
  // preparing it takes as long as running it.
  SqliteStatement(sqlite3* database, const char* sql, Use use = Use::kOnce);
  sqlite3_stmt* get() const { return statement_.get(); }

  // Runs a statement that returns no rows: SQLITE_OK, or the error.
  int run();

 private:
  struct Deleter {
    Use use;
    void operator()(sqlite3_stmt* statement) const {
      use == Use::kOften ? ::sqlite3_reset(statement) : ::sqlite3_finalize(statement);
    }
  };
  sqlite3* database_;
  std::unique_ptr<sqlite3_stmt, Deleter> statement_;
};

// A small database that heals itself: a file that is no such database, also when
// it is opened once more, is set aside under another name and started afresh; a file that cannot be
// opened now is tried again at the next use. Other processes may use the same file. Not
// thread-safe.
class SqliteFile {
 public:
  // What a committed transaction survives. The end of the process, however sudden, costs nothing
  // either way.
  enum class Durability {
    kProcess,    // Power loss may undo the transactions of the last moments, but damages nothing.
    kPowerLoss,  // Each transaction waits for the disk.
  };

  // The texts of the CREATE TABLE statements: a database is this one when it has these tables and
  // nothing else. What `firstContents` returns is run in the transaction that makes them.
  struct Schema {
    std::vector<std::string> tables;
    std::function<std::string()> firstContents = {};
  };

  // `purpose` stands in log lines; `whenSetAside` is told each time the file is set aside.
  SqliteFile(std::string purpose, std::string path, Schema schema, Durability durability,
             std::function<void()> whenSetAside = {});

  // Whether the database is open, after opening it if need be.
  bool open(DeferredLog& log);

  // After a failure: whether it was one of a damaged file, which the next open() may have mended.
  bool canTryAgain() const { return !database_ && !failing_; }

  // Differs whenever open() has opened another file than before, or the same one again.
  int generation() const { return generation_; }

  // How often the same work is tried until a damaged file is replaced by a new one.
  static constexpr int kAttempts = 3;

  using Deadline = std::chrono::steady_clock::time_point;

  // While it lives, locks that somebody else holds are waited for until then at most, and
  // no commit stops to move the write-ahead log into the database.
  class ShortPatience {
   public:
    ShortPatience(SqliteFile& file, Deadline deadline);
    ShortPatience(const ShortPatience&) = delete;
    ShortPatience& operator=(const ShortPatience&) = delete;
    ~ShortPatience();

   private:
    SqliteFile& file_;
  };

  // Both run `work`, which returns an SQLite result code, and are true when that and all around it
  // went well. open() must have succeeded. transact() makes it one transaction.
  bool read(const std::function<int(sqlite3*)>& work, DeferredLog& log);
  bool transact(const std::function<int(sqlite3*)>& work, DeferredLog& log);

 private:
  struct Closer {
    void operator()(sqlite3* database) const {
      while (auto* kept = ::sqlite3_next_stmt(database, nullptr)) ::sqlite3_finalize(kept);
      ::sqlite3_close_v2(database);
    }
  };

  static int waitForLock(void* self, int attempt);
  void limitCheckpoints();
  bool tryOpen(DeferredLog& log);
  int openDatabase();
  int checkTables();
  int makeTables();
  int compareSchema(bool& isNew);
  bool fileIsGone() const;
  void setAside(const std::string& reason, DeferredLog& log);
  void fail(const std::string& reason, DeferredLog& log);
  bool failWith(int code, DeferredLog& log);

  const std::string purpose_;
  const std::string path_;
  const Schema schema_;
  const Durability durability_;
  const std::function<void()> whenSetAside_;
  std::unique_ptr<sqlite3, Closer> database_;
  std::optional<Deadline> deadline_;  // Of a ShortPatience.
  Deadline waitsUntil_;               // Of the lock that is being waited for.
  int generation_ = 0;
  bool failing_ = false;    // A lasting failure is logged once.
  bool isSuspect_ = false;  // It looked damaged once, and nothing could be written since.
};

}  // namespace quarnel
