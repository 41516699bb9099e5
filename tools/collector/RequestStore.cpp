#include "RequestStore.h"

#include <algorithm>
#include <iostream>
#include <stdexcept>
#include <string_view>
#include <utility>

#include "JsonText.h"
#include "Text.h"

namespace collector {
namespace {

constexpr std::int64_t kLayout = 2;

// The small columns come first: what follows a long text in a row is slow to reach.
constexpr const char* kTables = R"(
  CREATE TABLE IF NOT EXISTS run (id INTEGER PRIMARY KEY, started INTEGER NOT NULL);
  CREATE TABLE IF NOT EXISTS request (
    id INTEGER PRIMARY KEY AUTOINCREMENT,
    run INTEGER NOT NULL REFERENCES run,
    received_ms INTEGER NOT NULL,
    kind TEXT NOT NULL,
    installation TEXT,
    event TEXT,
    launches INTEGER,
    events INTEGER,
    sessions INTEGER,
    cached_seconds REAL,
    built_at REAL,
    status INTEGER NOT NULL,
    size INTEGER NOT NULL,
    errors INTEGER NOT NULL,
    warnings INTEGER NOT NULL,
    method TEXT NOT NULL,
    host TEXT NOT NULL,
    path TEXT NOT NULL,
    query TEXT NOT NULL,
    headers TEXT NOT NULL,
    problems TEXT NOT NULL,
    error TEXT,
    answer TEXT NOT NULL,
    body BLOB NOT NULL,
    report TEXT);
  CREATE INDEX IF NOT EXISTS request_by_run ON request (run);
  CREATE INDEX IF NOT EXISTS request_by_kind ON request (kind);
  CREATE INDEX IF NOT EXISTS request_by_event ON request (event);
  CREATE INDEX IF NOT EXISTS request_by_installation ON request (installation);
  CREATE INDEX IF NOT EXISTS request_by_building ON request (installation, built_at)
    WHERE cached_seconds IS NULL;
  CREATE INDEX IF NOT EXISTS request_with_problems ON request (id) WHERE errors + warnings > 0;
)";

// The first layout had the request as it came and its content; the rest is taken from those, but
// what was wrong with a request is not found out afterwards.
constexpr const char* kSetFirstLayoutAside = R"(
  DROP INDEX IF EXISTS request_by_run;
  ALTER TABLE request RENAME TO first_layout;
)";
constexpr const char* kCopyFirstLayout = R"(
  INSERT INTO request
    (id, run, received_ms, kind, installation, event, launches, events, sessions, cached_seconds,
     status, size, errors, warnings, method, host, path, query, headers, problems, error, answer,
     body, report)
  SELECT id, run, received_ms, kind,
    nullif(coalesce(report ->> '$.uid', report ->> '$.device_id'), ''),
    nullif(iif(kind IN ('launch', 'event'), report ->> '$.event', ''), ''),
    iif(json_type(report, '$.counter') = 'integer', report ->> '$.counter', NULL),
    iif(json_type(report, '$.iaecounter') = 'integer', report ->> '$.iaecounter', NULL),
    iif(json_type(report, '$.sessioncounter') = 'integer', report ->> '$.sessioncounter', NULL),
    iif(instr(query, 'timeincache='),
        CAST(substr(query, instr(query, 'timeincache=') + 12) AS REAL), NULL),
    200, length(body), 0, 0, iif(kind = 'conversion', 'GET', 'POST'), host, path, query, headers,
    '[]', error, '', body, report
  FROM first_layout;
  DROP TABLE first_layout;
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

std::optional<std::string_view> unlessEmpty(const std::string& text) {
  return text.empty() ? std::nullopt : std::optional<std::string_view>(text);
}

// In one transaction, for another collector may start in the same folder.
void prepareTables(Database& database) {
  database.execute("BEGIN IMMEDIATE");
  auto query = database.prepare(
      "SELECT user_version, EXISTS (SELECT 1 FROM sqlite_schema WHERE name = 'request') "
      "FROM pragma_user_version");
  query.step();
  const std::int64_t layout = query.integer(0);
  const bool isFirstLayout = layout < kLayout && query.integer(1) != 0;
  query.reset();
  if (layout > kLayout) {
    throw std::runtime_error("a newer version made the database of reports; use another --state");
  }
  if (isFirstLayout) database.execute(kSetFirstLayoutAside);
  database.execute(kTables);
  if (isFirstLayout) database.execute(kCopyFirstLayout);
  database.execute(("PRAGMA user_version = " + std::to_string(kLayout)).c_str());
  database.execute("COMMIT");
}

}  // namespace

RequestStore::RequestStore(const std::filesystem::path& file) : file_(file) { open(); }

void RequestStore::open() {
  auto opened = std::make_unique<Connection>(Connection{Database(file_), {}, {}, 0});
  Database& database = opened->database;
  database.execute("PRAGMA journal_mode = WAL; PRAGMA synchronous = NORMAL");
  prepareTables(database);
  database.execute("INSERT INTO run (started) VALUES (unixepoch())");
  opened->run = database.lastInsertedRow();
  auto totals = database.prepare("SELECT ifnull(max(id), 0), count(*) FROM request");
  if (totals.step()) totals_ = {totals.integer(0), totals.integer(1), totals_.trouble};
  opened->insert = database.prepare(
      "INSERT INTO request (run, received_ms, kind, installation, event, launches, events, "
      "sessions, cached_seconds, built_at, status, size, errors, warnings, method, host, path, "
      "query, headers, problems, error, answer, body, report) "
      "VALUES (?, ?, ?, ?, ?, ?, ?, ?, ?, ?, ?, ?, ?, ?, ?, ?, ?, ?, ?, ?, ?, ?, ?, ?)");
  opened->earlier = database.prepare(
      "SELECT launches, events, sessions FROM request WHERE installation = ? AND built_at < ? AND "
      "cached_seconds IS NULL ORDER BY built_at DESC LIMIT 1");
  connection_ = std::move(opened);
}

bool RequestStore::reopenIfReplaced() {
  const std::lock_guard lock(mutex_);
  return reopen();
}

bool RequestStore::reopen() {
  if (connection_ && connection_->database.isInPlace()) return false;
  connection_.reset();
  try {
    open();
  } catch (const std::exception& failure) {
    totals_ = {0, 0, "Requests are not kept: " + std::string(failure.what())};
    return true;
  }
  totals_.trouble = "The database of requests was deleted or replaced while the collector ran.";
  std::cerr << "quarnel-collector: " << file_.native() << " was deleted or replaced" << std::endl;
  return true;
}

RequestStore::Connection& RequestStore::connection() {
  if (!connection_) throw std::runtime_error(totals_.trouble);
  return *connection_;
}

void RequestStore::add(const ReceivedReport& report, const ReportSummary& summary,
                       Problems& problems, const Answer& answer) {
  const std::lock_guard lock(mutex_);
  reopen();
  try {
    if (const auto earlier = earlierThan(summary)) checkCounters(*earlier, summary, problems);
    insert(report, summary, problems, answer);
    totals_.newest = connection().database.lastInsertedRow();
    ++totals_.count;
  } catch (const std::exception& failure) {
    if (connection_) totals_.trouble = "Requests are not kept: " + std::string(failure.what());
    throw;
  }
}

void RequestStore::insert(const ReceivedReport& report, const ReportSummary& summary,
                          const Problems& problems, const Answer& answer) {
  const ReceivedRequest& request = report.request;
  const std::string headers = headersJson(request);
  const std::string host = validUtf8(request.host);
  const std::string path = validUtf8(request.path);
  const std::string query = validUtf8(request.query);
  const std::string_view kind = nameOf(report.kind);
  const auto received =
      std::chrono::duration_cast<std::chrono::milliseconds>(request.time.time_since_epoch());
  Database::Statement& insert = connection().insert;
  const std::int64_t errors = std::count_if(
      problems.begin(), problems.end(),
      [](const Problem& problem) { return problem.severity == Problem::Severity::kError; });
  const std::string problemList = problemsJson(problems);
  insert.bind(1, connection().run).bind(2, std::int64_t{received.count()}).bind(3, kind);
  insert.bind(4, unlessEmpty(summary.installation)).bind(5, unlessEmpty(summary.event));
  insert.bind(6, summary.launches).bind(7, summary.events).bind(8, summary.sessions);
  insert.bind(9, summary.cachedSeconds).bind(10, summary.builtAt);
  insert.bind(11, std::int64_t{answer.drop ? 0 : answer.status});
  insert.bind(12, static_cast<std::int64_t>(request.body.size()));
  insert.bind(13, errors).bind(14, static_cast<std::int64_t>(problems.size()) - errors);
  insert.bind(15, std::string_view(request.method)).bind(16, std::string_view(host));
  insert.bind(17, std::string_view(path)).bind(18, std::string_view(query));
  insert.bind(19, std::string_view(headers)).bind(20, std::string_view(problemList));
  insert.bind(21, unlessEmpty(report.error));
  insert.bind(22, answer.drop ? std::string_view("") : std::string_view(answer.json));
  insert.bindBlob(23, request.body).bind(24, unlessEmpty(report.json));
  insert.run();
}

// By the time at which the reports were made, for they may overtake each other on their way. A
// replayed one may be from before the clock of the device was changed, so it does not count.
std::optional<ReportSummary> RequestStore::earlierThan(const ReportSummary& summary) {
  if (!summary.builtAt || summary.cachedSeconds || summary.installation.empty()) {
    return std::nullopt;
  }
  Database::Statement& earlier = connection().earlier;
  earlier.bind(1, std::string_view(summary.installation)).bind(2, *summary.builtAt);
  std::optional<ReportSummary> found;
  if (earlier.step()) {
    found.emplace();
    if (!earlier.isNull(0)) found->launches = earlier.integer(0);
    if (!earlier.isNull(1)) found->events = earlier.integer(1);
    if (!earlier.isNull(2)) found->sessions = earlier.integer(2);
  }
  earlier.reset();
  return found;
}

void RequestStore::clear() {
  const std::lock_guard lock(mutex_);
  reopen();
  connection().database.execute("DELETE FROM request");
  totals_ = {};
}

RequestStore::Totals RequestStore::totals() const {
  const std::lock_guard lock(mutex_);
  return totals_;
}

void RequestStore::visitOwn(const std::function<void(const Own&)>& visitor) {
  const std::lock_guard lock(mutex_);
  auto select = connection().database.prepare(
      "SELECT id, kind, report, error, query, status FROM request WHERE run = ? ORDER BY id");
  select.bind(1, connection().run);
  while (select.step()) {
    visitor({select.integer(0), kindOf(select.text(1)), std::string(select.text(2)),
             std::string(select.text(3)), std::string(select.text(4)), select.integer(5) == 0});
  }
}

Comparison compareOwn(RequestStore& store, const std::vector<Expectation>& expectations) {
  std::vector<Delivered> delivered;
  store.visitOwn([&](const RequestStore::Own& own) {
    if (!own.isDropped) delivered.push_back({own.id, own.kind, own.json, own.query});
  });
  return compare(expectations, delivered);
}

}  // namespace collector
