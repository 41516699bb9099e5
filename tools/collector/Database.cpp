#include "Database.h"

#include <sqlite3.h>
#include <sys/stat.h>

#include <stdexcept>

namespace collector {
namespace {

constexpr int kPatienceMs = 5000;

[[noreturn]] void fail(sqlite3* database) {
  throw std::runtime_error(std::string("the database of reports failed: ") +
                           sqlite3_errmsg(database));
}

}  // namespace

void Database::Closer::operator()(sqlite3* database) const { sqlite3_close(database); }

void Database::Statement::Closer::operator()(sqlite3_stmt* statement) const {
  sqlite3_finalize(statement);
}

Database::Database(const std::filesystem::path& file, Access access)
    : file_(file.native()), log_(file_ + "-wal") {
  const int flags = access == Access::kReadOnly ? SQLITE_OPEN_READONLY
                                                : SQLITE_OPEN_READWRITE | SQLITE_OPEN_CREATE;
  sqlite3* database = nullptr;
  const int result = sqlite3_open_v2(file.c_str(), &database, flags, nullptr);
  handle_.reset(database);
  if (result != SQLITE_OK) fail(database);
  sqlite3_busy_timeout(database, kPatienceMs);
  fileIdentity_ = identityOf(file_);
}

Database::FileIdentity Database::identityOf(const std::string& file) {
  struct stat status {};
  if (stat(file.c_str(), &status) != 0) return {};
  return {status.st_dev, status.st_ino};
}

bool Database::isInPlace() const {
  if (identityOf(file_) != fileIdentity_) return false;
  const FileIdentity log = identityOf(log_);
  if (logIdentity_ == FileIdentity()) logIdentity_ = log;
  return log == logIdentity_;
}

void Database::execute(const char* sql) {
  if (sqlite3_exec(handle_.get(), sql, nullptr, nullptr, nullptr) != SQLITE_OK) {
    fail(handle_.get());
  }
}

Database::Statement Database::prepare(const std::string& sql) {
  sqlite3_stmt* statement = nullptr;
  if (sqlite3_prepare_v2(handle_.get(), sql.c_str(), -1, &statement, nullptr) != SQLITE_OK) {
    fail(handle_.get());
  }
  Statement result;
  result.handle_.reset(statement);
  return result;
}

std::int64_t Database::lastInsertedRow() const { return sqlite3_last_insert_rowid(handle_.get()); }

Database::Statement& Database::Statement::bind(int index, std::int64_t number) {
  sqlite3_bind_int64(handle_.get(), index, number);
  return *this;
}

Database::Statement& Database::Statement::bind(int index, double number) {
  sqlite3_bind_double(handle_.get(), index, number);
  return *this;
}

Database::Statement& Database::Statement::bind(int index, std::string_view text) {
  sqlite3_bind_text64(handle_.get(), index, text.data(), text.size(), SQLITE_STATIC, SQLITE_UTF8);
  return *this;
}

Database::Statement& Database::Statement::bindBlob(int index, std::string_view bytes) {
  // Empty bytes must not become NULL, so they need an address.
  sqlite3_bind_blob64(handle_.get(), index, bytes.empty() ? "" : bytes.data(), bytes.size(),
                      SQLITE_STATIC);
  return *this;
}

bool Database::Statement::step() {
  const int result = sqlite3_step(handle_.get());
  if (result != SQLITE_ROW && result != SQLITE_DONE) {
    sqlite3* const database = sqlite3_db_handle(handle_.get());
    const std::runtime_error failure(std::string("the database of reports failed: ") +
                                     sqlite3_errmsg(database));
    reset();
    throw failure;
  }
  return result == SQLITE_ROW;
}

void Database::Statement::run() {
  while (step()) {
  }
  reset();
}

void Database::Statement::reset() {
  sqlite3_reset(handle_.get());
  sqlite3_clear_bindings(handle_.get());
}

bool Database::Statement::isNull(int column) const {
  return sqlite3_column_type(handle_.get(), column) == SQLITE_NULL;
}

std::int64_t Database::Statement::integer(int column) const {
  return sqlite3_column_int64(handle_.get(), column);
}

double Database::Statement::number(int column) const {
  return sqlite3_column_double(handle_.get(), column);
}

std::string_view Database::Statement::text(int column) const {
  const void* text = sqlite3_column_blob(handle_.get(), column);
  const auto size = static_cast<std::size_t>(sqlite3_column_bytes(handle_.get(), column));
  return text ? std::string_view(static_cast<const char*>(text), size) : std::string_view();
}

}  // namespace collector
