#include "JsonText.h"

#include <rapidjson/error/en.h>
#include <rapidjson/memorystream.h>
#include <rapidjson/reader.h>
#include <rapidjson/stringbuffer.h>
#include <rapidjson/writer.h>

#include <charconv>
#include <cmath>
#include <limits>
#include <optional>
#include <utility>
#include <vector>

#include "Arguments.h"
#include "BadInput.h"

namespace host {
namespace {

using quarnel::Dictionary;
using quarnel::Value;

constexpr std::size_t kMaximumDepth = 512;

std::string bytesFromHex(const std::string& hex) {
  if (hex.size() % 2 != 0) throw BadInput("bytes need an even number of hexadecimal digits");
  std::string bytes;
  for (std::size_t at = 0; at < hex.size(); at += 2) {
    unsigned char byte = 0;
    const char* end = hex.data() + at + 2;
    if (std::from_chars(hex.data() + at, end, byte, 16).ptr != end) {
      throw BadInput("bytes are written in hexadecimal digits");
    }
    bytes.push_back(static_cast<char>(byte));
  }
  return bytes;
}

std::string hexFromBytes(const quarnel::Bytes& bytes) {
  constexpr char kDigits[] = "0123456789abcdef";
  std::string hex;
  for (const std::uint8_t byte : bytes) {
    hex += kDigits[byte >> 4];
    hex += kDigits[byte & 15];
  }
  return hex;
}

const std::string& textOf(const Value& value, const std::string& key) {
  if (const auto* text = value.text()) return *text;
  throw BadInput(key + " takes a text");
}

Value nonFinite(const std::string& name) {
  if (name == "nan") return std::numeric_limits<double>::quiet_NaN();
  if (name == "inf") return std::numeric_limits<double>::infinity();
  if (name == "-inf") return -std::numeric_limits<double>::infinity();
  throw BadInput("$double takes \"nan\", \"inf\" or \"-inf\"");
}

// The value that an object stands for: itself, or what its one "$..." entry says.
Value meaningOf(Dictionary object) {
  if (object.size() == 1) {
    const auto& [key, value] = *object.begin();
    if (key == "$date") return requiredDate(value, key);
    if (key == "$double") return nonFinite(textOf(value, key));
    if (key == "$text") return bytesFromHex(textOf(value, key));
    if (key == "$data") {
      const std::string bytes = bytesFromHex(textOf(value, key));
      return quarnel::Bytes(bytes.begin(), bytes.end());
    }
  }
  return object;
}

// The parser has checked the form. Its own conversion is undefined for "0e300".
Value numberFrom(std::string_view text) {
  const char* const end = text.data() + text.size();
  std::int64_t integer = 0;
  const auto asInteger = std::from_chars(text.data(), end, integer);
  if (asInteger.ec == std::errc() && asInteger.ptr == end) return integer;
  double number = 0;
  if (std::from_chars(text.data(), end, number).ec == std::errc()) return number;
  throw BadInput("a number is beyond the range of doubles");
}

// Receives the parser's events. The containers that are still open stand on a stack of its own, so
// deep input costs no call stack.
class ValueBuilder : public rapidjson::BaseReaderHandler<rapidjson::UTF8<>, ValueBuilder> {
 public:
  bool Null() { return add(nullptr); }
  bool Bool(bool value) { return add(value); }
  bool RawNumber(const char* text, rapidjson::SizeType length, bool) {
    return add(numberFrom({text, length}));
  }
  bool String(const char* text, rapidjson::SizeType length, bool) {
    return add(std::string(text, length));
  }
  bool Key(const char* text, rapidjson::SizeType length, bool) {
    open_.back().key.assign(text, length);
    return true;
  }
  bool StartObject() { return start(Dictionary()); }
  bool StartArray() { return start(Value::Array()); }
  bool EndObject(rapidjson::SizeType) {
    Value object = std::move(open_.back().container);
    open_.pop_back();
    return add(meaningOf(std::move(*object.mutableDictionary())));
  }
  bool EndArray(rapidjson::SizeType) {
    Value array = std::move(open_.back().container);
    open_.pop_back();
    return add(std::move(array));
  }

  Value takeResult() { return std::move(result_); }

 private:
  struct OpenContainer {
    Value container;
    std::string key;  // Of an object: where the next value goes.
  };

  bool start(Value container) {
    if (open_.size() == kMaximumDepth) throw BadInput("JSON is nested deeper than 512 levels");
    open_.push_back({std::move(container), {}});
    return true;
  }

  bool add(Value value) {
    if (open_.empty()) {
      result_ = std::move(value);
    } else if (auto* array = open_.back().container.mutableArray()) {
      array->push_back(std::move(value));
    } else {
      open_.back().container.mutableDictionary()->set(std::move(open_.back().key),
                                                      std::move(value));
    }
    return true;
  }

  std::vector<OpenContainer> open_;
  Value result_;
};

using JsonWriter = rapidjson::Writer<rapidjson::StringBuffer>;

void writeText(JsonWriter& writer, const std::string& text) {
  rapidjson::MemoryStream input(text.data(), text.size());
  rapidjson::StringBuffer valid;
  while (input.Tell() < text.size()) {
    unsigned codePoint = 0;
    if (!rapidjson::UTF8<>::Decode(input, &codePoint)) codePoint = 0xFFFD;
    rapidjson::UTF8<>::Encode(valid, codePoint);
  }
  writer.String(valid.GetString(), static_cast<rapidjson::SizeType>(valid.GetSize()));
}

void writeSpecial(JsonWriter& writer, const char* key, const std::string& text) {
  writer.StartObject();
  writer.Key(key);
  writeText(writer, text);
  writer.EndObject();
}

void writeDouble(JsonWriter& writer, double number) {
  if (std::isfinite(number)) {
    writer.Double(number);
  } else {
    writeSpecial(writer, "$double", std::isnan(number) ? "nan" : number > 0 ? "inf" : "-inf");
  }
}

void writeDate(JsonWriter& writer, quarnel::Date date) {
  writer.StartObject();
  writer.Key("$date");
  writer.Double(std::chrono::duration<double>(date.time_since_epoch()).count());
  writer.EndObject();
}

void write(JsonWriter& writer, const Value& value);

void writeArray(JsonWriter& writer, const Value::Array& array) {
  writer.StartArray();
  for (const Value& element : array) write(writer, element);
  writer.EndArray();
}

void writeObject(JsonWriter& writer, const Dictionary& dictionary) {
  writer.StartObject();
  for (const auto& [key, value] : dictionary) {
    writeText(writer, key);
    write(writer, value);
  }
  writer.EndObject();
}

void write(JsonWriter& writer, const Value& value) {
  switch (value.type()) {
    case Value::Type::kNull:
      writer.Null();
      break;
    case Value::Type::kBoolean:
      writer.Bool(*value.boolean());
      break;
    case Value::Type::kInteger:
      writer.Int64(*value.integer());
      break;
    case Value::Type::kDouble:
      writeDouble(writer, *value.number());
      break;
    case Value::Type::kText:
      writeText(writer, *value.text());
      break;
    case Value::Type::kDate:
      writeDate(writer, *value.date());
      break;
    case Value::Type::kBytes:
      writeSpecial(writer, "$data", hexFromBytes(*value.bytes()));
      break;
    case Value::Type::kArray:
      writeArray(writer, *value.array());
      break;
    case Value::Type::kDictionary:
      writeObject(writer, *value.dictionary());
      break;
  }
}

}  // namespace

Value readJson(std::string_view text) {
  constexpr unsigned kFlags = rapidjson::kParseIterativeFlag |
                              rapidjson::kParseValidateEncodingFlag |
                              rapidjson::kParseNumbersAsStringsFlag;
  rapidjson::MemoryStream stream(text.data(), text.size());
  rapidjson::Reader reader;
  ValueBuilder builder;
  const rapidjson::ParseResult result = reader.Parse<kFlags>(stream, builder);
  if (result.IsError()) throw BadInput(rapidjson::GetParseError_En(result.Code()));
  // The parser takes a NUL byte for the end of the text.
  if (stream.Tell() != text.size()) throw BadInput("a NUL byte stands in the text");
  return builder.takeResult();
}

std::string writeJson(const Value& value) {
  rapidjson::StringBuffer buffer;
  JsonWriter writer(buffer);
  write(writer, value);
  return {buffer.GetString(), buffer.GetSize()};
}

}  // namespace host
