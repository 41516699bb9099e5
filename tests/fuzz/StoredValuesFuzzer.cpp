// One row of the user defaults, and the typed access to what it holds. The first byte is the kind
// of the column, the first line the name of the type.
#include <sqlite3.h>

#include <cstring>

#include "Check.h"
#include "installation/StoredValues.h"
#include "platform/linux/store/SqliteValue.h"
#include "util/DateText.h"
#include "util/Json.h"
#include "util/Text.h"

namespace quarnel::fuzz {
namespace {

class OneValue final : public UserDefaults {
 public:
  explicit OneValue(const Value& value) : value_(value) {}
  std::optional<Value> get(std::string_view) const override { return value_; }
  void set(std::string_view, Value value) override { value_ = std::move(value); }
  void remove(std::string_view) override { value_.reset(); }
  void update(const Change& /*change*/) override {}
  bool updateWithin(std::chrono::milliseconds /*limit*/, const Change& /*change*/) override {
    return true;
  }
  bool synchronize() override { return true; }

 private:
  std::optional<Value> value_;
};

class Row {
 public:
  Row() {
    ::sqlite3_open(":memory:", &database_);
    ::sqlite3_prepare_v2(database_, "SELECT ?1, ?2", -1, &statement_, nullptr);
  }
  Row(const Row&) = delete;
  Row& operator=(const Row&) = delete;
  ~Row() {
    ::sqlite3_finalize(statement_);
    ::sqlite3_close(database_);
  }

  sqlite3_stmt* statement() const { return statement_; }

  std::optional<Value> read() {
    require(::sqlite3_step(statement_) == SQLITE_ROW, "there is a row");
    auto value = readSqliteValue(statement_, 0);
    ::sqlite3_reset(statement_);
    return value;
  }

 private:
  sqlite3* database_ = nullptr;
  sqlite3_stmt* statement_ = nullptr;
};

template <typename Number>
Number numberOf(std::string_view bytes) {
  Number number = 0;
  std::memcpy(&number, bytes.data(), std::min(bytes.size(), sizeof number));
  return number;
}

void bindValue(const Row& row, char kind, std::string_view type, std::string_view content) {
  const auto size = static_cast<int>(content.size());
  sqlite3_stmt* const to = row.statement();
  ::sqlite3_bind_text(to, 1, type.data(), static_cast<int>(type.size()), SQLITE_STATIC);
  switch (kind) {
    case 'i':
      ::sqlite3_bind_int64(to, 2, numberOf<std::int64_t>(content));
      break;
    case 'd':
      ::sqlite3_bind_double(to, 2, numberOf<double>(content));
      break;
    case 't':
      ::sqlite3_bind_text(to, 2, content.data(), size, SQLITE_STATIC);
      break;
    case 'b':
      ::sqlite3_bind_blob(to, 2, content.data(), size, SQLITE_STATIC);
      break;
    default:
      ::sqlite3_bind_null(to, 2);
  }
}

void checkTypedAccess(const Value& value) {
  OneValue defaults(value);
  const auto text = storedText(defaults, "k");
  require(!text || isValidUtf8(*text), "a stored text is UTF-8");
  storedInteger(defaults, "k");
  storedDouble(defaults, "k");
  storedBoolean(defaults, "k");
  const std::string description = describe(value);
  require(value.date() == nullptr || description == describeDate(*value.date()),
          "a date is described");
}

void check(std::string_view input) {
  const char kind = input.empty() ? 'n' : input.front();
  input.remove_prefix(std::min<std::size_t>(input.size(), 1));
  const std::string_view type = takeLine(input);
  Row row;
  bindValue(row, kind, type, input);
  const auto value = row.read();
  if (!value) return;
  checkTypedAccess(*value);
  std::string why;
  require(value->isNull() || bindSqliteValue(row.statement(), 1, *value, &why),
          "what was read can be stored");
  if (value->isNull()) return;
  const auto again = row.read();
  require(again && again->type() == value->type() && describe(*again) == describe(*value),
          "what was stored reads back");
}

}  // namespace
}  // namespace quarnel::fuzz

int LLVMFuzzerTestOneInput(const std::uint8_t* data, std::size_t size) {
  quarnel::fuzz::check(quarnel::fuzz::textOf(data, size));
  return 0;
}
