#include "inspector/RequestReader.h"

#include <algorithm>
#include <cmath>
#include <utility>

#include "JsonText.h"
#include "Parameters.h"
#include "Text.h"
#include "inspector/Checklist.h"
#include "inspector/FieldTable.h"

namespace collector {
namespace {

// An export goes on when so many bytes are put together.
constexpr std::size_t kExportBatch = std::size_t{1} << 20;
constexpr int kMostFacets = 200;

// The columns of a row, in the order in which `writeRow` reads them.
constexpr const char* kRowColumns =
    "id, received_ms, kind, installation, event, launches, events, sessions, cached_seconds, "
    "status, size, errors, warnings, path, built_at";
constexpr int kRowEnd = 15;

// Only the newest requests of an installation are looked at.
constexpr int kMostEvidence = 5'000;
constexpr std::size_t kLongestValue = 400;

// A condition and the texts that are bound to it.
class Condition {
 public:
  explicit Condition(const RequestFilter& filter) {
    std::string kinds;
    for (const std::string& kind : filter.kinds) {
      kinds += kinds.empty() ? "kind IN (?" : ", ?";
      texts_.push_back(kind);
    }
    if (!kinds.empty()) add(kinds + ")");
    if (!filter.installation.empty()) add("installation = ?", filter.installation);
    if (!filter.event.empty()) add("event = ?", filter.event);
    if (filter.onlyProblems) add("errors + warnings > 0");
    if (!filter.search.empty()) {
      // Undecodable bodies are searched as they are.
      add("instr(lower(coalesce(report, CAST(body AS TEXT))), lower(?)) + "
          "instr(lower(path || '?' || query), lower(?)) > 0",
          filter.search);
      texts_.push_back(filter.search);
    }
  }

  void add(const std::string& condition) { sql_ += " AND (" + condition + ")"; }
  void add(const std::string& condition, const std::string& text) {
    add(condition);
    texts_.push_back(text);
  }

  std::string where() const { return " WHERE 1" + sql_; }
  void bind(Database::Statement& statement) const {
    int index = 0;
    for (const std::string& text : texts_) statement.bind(++index, std::string_view(text));
  }

 private:
  std::string sql_;
  std::vector<std::string> texts_;
};

void writeInteger(JsonWriter& writer, const char* name, const Database::Statement& row,
                  int column) {
  writer.Key(name);
  writer.Int64(row.integer(column));
}

void writeTextColumn(JsonWriter& writer, const char* name, const Database::Statement& row,
                     int column) {
  writer.Key(name);
  row.isNull(column) ? writer.Null() : (writeText(writer, validUtf8(row.text(column))), true);
}

// JSON that this program wrote itself.
void writeStored(JsonWriter& writer, const char* name, std::string_view json) {
  writer.Key(name);
  json.empty() ? writer.Null() : writer.RawValue(json.data(), json.size(), rapidjson::kObjectType);
}

void writeRow(JsonWriter& writer, const Database::Statement& row) {
  writeInteger(writer, "id", row, 0);
  writeInteger(writer, "time", row, 1);
  writeTextColumn(writer, "kind", row, 2);
  writeTextColumn(writer, "installation", row, 3);
  writeTextColumn(writer, "event", row, 4);
  writer.Key("counters");
  writer.StartObject();
  constexpr std::pair<const char*, int> kCounters[] = {{"launch", 5}, {"event", 6}, {"session", 7}};
  for (const auto& [name, column] : kCounters) {
    if (!row.isNull(column)) writeInteger(writer, name, row, column);
  }
  writer.EndObject();
  writer.Key("cachedSeconds");
  const bool isReplayed = !row.isNull(8) && std::isfinite(row.number(8));
  isReplayed ? writer.Double(row.number(8)) : writer.Null();
  writeInteger(writer, "status", row, 9);
  writeInteger(writer, "size", row, 10);
  writeInteger(writer, "errors", row, 11);
  writeInteger(writer, "warnings", row, 12);
  writeTextColumn(writer, "path", row, 13);
  writer.Key("builtAt");
  const bool isBuilt = !row.isNull(14) && std::isfinite(row.number(14));
  isBuilt ? writer.Double(row.number(14)) : writer.Null();
}

// What the list shows of an event's value, as it was sent.
void writeValue(JsonWriter& writer, std::string_view report) {
  writer.Key("value");
  writeText(writer,
            validUtf8(decodedText(JsonFields(report).text("eventvalue")).substr(0, kLongestValue)));
}

Evidence evidenceOf(const Database::Statement& row) {
  const std::string_view problems = row.text(9);
  const auto blames = [&](const char* field) {
    return problems.find("\"field\":\"" + std::string(field) + "\"") != problems.npos;
  };
  Evidence evidence;
  evidence.id = row.integer(0);
  evidence.kind = kindOf(row.text(1));
  evidence.event = validUtf8(row.text(2));
  if (!row.isNull(3)) evidence.launches = row.integer(3);
  if (!row.isNull(4)) evidence.events = row.integer(4);
  evidence.isReplayed = !row.isNull(5);
  evidence.status = static_cast<int>(row.integer(6));
  const Parameters query = parametersOf(row.text(7));
  const std::string path(row.text(8));
  const auto id = query.find("app_id");
  if (id != query.end()) {
    evidence.appId = id->second;
  } else if (evidence.kind == Kind::kConversion && path.rfind("/id") != path.npos) {
    evidence.appId = validUtf8(path.substr(path.rfind("/id") + 3));
  }
  evidence.hasWrongKey = blames("devkey") || evidence.kind == Kind::kUndecodable;
  evidence.hasLostValues = evidence.kind == Kind::kEvent && blames("eventvalue");
  evidence.isDenied = row.integer(10) != 0;
  return evidence;
}

void writeFields(JsonWriter& writer, Kind kind, std::string_view report) {
  writer.Key("fields");
  writer.StartArray();
  for (const JsonMember& member : membersOf(report)) {
    const Field* const known = findField(kind, member.name);
    writer.StartObject();
    writer.Key("name");
    writeText(writer, member.name);
    writeStored(writer, "value", member.json);
    writer.Key("meaning");
    known ? (writeText(writer, known->meaning), true) : writer.Null();
    writer.EndObject();
  }
  writer.EndArray();
}

constexpr const char* kContentColumns =
    ", method, host, query, headers, body, report, error, answer, problems";

void writeContent(JsonWriter& writer, const Database::Statement& row) {
  writeTextColumn(writer, "method", row, kRowEnd);
  writeTextColumn(writer, "host", row, kRowEnd + 1);
  writeTextColumn(writer, "query", row, kRowEnd + 2);
  writeStored(writer, "headers", row.text(kRowEnd + 3));
  writeTextColumn(writer, "body", row, kRowEnd + 4);
  writeStored(writer, "decoded", row.text(kRowEnd + 5));
  writeTextColumn(writer, "decodedError", row, kRowEnd + 6);
  writeTextColumn(writer, "answer", row, kRowEnd + 7);
  writeStored(writer, "problems", row.text(kRowEnd + 8));
}

}  // namespace

RequestReader::RequestReader(const std::filesystem::path& file) : file_(file) {}

// Another file of the same name is another database.
Database& RequestReader::database() {
  if (!database_ || !database_->isInPlace()) {
    database_.reset();
    database_.emplace(file_, Database::Access::kReadOnly);
  }
  return *database_;
}

std::string RequestReader::list(const RequestFilter& filter, const RequestPage& page) {
  Condition condition(filter);
  if (page.before) condition.add("id < " + std::to_string(*page.before));
  if (page.after) condition.add("id > " + std::to_string(*page.after));
  const std::lock_guard lock(mutex_);
  // Asked first: whoever continues from there misses none that arrives meanwhile.
  auto newest = database().prepare("SELECT ifnull(max(id), 0) FROM request");
  newest.step();
  rapidjson::StringBuffer buffer;
  JsonWriter writer(buffer);
  writer.StartObject();
  writeInteger(writer, "newest", newest, 0);
  // One more than asked for tells whether there are more.
  auto select = database().prepare("SELECT " + std::string(kRowColumns) + ", report FROM request" +
                                   condition.where() + " ORDER BY id DESC LIMIT " +
                                   std::to_string(page.limit + 1));
  condition.bind(select);
  writer.Key("requests");
  writer.StartArray();
  int rows = 0;
  while (select.step() && ++rows <= page.limit) {
    writer.StartObject();
    writeRow(writer, select);
    writeValue(writer, select.text(kRowEnd));
    writer.EndObject();
  }
  writer.EndArray();
  writer.Key("more");
  writer.Bool(rows > page.limit);
  writer.EndObject();
  return std::string(view(buffer));
}

std::optional<std::string> RequestReader::detail(std::int64_t id) {
  const std::lock_guard lock(mutex_);
  auto select = database().prepare("SELECT " + std::string(kRowColumns) + kContentColumns +
                                   " FROM request WHERE id = ?");
  select.bind(1, id);
  if (!select.step()) return std::nullopt;
  rapidjson::StringBuffer buffer;
  JsonWriter writer(buffer);
  writer.StartObject();
  writeRow(writer, select);
  writeContent(writer, select);
  writeFields(writer, kindOf(select.text(2)), select.text(kRowEnd + 5));
  auto previous = database().prepare(
      "SELECT max(p.id) FROM request p, request r WHERE r.id = ? AND p.id < r.id AND "
      "p.installation = r.installation AND p.kind = r.kind");
  previous.bind(1, id);
  writer.Key("previous");
  previous.step() && !previous.isNull(0) ? writer.Int64(previous.integer(0)) : writer.Null();
  writer.EndObject();
  return std::string(view(buffer));
}

std::string RequestReader::facets() {
  const std::lock_guard lock(mutex_);
  rapidjson::StringBuffer buffer;
  JsonWriter writer(buffer);
  writer.StartObject();
  writer.Key("installations");
  writer.StartArray();
  // The newest report knows what the installation runs on.
  auto installations = database().prepare(
      "SELECT i.installation, (SELECT report FROM request WHERE installation = i.installation AND "
      "+kind IN ('launch', 'event') ORDER BY id DESC LIMIT 1) FROM (SELECT installation, max(id) "
      "AS last FROM request WHERE installation IS NOT NULL GROUP BY installation) i "
      "ORDER BY i.last DESC LIMIT " +
      std::to_string(kMostFacets));
  while (installations.step()) {
    const JsonFields fields(installations.text(1));
    std::string application = fields.text("bundlename");
    if (application.empty()) application = fields.text("bundleIdentifier");
    std::string device = fields.text("name");
    if (device.empty()) device = fields.text("platform");
    writer.StartObject();
    writer.Key("id");
    writeText(writer, validUtf8(installations.text(0)));
    writer.Key("application");
    writeText(writer, application);
    writer.Key("device");
    writeText(writer, device);
    writer.EndObject();
  }
  writer.EndArray();
  writer.Key("events");
  writer.StartArray();
  auto events = database().prepare(
      "SELECT event FROM request WHERE event IS NOT NULL GROUP BY event ORDER BY max(id) DESC "
      "LIMIT " +
      std::to_string(kMostFacets));
  while (events.step()) writeText(writer, validUtf8(events.text(0)));
  writer.EndArray();
  writer.EndObject();
  return std::string(view(buffer));
}

std::string RequestReader::checklist(const std::string& installation) {
  const std::lock_guard lock(mutex_);
  std::string chosen = installation;
  if (chosen.empty()) {
    auto last = database().prepare(
        "SELECT installation FROM request WHERE installation IS NOT NULL ORDER BY id DESC LIMIT 1");
    if (last.step()) chosen = last.text(0);
  }
  // What cannot be decoded names no installation, so it may be this one's. Each half walks an
  // index.
  const std::string columns =
      "SELECT id, kind, event, launches, events, cached_seconds, status, query, path, problems, "
      "error IS NOT NULL FROM request WHERE ";
  const std::string newest = " ORDER BY id DESC LIMIT " + std::to_string(kMostEvidence) + ")";
  auto select = database().prepare(
      "SELECT * FROM (" + columns + "installation = ?" + newest + " UNION ALL SELECT * FROM (" +
      columns + "kind = 'undecodable' AND installation IS NULL" + newest + " ORDER BY id");
  select.bind(1, std::string_view(chosen));
  std::vector<Evidence> requests;
  while (select.step()) requests.push_back(evidenceOf(select));
  return checklistJson(validUtf8(chosen), checklistOf(requests));
}

std::optional<std::int64_t> RequestReader::exportLines(const RequestFilter& filter,
                                                       std::int64_t after, std::string& lines) {
  Condition condition(filter);
  condition.add("id > " + std::to_string(after));
  const std::lock_guard lock(mutex_);
  auto select = database().prepare("SELECT " + std::string(kRowColumns) + kContentColumns +
                                   " FROM request" + condition.where() + " ORDER BY id");
  condition.bind(select);
  std::optional<std::int64_t> last;
  while (lines.size() < kExportBatch && select.step()) {
    rapidjson::StringBuffer buffer;
    JsonWriter writer(buffer);
    writer.StartObject();
    writeRow(writer, select);
    writeContent(writer, select);
    writer.EndObject();
    lines += view(buffer);
    lines += '\n';
    last = select.integer(0);
  }
  return last;
}

}  // namespace collector
