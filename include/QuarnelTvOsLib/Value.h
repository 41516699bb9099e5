// The property-list value that applications hand in and get back: event values, custom data,
// push payloads, conversion data.
#pragma once

#include <QuarnelTvOsLib/Export.h>

#include <chrono>
#include <cstddef>
#include <cstdint>
#include <initializer_list>
#include <memory>
#include <optional>
#include <string>
#include <string_view>
#include <type_traits>
#include <utility>
#include <vector>

namespace quarnel {

class Dictionary;

// A moment, in microseconds since 1970-01-01 00:00:00 UTC.
using Date = std::chrono::time_point<std::chrono::system_clock, std::chrono::microseconds>;

// An opaque byte buffer, such as a push token.
using Bytes = std::vector<std::uint8_t>;

// A closed variant: null, boolean, 64-bit integer, double, text (UTF-8), date, bytes, array,
// dictionary.
//
// Copying is cheap whatever the size: text, bytes and containers are shared between copies and
// duplicated only when one of the copies is changed. Distinct Value objects may be used from
// different threads even when they share content; one and the same object may not be changed while
// another thread uses it. A value of any nesting depth is copied, compared and destroyed without
// recursion.
//
// Text need not be valid UTF-8: bytes that are not are replaced by U+FFFD where the library writes
// them out.
class QUARNEL_EXPORT Value {
 public:
  // The kinds of content.
  enum class Type : std::uint8_t {
    kNull,
    kBoolean,
    kInteger,
    kDouble,
    kText,
    kDate,
    kBytes,
    kArray,
    kDictionary,
  };
  // The content of an array value.
  using Array = std::vector<Value>;

  // A null value, or one with the content given. Numbers keep their kind: an integer stays one.
  Value() noexcept = default;
  Value(std::nullptr_t) noexcept {}  // NOLINT(google-explicit-constructor)
  template <typename T, std::enable_if_t<std::is_arithmetic_v<T>, int> = 0>
  Value(T number) noexcept {  // NOLINT(google-explicit-constructor)
    if constexpr (std::is_same_v<T, bool>) {
      type_ = Type::kBoolean;
      payload_.boolean = number;
    } else if constexpr (std::is_floating_point_v<T>) {
      setDouble(static_cast<double>(number));
    } else if constexpr (std::is_unsigned_v<T> && sizeof(T) >= sizeof(std::int64_t)) {
      // What a signed 64-bit integer cannot hold is kept as a double.
      if (number > static_cast<T>(INT64_MAX)) {
        setDouble(static_cast<double>(number));
      } else {
        setInteger(static_cast<std::int64_t>(number));
      }
    } else {
      setInteger(static_cast<std::int64_t>(number));
    }
  }
  Value(std::string text);       // NOLINT(google-explicit-constructor)
  Value(std::string_view text);  // NOLINT(google-explicit-constructor)
  Value(const char* text);       // NOLINT(google-explicit-constructor)
  Value(Date date) noexcept;     // NOLINT(google-explicit-constructor)
  Value(Bytes bytes);            // NOLINT(google-explicit-constructor)
  Value(Array array);            // NOLINT(google-explicit-constructor)
  Value(Dictionary dictionary);  // NOLINT(google-explicit-constructor)

  // Share the content; a value that was moved from is null.
  Value(const Value& other) noexcept;
  Value(Value&& other) noexcept;
  Value& operator=(const Value& other) noexcept;
  Value& operator=(Value&& other) noexcept;
  ~Value();

  // What the value holds.
  Type type() const noexcept { return type_; }
  bool isNull() const noexcept { return type_ == Type::kNull; }

  // Each returns the content when the value has exactly that type, else null. The pointer is valid
  // until the value is changed or destroyed.
  const bool* boolean() const noexcept;
  const std::int64_t* integer() const noexcept;
  const double* number() const noexcept;
  const Date* date() const noexcept;
  const std::string* text() const noexcept;
  const Bytes* bytes() const noexcept;
  const Array* array() const noexcept;
  const Dictionary* dictionary() const noexcept;

  // The number of an integer or a double, as a double; absent for any other type. Integers beyond
  // 2^53 are rounded.
  std::optional<double> asDouble() const noexcept;

  // The container for changing it in place, or null for a value of another type. Content shared
  // with other values is duplicated first (one level deep), so those do not change.
  Array* mutableArray();
  Dictionary* mutableDictionary();

  // Same type and same content. An integer and a double are never equal; two NaN are not either.
  friend QUARNEL_EXPORT bool operator==(const Value& left, const Value& right);
  friend bool operator!=(const Value& left, const Value& right) { return !(left == right); }

 private:
  struct Node;

  void setInteger(std::int64_t number) noexcept {
    type_ = Type::kInteger;
    payload_.integer = number;
  }
  void setDouble(double number) noexcept {
    type_ = Type::kDouble;
    payload_.number = number;
  }
  bool hasNode() const noexcept;
  void adopt(Type type, Node* node) noexcept;
  void detach();
  static void release(Node* node) noexcept;

  Type type_ = Type::kNull;
  union Payload {
    std::int64_t integer = 0;
    bool boolean;
    double number;
    Date date;
    Node* node;
    Payload() noexcept : integer(0) {}
  } payload_;
};

// A map from text to Value that keeps the order in which its keys were first set.
class QUARNEL_EXPORT Dictionary {
 public:
  // A key with its value, and the way through all of them.
  using Entry = std::pair<std::string, Value>;
  using const_iterator = std::vector<Entry>::const_iterator;

  // An empty dictionary, one with the entries given (of equal keys the last value counts), copies.
  Dictionary();
  Dictionary(std::initializer_list<Entry> entries);
  Dictionary(const Dictionary& other);
  Dictionary(Dictionary&& other) noexcept;
  Dictionary& operator=(const Dictionary& other);
  Dictionary& operator=(Dictionary&& other) noexcept;
  ~Dictionary();

  // The value under the key, or null when there is none. Valid until the dictionary changes.
  const Value* find(std::string_view key) const;
  Value* find(std::string_view key);

  // The content under the key: absent, or null, when there is none or it is of another type. A
  // number may be an integer or a double. Pointers are valid until the dictionary changes.
  std::optional<bool> boolean(std::string_view key) const;
  std::optional<std::int64_t> integer(std::string_view key) const;
  std::optional<double> number(std::string_view key) const;
  std::optional<Date> date(std::string_view key) const;
  const std::string* text(std::string_view key) const;
  const Bytes* bytes(std::string_view key) const;
  const std::vector<Value>* array(std::string_view key) const;
  const Dictionary* dictionary(std::string_view key) const;

  // Stores the value under the key; an earlier value is replaced and keeps its place.
  void set(std::string key, Value value);

  // Removes the entry and returns whether there was one.
  bool remove(std::string_view key);

  // Removes all entries whose value is null.
  void removeNulls();

  // All entries, in the order of their keys.
  std::size_t size() const { return entries_.size(); }
  bool empty() const { return entries_.empty(); }
  const_iterator begin() const { return entries_.begin(); }
  const_iterator end() const { return entries_.end(); }

  // The entries for changing their values in place; keys must stay as they are.
  std::vector<Entry>& entries() { return entries_; }

 private:
  class Index;

  std::size_t position(std::string_view key) const;

  std::vector<Entry> entries_;
  std::unique_ptr<Index> index_;  // Made once a dictionary is too large for a scan.
};

}  // namespace quarnel
