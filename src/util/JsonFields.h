#pragma once

#include <QuarnelTvOsLib/Value.h>

#include <optional>
#include <string>
#include <string_view>
#include <utility>

namespace quarnel {

// The fields of a JSON object as text, without its braces: "key":value,"key":value. An absent value
// stands as the empty text, as in every report body.
class JsonFields {
 public:
  void set(std::string_view key, const std::optional<std::string>& text);
  void set(std::string_view key, std::string_view text);
  void set(std::string_view key, const char* text) { set(key, std::string_view(text)); }
  void set(std::string_view key, const std::string& text) { set(key, std::string_view(text)); }
  void set(std::string_view key, bool flag);
  void set(std::string_view key, std::int64_t number);
  void set(std::string_view key, double number);  // Finite.

  // Adds nothing when the value has no JSON form.
  void setValue(std::string_view key, const Value& value);

  // Adds fields made elsewhere; empty text adds nothing.
  void append(std::string_view fields);

  std::string take() { return std::move(text_); }
  void reserve(std::size_t size) { text_.reserve(size); }

 private:
  void begin(std::string_view key);

  std::string text_;
};

}  // namespace quarnel
