#include "util/QuarnelUtils.h"

#include <algorithm>
#include <array>
#include <vector>

#include "util/Digests.h"
#include "util/Json.h"
#include "util/Text.h"
#include "util/Url.h"

namespace quarnel {
namespace {

// Containers whose children still have to be cleaned. The list replaces recursion, which the
// nesting of foreign data could drive.
using Pending = std::vector<Value*>;

void cleanDictionary(Dictionary& dictionary, Pending& pending) {
  dictionary.removeNulls();
  for (auto& [key, value] : dictionary.entries()) {
    if (value.array() != nullptr || value.dictionary() != nullptr) pending.push_back(&value);
  }
}

void cleanArray(Value::Array& array, Pending& pending) {
  std::erase_if(array, [](const Value& value) { return value.isNull(); });
  for (Value& value : array) {
    if (value.array() != nullptr || value.dictionary() != nullptr) pending.push_back(&value);
  }
}

void cleanAll(Pending pending) {
  while (!pending.empty()) {
    Value* value = pending.back();
    pending.pop_back();
    if (Value::Array* array = value->mutableArray()) {
      cleanArray(*array, pending);
    } else {
      cleanDictionary(*value->mutableDictionary(), pending);
    }
  }
}

template <std::size_t N>
std::string hexadecimalDigest(const std::array<std::uint8_t, N>& digest) {
  return hexadecimal(digest.data(), digest.size());
}

}  // namespace

void QuarnelUtils::recursivelyRemoveNulls(Dictionary& dictionary) {
  Pending pending;
  cleanDictionary(dictionary, pending);
  cleanAll(std::move(pending));
}

void QuarnelUtils::recursivelyRemoveNullsFromArray(Value::Array& array) {
  Pending pending;
  cleanArray(array, pending);
  cleanAll(std::move(pending));
}

std::optional<std::string> QuarnelUtils::getJsonStringFromDictionary(
    const Dictionary& dictionary) const {
  return getJsonDataFromDictionary(dictionary);
}

std::optional<std::string> QuarnelUtils::getJsonDataFromDictionary(
    const Dictionary& dictionary) const {
  std::string why;
  std::optional<std::string> json = writeJson(dictionary, &why);
  if (!json) environment_.log("JSON parser failed ex = " + why);
  return json;
}

Dictionary QuarnelUtils::URLQueryParameters(std::string_view url) {
  Dictionary parameters;
  const UrlParts parts = parseUrl(url);
  std::string_view query = parts.query.value_or(std::string_view());
  while (!query.empty()) {
    const std::string_view piece = query.substr(0, query.find('&'));
    query.remove_prefix(std::min(query.size(), piece.size() + 1));
    const std::size_t equals = piece.find('=');
    if (equals == std::string_view::npos) continue;
    const std::string_view rest = piece.substr(equals + 1);
    std::optional<std::string> key = unescapeUrl(piece.substr(0, equals));
    std::optional<std::string> value = unescapeUrl(rest.substr(0, rest.find('=')));
    if (key && value) parameters.set(*std::move(key), *std::move(value));
  }
  if (parts.path) parameters.set("path", *parts.path);
  if (parts.scheme) parameters.set("scheme", *parts.scheme);
  return parameters;
}

std::string QuarnelUtils::base64forData(std::string_view bytes) {
  constexpr std::string_view kAlphabet =
      "ABCDEFGHIJKLMNOPQRSTUVWXYZabcdefghijklmnopqrstuvwxyz0123456789+/";
  std::string text;
  text.reserve((bytes.size() + 2) / 3 * 4);
  const auto at = [bytes](std::size_t i) -> std::uint32_t {
    return i < bytes.size() ? static_cast<std::uint8_t>(bytes[i]) : 0;
  };
  for (std::size_t i = 0; i < bytes.size(); i += 3) {
    const std::uint32_t group = at(i) << 16 | at(i + 1) << 8 | at(i + 2);
    text += kAlphabet[group >> 18];
    text += kAlphabet[group >> 12 & 63];
    text += i + 1 < bytes.size() ? kAlphabet[group >> 6 & 63] : '=';
    text += i + 2 < bytes.size() ? kAlphabet[group & 63] : '=';
  }
  return text;
}

std::string QuarnelUtils::sha1(std::string_view text) {
  const std::string valid = validUtf8(std::string(text));
  const std::size_t length = utf16CodeUnits(valid).size();
  return hexadecimalDigest(sha1Digest(std::string_view(valid).substr(0, length)));
}

std::string QuarnelUtils::md5(std::string_view text) {
  const std::string valid = validUtf8(std::string(text));
  return hexadecimalDigest(md5Digest(std::string_view(valid).substr(0, valid.find('\0'))));
}

std::string QuarnelUtils::develomentPlatformName() const {
  return environment_.classExists("UnityAppController") ? "iOS_Unity" : "iOS_Native";
}

bool QuarnelUtils::isICloudServiceEnabled() const { return environment_.hasCloudIdentity(); }

Dictionary QuarnelUtils::getStoreReceipt() const {
  if (const auto content = environment_.storeReceipt()) {
    return {{"data", Dictionary{{"receipt-data", base64forData(*content)}}}};
  }
  return {{"status", "-1"}};
}

}  // namespace quarnel
