#pragma once

#include <QuarnelTvOsLib/Value.h>

#include <functional>
#include <optional>
#include <string>
#include <string_view>
#include <utility>

#include "util/DateFormatter.h"

namespace quarnel {

// Helpers that shape payloads and identifiers. Stateless; callable from any thread.
class QuarnelUtils {
 public:
  // What the helpers ask of the world outside.
  struct Environment {
    std::function<bool(std::string_view name)> classExists;
    std::function<bool()> hasCloudIdentity;
    std::function<std::optional<std::string>()> storeReceipt;  // The file's content.
    DateFormatter::UtcOffset utcOffset;
    std::function<void(std::string_view line)> log;
  };

  explicit QuarnelUtils(Environment environment) : environment_(std::move(environment)) {}

  // Remove null values at any depth, in place. Content shared with other values is left alone.
  static void recursivelyRemoveNulls(Dictionary& dictionary);
  static void recursivelyRemoveNullsFromArray(Value::Array& array);

  // Compact JSON, or nothing when a value has no JSON form; that is logged whatever the debug mode.
  std::optional<std::string> getJsonStringFromDictionary(const Dictionary& dictionary) const;
  std::optional<std::string> getJsonDataFromDictionary(const Dictionary& dictionary) const;

  // The query's parameters, decoded, and the URL's "path" and "scheme", which win over parameters
  // of the same name. Pieces without "=" and pieces that do not decode are left out.
  static Dictionary URLQueryParameters(std::string_view url);

  static std::string base64forData(std::string_view bytes);

  // Lower-case hexadecimal digests. sha1 covers only as many of the text's UTF-8 bytes as the text
  // has UTF-16 code units; md5 covers the bytes up to the first zero byte.
  static std::string sha1(std::string_view text);
  static std::string md5(std::string_view text);

  // "iOS_Unity" or "iOS_Native".
  std::string develomentPlatformName() const;

  bool isICloudServiceEnabled() const;

  // The store receipt, {"data": {"receipt-data": <Base64>}}, or {"status": "-1"} without one.
  Dictionary getStoreReceipt() const;

  DateFormatter getDateFormatter() const { return DateFormatter(environment_.utcOffset); }

 private:
  const Environment environment_;
};

}  // namespace quarnel
