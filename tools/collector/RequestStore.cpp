#include "RequestStore.h"

#include <sqlite3.h>

#include <stdexcept>
#include <string_view>

#include "JsonText.h"
#include "Text.h"

namespace collector {
namespace {

constexpr const char* kSchema = R"(
  PRAGMA journal_mode = WAL;
  PRAGMA synchronous = NORMAL;
  CREATE TABLE IF NOT EXISTS run (id INTEGER PRIMARY KEY, started INTEGER NOT NULL);
  CREATE TABLE IF NOT EXISTS request (
    id INTEGER PRIMARY KEY,
    run INTEGER NOT NULL REFERENCES run,
    received_ms INTEGER NOT NULL,
    kind TEXT NOT NULL,
    host TEXT NOT NULL,
    path TEXT NOT NULL,
    query TEXT NOT NULL,
    headers TEXT NOT NULL,
    body BLOB NOT NULL,
    report TEXT,
    error TEXT);
  CREATE INDEX IF NOT EXISTS request_by_run ON request (run, id);
)";

std::string headersJson(const ReceivedRequest& request) {
  rapidjson::StringBuffer buffer;
  JsonWriter writer(buffer);
  writer.StartArray();
  for (const auto& [name, value] : request.headers) {
    writer.StartArray();
    writeText(writer, validUtf8(name));
    writeText(writer, validUtf8(value));
    writer.EndArray();
  }
  writer.EndArray();
  return std::string(view(buffer));
}

// The bound text must stay alive until the statement has run.
void bindText(sqlite3_stmt* statement, int index, std::string_view text) {
  sqlite3_bind_text64(statement, index, text.data(), text.size(), SQLITE_STATIC, SQLITE_UTF8);
}

std::string columnText(sqlite3_stmt* statement, int index) {
  const void* text = sqlite3_column_blob(statement, index);
  const auto size = static_cast<std::size_t>(sqlite3_column_bytes(statement, index));
  return text ? std::string(static_cast<const char*>(text), size) : std::string();
}

}  // namespace

void RequestStore::Closer::operator()(sqlite3* database) const { sqlite3_close(database); }

void RequestStore::Closer::operator()(sqlite3_stmt* statement) const {
  sqlite3_finalize(statement);
}

RequestStore::RequestStore(const std::filesystem::path& file) {
  sqlite3* database = nullptr;
  const int result = sqlite3_open(file.c_str(), &database);
  database_.reset(database);
  if (result != SQLITE_OK) fail();
  sqlite3_busy_timeout(database, 5000);
  execute(kSchema);
  execute("INSERT INTO run (started) VALUES (unixepoch())");
  run_ = sqlite3_last_insert_rowid(database);
  insert_ = prepare(
      "INSERT INTO request (run, received_ms, kind, host, path, query, headers, body, report, "
      "error) VALUES (?, ?, ?, ?, ?, ?, ?, ?, nullif(?, ''), nullif(?, ''))");
}

void RequestStore::add(const ReceivedReport& report) {
  const ReceivedRequest& request = report.request;
  const std::string headers = headersJson(request);
  const std::string host = validUtf8(request.host);
  const std::string path = validUtf8(request.path);
  const std::string query = validUtf8(request.query);
  const auto received =
      std::chrono::duration_cast<std::chrono::milliseconds>(request.time.time_since_epoch());

  const std::lock_guard lock(mutex_);
  sqlite3_stmt* insert = insert_.get();
  sqlite3_bind_int64(insert, 1, run_);
  sqlite3_bind_int64(insert, 2, received.count());
  bindText(insert, 3, nameOf(report.kind));
  bindText(insert, 4, host);
  bindText(insert, 5, path);
  bindText(insert, 6, query);
  bindText(insert, 7, headers);
  // An empty body must not become NULL, so it needs an address.
  sqlite3_bind_blob64(insert, 8, request.body.c_str(), request.body.size(), SQLITE_STATIC);
  bindText(insert, 9, report.json);
  bindText(insert, 10, report.error);
  const int result = sqlite3_step(insert);
  sqlite3_reset(insert);
  sqlite3_clear_bindings(insert);
  if (result != SQLITE_DONE) fail();
}

void RequestStore::visitOwn(
    const std::function<void(Kind, const std::string&, const std::string&)>& visitor) {
  const std::lock_guard lock(mutex_);
  const Statement select =
      prepare("SELECT kind, report, error FROM request WHERE run = ? ORDER BY id");
  sqlite3_bind_int64(select.get(), 1, run_);
  int result = sqlite3_step(select.get());
  for (; result == SQLITE_ROW; result = sqlite3_step(select.get())) {
    const std::string name = columnText(select.get(), 0);
    visitor(kindOf(name), columnText(select.get(), 1), columnText(select.get(), 2));
  }
  if (result != SQLITE_DONE) fail();
}

void RequestStore::execute(const char* sql) {
  if (sqlite3_exec(database_.get(), sql, nullptr, nullptr, nullptr) != SQLITE_OK) fail();
}

RequestStore::Statement RequestStore::prepare(const char* sql) {
  sqlite3_stmt* statement = nullptr;
  if (sqlite3_prepare_v2(database_.get(), sql, -1, &statement, nullptr) != SQLITE_OK) fail();
  return Statement(statement);
}

void RequestStore::fail() const {
  throw std::runtime_error(std::string("the database of reports failed: ") +
                           sqlite3_errmsg(database_.get()));
}

}  // namespace collector
