#include "util/Json.h"

#include <rapidjson/error/en.h>
#include <rapidjson/memorystream.h>
#include <rapidjson/reader.h>
#include <rapidjson/writer.h>

#include <charconv>
#include <cmath>
#include <vector>

#include "util/DateText.h"
#include "util/JsonTags.h"
#include "util/NumberText.h"
#include "util/Text.h"

namespace quarnel {
namespace {

constexpr std::size_t kMaximumDepth = 512;

// Lets the writer append to a std::string without a copy at the end.
class StringStream {
 public:
  using Ch = char;
  explicit StringStream(std::string& text) : text_(text) {}
  void Put(char c) { text_.push_back(c); }
  void Flush() {}

 private:
  std::string& text_;
};

// Walks a value with a stack of its own and feeds the writer.
class ValueWriter {
 public:
  // What becomes of values without a JSON form.
  enum class Unwritable { kRefused, kDescribed, kTagged };

  ValueWriter(std::string& text, Unwritable unwritable)
      : stream_(text), writer_(stream_), policy_(unwritable) {}

  // False at the first value without a JSON form, which `unwritable` then names.
  bool write(const Value& root) { return begin(root) && finish(); }
  bool write(const Dictionary& root) { return beginDictionary(root) && finish(); }

  const std::string& unwritable() const { return unwritable_; }

 private:
  struct Frame {
    const Value::Array* array;
    const Dictionary* dictionary;
    std::size_t next = 0;
    std::size_t size() const { return array != nullptr ? array->size() : dictionary->size(); }
  };

  bool beginDictionary(const Dictionary& dictionary) {
    open_.push_back({nullptr, &dictionary});
    return writer_.StartObject();
  }

  // Writes what is left of the open containers.
  bool finish() {
    while (!open_.empty()) {
      Frame& frame = open_.back();
      if (frame.next == frame.size()) {
        frame.array != nullptr ? writer_.EndArray() : writer_.EndObject();
        open_.pop_back();
        continue;
      }
      const std::size_t at = frame.next++;
      if (frame.array != nullptr) {
        if (!begin((*frame.array)[at])) return false;
      } else {
        const Dictionary::Entry& entry = frame.dictionary->begin()[static_cast<std::ptrdiff_t>(at)];
        writeText(entry.first, true);
        if (!begin(entry.second)) return false;
      }
    }
    return true;
  }

  void writeText(const std::string& text, bool isKey = false) {
    const bool valid = isValidUtf8(text);
    const std::string repaired = valid ? std::string() : validUtf8(text);
    const std::string& content = valid ? text : repaired;
    const auto size = static_cast<rapidjson::SizeType>(content.size());
    isKey ? writer_.Key(content.data(), size) : writer_.String(content.data(), size);
  }

  bool writeUnwritable(const Value& value, std::string kind, const std::string& description) {
    switch (policy_) {
      case Unwritable::kDescribed:
        writeText(description);
        return true;
      case Unwritable::kTagged: {
        const auto [key, content] = tagOf(value);
        writer_.StartObject();
        writeText(key, true);
        begin(content);
        return writer_.EndObject();
      }
      case Unwritable::kRefused:
        break;
    }
    unwritable_ = "Invalid type in JSON write (" + std::move(kind) + " " + description + ")";
    return false;
  }

  // Writes a leaf, or opens a container.
  bool begin(const Value& value) {
    switch (value.type()) {
      case Value::Type::kNull:
        return writer_.Null();
      case Value::Type::kBoolean:
        return writer_.Bool(*value.boolean());
      case Value::Type::kInteger:
        return writer_.Int64(*value.integer());
      case Value::Type::kDouble: {
        const std::string number = shortestText(*value.number());
        if (!std::isfinite(*value.number())) return writeUnwritable(value, "number", number);
        return writer_.RawValue(number.data(), number.size(), rapidjson::kNumberType);
      }
      case Value::Type::kText:
        writeText(*value.text());
        return true;
      case Value::Type::kDate:
        return writeUnwritable(value, "date", describeDate(*value.date()));
      case Value::Type::kBytes:
        return writeUnwritable(value, "bytes", describeBytes(*value.bytes()));
      case Value::Type::kArray:
        open_.push_back({value.array(), nullptr});
        return writer_.StartArray();
      case Value::Type::kDictionary:
        return beginDictionary(*value.dictionary());
    }
    return false;
  }

  StringStream stream_;
  rapidjson::Writer<StringStream> writer_;
  const Unwritable policy_;
  std::vector<Frame> open_;
  std::string unwritable_;
};

template <typename Root>
std::optional<std::string> writeRoot(const Root& root, std::string* why) {
  std::string text;
  ValueWriter writer(text, ValueWriter::Unwritable::kRefused);
  if (writer.write(root)) return text;
  if (why != nullptr) *why = writer.unwritable();
  return std::nullopt;
}

// The reader has checked the form. Its own conversion of a zero with a large exponent ("0e300")
// is undefined, so the conversion is done here. Absent for a number beyond the range of doubles;
// one too small for them is 0.
std::optional<Value> numberFrom(std::string_view text) {
  const char* const end = text.data() + text.size();
  std::int64_t integer = 0;
  const auto asInteger = std::from_chars(text.data(), end, integer);
  if (asInteger.ec == std::errc() && asInteger.ptr == end) return Value(integer);
  const double number = readDecimal(text).value_or(0);
  if (!std::isfinite(number)) return std::nullopt;
  return number;
}

// Builds a value from the reader's events. A container is closed into its parent, so that no open
// container is ever shared.
class ValueBuilder : public rapidjson::BaseReaderHandler<rapidjson::UTF8<>, ValueBuilder> {
 public:
  explicit ValueBuilder(bool readsTags) : readsTags_(readsTags) {}

  bool Null() { return add(Value()); }
  bool Bool(bool value) { return add(value); }
  bool RawNumber(const char* text, rapidjson::SizeType size, bool) {
    auto number = numberFrom({text, size});
    if (!number) refusal_ = "Number too big.";
    return number && add(*std::move(number));
  }
  bool String(const char* text, rapidjson::SizeType size, bool) {
    return add(Value(std::string_view(text, size)));
  }
  bool Key(const char* text, rapidjson::SizeType size, bool) {
    open_.back().key.assign(text, size);
    return true;
  }
  bool StartObject() { return open(Frame::Kind::kDictionary); }
  bool EndObject(rapidjson::SizeType) { return close(); }
  bool StartArray() { return open(Frame::Kind::kArray); }
  bool EndArray(rapidjson::SizeType) { return close(); }

  // Why the builder ended the reading; empty when it did not.
  const std::string& refusal() const { return refusal_; }
  Value takeResult() { return std::move(result_); }

 private:
  struct Frame {
    enum class Kind { kArray, kDictionary } kind;
    Value::Array array;
    Dictionary dictionary;
    std::string key;
  };

  bool open(Frame::Kind kind) {
    if (open_.size() >= kMaximumDepth) {
      refusal_ = "Nested deeper than 512 levels.";
      return false;
    }
    open_.push_back({kind, {}, {}, {}});
    return true;
  }

  bool close() {
    Frame frame = std::move(open_.back());
    open_.pop_back();
    if (frame.kind == Frame::Kind::kArray) return add(std::move(frame.array));
    if (!readsTags_) return add(std::move(frame.dictionary));
    std::string why;
    auto meaning = meaningOf(std::move(frame.dictionary), why);
    if (meaning) return add(*std::move(meaning));
    refusal_ = std::move(why);
    return false;
  }

  bool add(Value value) {
    if (open_.empty()) {
      result_ = std::move(value);
    } else if (Frame& frame = open_.back(); frame.kind == Frame::Kind::kArray) {
      frame.array.push_back(std::move(value));
    } else {
      frame.dictionary.set(std::move(frame.key), std::move(value));
    }
    return true;
  }

  const bool readsTags_;
  std::vector<Frame> open_;
  Value result_;
  std::string refusal_;
};

JsonReadResult read(std::string_view text, bool readsTags) {
  constexpr unsigned kFlags = rapidjson::kParseIterativeFlag |
                              rapidjson::kParseValidateEncodingFlag |
                              rapidjson::kParseNumbersAsStringsFlag;
  rapidjson::MemoryStream stream(text.data(), text.size());
  rapidjson::Reader reader;
  ValueBuilder builder(readsTags);
  rapidjson::ParseResult parsed = reader.Parse<kFlags>(stream, builder);
  // The reader takes a zero byte for the end of the text.
  if (parsed && stream.Tell() != text.size()) {
    parsed.Set(rapidjson::kParseErrorDocumentRootNotSingular, stream.Tell());
  }
  if (parsed) return {builder.takeResult(), {}};
  const std::string reason =
      builder.refusal().empty() ? rapidjson::GetParseError_En(parsed.Code()) : builder.refusal();
  return {std::nullopt,
          {"QuarnelJSONError", static_cast<int>(parsed.Code()),
           reason + " (around byte " + std::to_string(parsed.Offset()) + ")"}};
}

}  // namespace

std::optional<std::string> writeJson(const Value& value, std::string* why) {
  return writeRoot(value, why);
}

std::optional<std::string> writeJson(const Dictionary& dictionary, std::string* why) {
  return writeRoot(dictionary, why);
}

std::string describe(const Value& value) {
  if (const std::string* text = value.text()) return *text;
  std::string description;
  ValueWriter(description, ValueWriter::Unwritable::kDescribed).write(value);
  // A leaf without a JSON form stands by itself, without quotation marks.
  const bool isLeaf = value.array() == nullptr && value.dictionary() == nullptr;
  if (isLeaf && description.size() >= 2 && description.front() == '"') {
    return description.substr(1, description.size() - 2);
  }
  return description;
}

std::string writeTaggedJson(const Value& value) {
  std::string text;
  ValueWriter(text, ValueWriter::Unwritable::kTagged).write(value);
  return text;
}

JsonReadResult readJson(std::string_view text) { return read(text, false); }

JsonReadResult readTaggedJson(std::string_view text) { return read(text, true); }

double shortestDouble(float number) {
  if (!std::isfinite(number)) return number;
  return readDecimal(shortestText(number)).value_or(0);
}

}  // namespace quarnel
