#include "inspector/RequestReader.h"

#include <cmath>
#include <utility>

#include "JsonText.h"
#include "Text.h"
#include "inspector/FieldTable.h"

namespace collector {
namespace {

// An export goes on when so many bytes are put together.
constexpr std::size_t kExportBatch = std::size_t{1} << 20;
constexpr int kMostFacets = 200;

// The columns of a row, in the order in which `writeRow` reads them.
constexpr const char* kRowColumns =
    "id, received_ms, kind, installation, event, launches, events, sessions, cached_seconds, "
    "status, size, errors, warnings, path";
constexpr int kRowEnd = 14;

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
  auto select = database().prepare("SELECT " + std::string(kRowColumns) + " FROM request" +
                                   condition.where() + " ORDER BY id DESC LIMIT " +
                                   std::to_string(page.limit + 1));
  condition.bind(select);
  writer.Key("requests");
  writer.StartArray();
  int rows = 0;
  while (select.step() && ++rows <= page.limit) {
    writer.StartObject();
    writeRow(writer, select);
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
  writer.EndObject();
  return std::string(view(buffer));
}

std::string RequestReader::facets() {
  const std::lock_guard lock(mutex_);
  rapidjson::StringBuffer buffer;
  JsonWriter writer(buffer);
  writer.StartObject();
  for (const auto& [name, column] :
       {std::pair("installations", "installation"), std::pair("events", "event")}) {
    writer.Key(name);
    writer.StartArray();
    auto select = database().prepare("SELECT " + std::string(column) + " FROM request WHERE " +
                                     column + " IS NOT NULL GROUP BY " + column +
                                     " ORDER BY max(id) DESC LIMIT " + std::to_string(kMostFacets));
    while (select.step()) writeText(writer, validUtf8(select.text(0)));
    writer.EndArray();
  }
  writer.EndObject();
  return std::string(view(buffer));
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
