#include "util/Text.h"

#include <utf8.h>

#include <algorithm>
#include <charconv>
#include <cmath>
#include <iterator>
#include <limits>

#include "util/NumberText.h"

namespace quarnel {
namespace {

bool isDigit(char c) { return c >= '0' && c <= '9'; }

int hexDigit(char c) {
  if (isDigit(c)) return c - '0';
  if (c >= 'a' && c <= 'f') return c - 'a' + 10;
  if (c >= 'A' && c <= 'F') return c - 'A' + 10;
  return -1;
}

bool mustBeEscaped(unsigned char c) {
  constexpr std::string_view kIllegal = " \"#%<>[\\]^{|}`";
  return c < 0x20 || c >= 0x7f || kIllegal.find(static_cast<char>(c)) != std::string_view::npos;
}

std::string_view takeDigits(std::string_view& text) {
  std::size_t length = 0;
  while (length < text.size() && isDigit(text[length])) ++length;
  std::string_view digits = text.substr(0, length);
  text.remove_prefix(length);
  while (digits.size() > 1 && digits.front() == '0') digits.remove_prefix(1);
  return digits;
}

// Removes leading blanks and a sign; true for a minus.
bool takeSign(std::string_view& text) {
  text.remove_prefix(std::min(text.find_first_not_of(" \t\n\v\f\r"), text.size()));
  const bool negative = !text.empty() && text.front() == '-';
  if (negative || (!text.empty() && text.front() == '+')) text.remove_prefix(1);
  return negative;
}

}  // namespace

bool isValidUtf8(std::string_view text) { return utf8::is_valid(text.begin(), text.end()); }

std::string validUtf8(std::string text) {
  if (isValidUtf8(text)) return text;
  std::string valid;
  valid.reserve(text.size() + 16);
  utf8::replace_invalid(text.begin(), text.end(), std::back_inserter(valid));
  return valid;
}

std::optional<std::string> validUtf8(std::optional<std::string> text) {
  if (text) text = validUtf8(*std::move(text));
  return text;
}

std::vector<std::uint16_t> utf16CodeUnits(std::string_view text) {
  const std::string valid = validUtf8(std::string(text));
  std::vector<std::uint16_t> units;
  units.reserve(valid.size());
  utf8::unchecked::utf8to16(valid.begin(), valid.end(), std::back_inserter(units));
  return units;
}

std::string escapeForUrl(std::string_view text) {
  constexpr std::string_view kHex = "0123456789ABCDEF";
  std::string escaped;
  escaped.reserve(text.size() + text.size() / 8);
  for (const char c : text) {
    const auto byte = static_cast<unsigned char>(c);
    if (mustBeEscaped(byte)) {
      escaped += {'%', kHex[byte >> 4], kHex[byte & 15]};
    } else {
      escaped += c;
    }
  }
  return escaped;
}

std::optional<std::string> unescapeUrl(std::string_view text) {
  std::string plain;
  plain.reserve(text.size());
  for (std::size_t i = 0; i < text.size(); ++i) {
    if (text[i] != '%') {
      plain += text[i];
      continue;
    }
    const int high = i + 2 < text.size() ? hexDigit(text[i + 1]) : -1;
    const int low = i + 2 < text.size() ? hexDigit(text[i + 2]) : -1;
    if (high < 0 || low < 0) return std::nullopt;
    plain += static_cast<char>(high * 16 + low);
    i += 2;
  }
  if (!isValidUtf8(plain)) return std::nullopt;
  return plain;
}

std::int64_t integerValue(std::string_view text) {
  const bool negative = takeSign(text);
  std::uint64_t magnitude = 0;
  const auto [end, error] = std::from_chars(text.data(), text.data() + text.size(), magnitude);
  constexpr auto kMost = static_cast<std::uint64_t>(std::numeric_limits<std::int64_t>::max());
  if (error == std::errc::result_out_of_range || magnitude > kMost) {
    return negative ? std::numeric_limits<std::int64_t>::min()
                    : std::numeric_limits<std::int64_t>::max();
  }
  const auto number = static_cast<std::int64_t>(magnitude);
  return negative ? -number : number;
}

double decimalValue(std::string_view text) {
  const bool negative = takeSign(text);
  // Without a digit or a point in front, the conversion would take "inf" and "nan".
  if (text.empty() || !(isDigit(text.front()) || text.front() == '.')) return 0;
  const double number = readDecimal(text).value_or(0);
  if (!std::isfinite(number)) return 0;
  return negative ? -number : number;
}

int compareNumerically(std::string_view left, std::string_view right) {
  while (!left.empty() && !right.empty()) {
    if (isDigit(left.front()) && isDigit(right.front())) {
      const std::string_view a = takeDigits(left);
      const std::string_view b = takeDigits(right);
      if (a.size() != b.size()) return a.size() < b.size() ? -1 : 1;
      if (const int order = a.compare(b); order != 0) return order;
      continue;
    }
    const auto a = static_cast<unsigned char>(left.front());
    const auto b = static_cast<unsigned char>(right.front());
    if (a != b) return a < b ? -1 : 1;
    left.remove_prefix(1);
    right.remove_prefix(1);
  }
  if (left.empty() == right.empty()) return 0;
  return left.empty() ? -1 : 1;
}

std::string_view textOrNull(const std::optional<std::string>& text) {
  return text ? std::string_view(*text) : std::string_view("(null)");
}

std::string hexadecimal(const std::uint8_t* bytes, std::size_t size) {
  constexpr std::string_view kHex = "0123456789abcdef";
  std::string digits;
  digits.reserve(size * 2);
  for (std::size_t i = 0; i < size; ++i) digits += {kHex[bytes[i] >> 4], kHex[bytes[i] & 15]};
  return digits;
}

std::string describeBytes(const Bytes& bytes) {
  std::string description = "<";
  for (std::size_t i = 0; i < bytes.size(); ++i) {
    if (i > 0 && i % 4 == 0) description += ' ';
    description += hexadecimal(&bytes[i], 1);
  }
  return description + ">";
}

}  // namespace quarnel
