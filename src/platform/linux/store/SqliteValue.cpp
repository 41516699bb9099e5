#include "platform/linux/store/SqliteValue.h"

#include <limits>
#include <string_view>

#include "util/Json.h"

namespace quarnel {
namespace {

constexpr const char* kBoolean = "boolean";
constexpr const char* kInteger = "integer";
constexpr const char* kDouble = "double";
constexpr const char* kText = "text";
constexpr const char* kDate = "date";  // Microseconds since 1970.
constexpr const char* kBytes = "bytes";
constexpr const char* kJson = "json";  // Arrays and dictionaries.

void bindText(sqlite3_stmt* statement, int parameter, std::string_view text) {
  ::sqlite3_bind_text64(statement, parameter, text.data(), text.size(), SQLITE_TRANSIENT,
                        SQLITE_UTF8);
}

std::string_view columnBytes(sqlite3_stmt* statement, int column) {
  const auto* bytes = static_cast<const char*>(::sqlite3_column_blob(statement, column));
  const int size = ::sqlite3_column_bytes(statement, column);
  return bytes == nullptr ? std::string_view()
                          : std::string_view(bytes, static_cast<std::size_t>(size));
}

std::optional<Value> readInteger(sqlite3_stmt* statement, int column, std::string_view type) {
  const std::int64_t number = ::sqlite3_column_int64(statement, column);
  if (type == kInteger) return Value(number);
  if (type == kBoolean) return Value(number != 0);
  if (type == kDate) return Value(Date(std::chrono::microseconds(number)));
  return std::nullopt;
}

std::optional<Value> readText(sqlite3_stmt* statement, int column, std::string_view type) {
  const std::string_view text = columnBytes(statement, column);
  if (type == kText) return Value(text);
  if (type == kJson) return readJson(text).value;
  return std::nullopt;
}

}  // namespace

bool bindSqliteValue(sqlite3_stmt* statement, int typeParameter, const Value& value,
                     std::string* why) {
  const int parameter = typeParameter + 1;
  const char* type = nullptr;
  switch (value.type()) {
    case Value::Type::kNull:
      *why = "null is no value";
      return false;
    case Value::Type::kBoolean:
      type = kBoolean;
      ::sqlite3_bind_int(statement, parameter, *value.boolean() ? 1 : 0);
      break;
    case Value::Type::kInteger:
      type = kInteger;
      ::sqlite3_bind_int64(statement, parameter, *value.integer());
      break;
    case Value::Type::kDouble:
      type = kDouble;
      ::sqlite3_bind_double(statement, parameter, *value.number());
      break;
    case Value::Type::kText:
      type = kText;
      bindText(statement, parameter, *value.text());
      break;
    case Value::Type::kDate:
      type = kDate;
      ::sqlite3_bind_int64(statement, parameter, value.date()->time_since_epoch().count());
      break;
    case Value::Type::kBytes: {
      type = kBytes;
      const Bytes& bytes = *value.bytes();
      // A null pointer would be stored as NULL, so an empty buffer needs an address too.
      ::sqlite3_bind_blob64(statement, parameter,
                            bytes.empty() ? "" : static_cast<const void*>(bytes.data()),
                            bytes.size(), SQLITE_TRANSIENT);
      break;
    }
    case Value::Type::kArray:
    case Value::Type::kDictionary: {
      type = kJson;
      const auto json = writeJson(value, why);
      if (!json) return false;
      bindText(statement, parameter, *json);
      break;
    }
  }
  ::sqlite3_bind_text(statement, typeParameter, type, -1, SQLITE_STATIC);
  return true;
}

std::optional<Value> readSqliteValue(sqlite3_stmt* statement, int typeColumn) {
  const int column = typeColumn + 1;
  const std::string type(columnBytes(statement, typeColumn));
  switch (::sqlite3_column_type(statement, column)) {
    case SQLITE_INTEGER:
      return readInteger(statement, column, type);
    case SQLITE_FLOAT:
      if (type == kDouble) return Value(::sqlite3_column_double(statement, column));
      return std::nullopt;
    case SQLITE_TEXT:
      return readText(statement, column, type);
    case SQLITE_BLOB:
      if (type == kBytes) {
        const std::string_view bytes = columnBytes(statement, column);
        return Value(Bytes(bytes.begin(), bytes.end()));
      }
      return std::nullopt;
    default:
      // SQLite knows no NaN and stores it as NULL.
      if (type == kDouble) return Value(std::numeric_limits<double>::quiet_NaN());
      return std::nullopt;
  }
}

}  // namespace quarnel
