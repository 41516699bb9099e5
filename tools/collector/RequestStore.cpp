#include "RequestStore.h"

#include <algorithm>
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
    id INTEGER PRIMARY KEY AUTOINCREMENT,
    run INTEGER NOT NULL REFERENCES run,
    received_ms INTEGER NOT NULL,
    method TEXT NOT NULL,
    kind TEXT NOT NULL,
    host TEXT NOT NULL,
    path TEXT NOT NULL,
    query TEXT NOT NULL,
    headers TEXT NOT NULL,
    body BLOB NOT NULL,
    report TEXT,
    error TEXT,
    installation TEXT,
    event TEXT,
    launches INTEGER,
    events INTEGER,
    sessions INTEGER,
    cached_seconds REAL,
    built_at REAL,
    status INTEGER NOT NULL,
    answer TEXT NOT NULL,
    errors INTEGER NOT NULL,
    warnings INTEGER NOT NULL,
    problems TEXT NOT NULL);
  CREATE INDEX IF NOT EXISTS request_by_run ON request (run, id);
  CREATE INDEX IF NOT EXISTS request_by_kind ON request (kind, id);
  CREATE INDEX IF NOT EXISTS request_by_event ON request (event, id);
  CREATE INDEX IF NOT EXISTS request_by_installation ON request (installation, id);
  CREATE INDEX IF NOT EXISTS request_by_building ON request (installation, built_at);
  CREATE INDEX IF NOT EXISTS request_with_problems ON request (id) WHERE errors + warnings > 0;
)";

constexpr int kLayout = 2;

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

std::string problemsJson(const Problems& problems) {
  rapidjson::StringBuffer buffer;
  JsonWriter writer(buffer);
  writer.StartArray();
  for (const Problem& problem : problems) {
    writer.StartObject();
    writer.Key("severity");
    writer.String(problem.severity == Problem::Severity::kError ? "error" : "warning");
    writer.Key("field");
    problem.field.empty() ? writer.Null() : (writeText(writer, problem.field), true);
    writer.Key("text");
    writeText(writer, problem.text);
    writer.EndObject();
  }
  writer.EndArray();
  return std::string(view(buffer));
}

std::optional<std::string_view> unlessEmpty(const std::string& text) {
  return text.empty() ? std::nullopt : std::optional<std::string_view>(text);
}

}  // namespace

RequestStore::RequestStore(const std::filesystem::path& file) : database_(file) {
  bringUpToDate();
  database_.execute("INSERT INTO run (started) VALUES (unixepoch())");
  run_ = database_.lastInsertedRow();
  insert_ = database_.prepare(
      "INSERT INTO request (run, received_ms, method, kind, host, path, query, headers, body, "
      "report, error, installation, event, launches, events, sessions, cached_seconds, built_at, "
      "status, answer, errors, warnings, problems) "
      "VALUES (?, ?, ?, ?, ?, ?, ?, ?, ?, ?, ?, ?, ?, ?, ?, ?, ?, ?, ?, ?, ?, ?, ?)");
  earlier_ = database_.prepare(
      "SELECT launches, events, sessions FROM request WHERE installation = ? AND built_at < ? "
      "ORDER BY built_at DESC LIMIT 1");
}

// The reports of an earlier layout are kept in a table of their own, out of the way.
void RequestStore::bringUpToDate() {
  auto layout = database_.prepare("PRAGMA user_version");
  auto tables =
      database_.prepare("SELECT 1 FROM sqlite_master WHERE type = 'table' AND name = 'request'");
  const bool isEarlier = layout.step() && layout.integer(0) < kLayout && tables.step();
  layout.reset();
  tables.reset();
  if (isEarlier) {
    database_.execute(
        "DROP INDEX IF EXISTS request_by_run; ALTER TABLE request RENAME TO request_1");
  }
  database_.execute(kSchema);
  database_.execute(("PRAGMA user_version = " + std::to_string(kLayout)).c_str());
}

std::int64_t RequestStore::add(const ReceivedReport& report, const ReportSummary& summary,
                               Problems problems, const Answer& answer) {
  const ReceivedRequest& request = report.request;
  const std::string headers = headersJson(request);
  const std::string host = validUtf8(request.host);
  const std::string path = validUtf8(request.path);
  const std::string query = validUtf8(request.query);
  const std::string_view kind = nameOf(report.kind);
  const auto received =
      std::chrono::duration_cast<std::chrono::milliseconds>(request.time.time_since_epoch());

  const std::lock_guard lock(mutex_);
  if (const auto earlier = earlierThan(summary)) checkCounters(*earlier, summary, problems);
  const auto errors = std::count_if(problems.begin(), problems.end(), [](const Problem& problem) {
    return problem.severity == Problem::Severity::kError;
  });
  const std::string problemList = problemsJson(problems);
  insert_.bind(1, run_).bind(2, std::int64_t{received.count()}).bind(3, request.method);
  insert_.bind(4, kind).bind(5, host).bind(6, path).bind(7, query).bind(8, headers);
  insert_.bindBlob(9, request.body);
  insert_.bind(10, unlessEmpty(report.json)).bind(11, unlessEmpty(report.error));
  insert_.bind(12, unlessEmpty(summary.installation)).bind(13, unlessEmpty(summary.event));
  insert_.bind(14, summary.launches).bind(15, summary.events).bind(16, summary.sessions);
  insert_.bind(17, summary.cachedSeconds).bind(18, summary.builtAt);
  insert_.bind(19, std::int64_t{answer.drop ? 0 : answer.status}).bind(20, answer.json);
  insert_.bind(21, std::int64_t{errors});
  insert_.bind(22, static_cast<std::int64_t>(problems.size()) - errors).bind(23, problemList);
  insert_.run();
  return database_.lastInsertedRow();
}

// By the time at which the reports were made: they may overtake each other on their way, and
// replayed ones come late.
std::optional<ReportSummary> RequestStore::earlierThan(const ReportSummary& summary) {
  if (!summary.builtAt || summary.installation.empty()) return std::nullopt;
  earlier_.bind(1, std::string_view(summary.installation)).bind(2, *summary.builtAt);
  std::optional<ReportSummary> found;
  if (earlier_.step()) {
    found.emplace();
    if (!earlier_.isNull(0)) found->launches = earlier_.integer(0);
    if (!earlier_.isNull(1)) found->events = earlier_.integer(1);
    if (!earlier_.isNull(2)) found->sessions = earlier_.integer(2);
  }
  earlier_.reset();
  return found;
}

void RequestStore::clear() {
  const std::lock_guard lock(mutex_);
  database_.execute("DELETE FROM request");
}

std::int64_t RequestStore::newest() {
  const std::lock_guard lock(mutex_);
  auto select = database_.prepare("SELECT ifnull(max(id), 0) FROM request");
  return select.step() ? select.integer(0) : 0;
}

std::int64_t RequestStore::count() {
  const std::lock_guard lock(mutex_);
  auto select = database_.prepare("SELECT count(*) FROM request");
  return select.step() ? select.integer(0) : 0;
}

void RequestStore::visitOwn(
    const std::function<void(Kind, const std::string&, const std::string&)>& visitor) {
  const std::lock_guard lock(mutex_);
  auto select =
      database_.prepare("SELECT kind, report, error FROM request WHERE run = ? ORDER BY id");
  select.bind(1, run_);
  while (select.step()) {
    visitor(kindOf(select.text(0)), std::string(select.text(1)), std::string(select.text(2)));
  }
}

}  // namespace collector
