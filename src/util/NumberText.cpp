#include "util/NumberText.h"

#include <algorithm>
#include <array>
#include <cmath>
#include <cstdint>
#include <cstdio>
#include <cstdlib>
#include <limits>

namespace quarnel {
namespace {

// No number needs more digits, and no exponent beyond this makes a difference to one.
constexpr int kMaximumExponent = 100'000;

bool isDigit(char c) { return c >= '0' && c <= '9'; }

// A positive number is 0.<digits> times ten to the power of `exponent`.
struct Decimal {
  std::string digits;
  int exponent = 0;
};

// Text with neither point nor group separator: what these are depends on the locale.
std::string wholeWithExponent(const Decimal& decimal) {
  return decimal.digits + 'e' +
         std::to_string(decimal.exponent - static_cast<int>(decimal.digits.size()));
}

// The number rounded to so many digits, without zeros at the end.
Decimal rounded(double number, int digits) {
  std::array<char, 48> text;
  std::snprintf(text.data(), text.size(), "%.*e", digits - 1, number);
  const std::string_view written(text.data());
  const std::size_t e = written.find('e');
  Decimal decimal;
  for (const char c : written.substr(0, e)) {
    if (isDigit(c)) decimal.digits += c;
  }
  decimal.exponent = std::atoi(text.data() + e + 1) + 1;
  decimal.digits.erase(decimal.digits.find_last_not_of('0') + 1);
  return decimal;
}

template <typename Number>
bool readsBackAs(Number number, const Decimal& decimal) {
  const std::string text = wholeWithExponent(decimal);
  if constexpr (sizeof(Number) == sizeof(float)) {
    return std::strtof(text.c_str(), nullptr) == number;
  } else {
    return std::strtod(text.c_str(), nullptr) == number;
  }
}

// The next larger number of as many digits.
Decimal incremented(Decimal decimal) {
  std::size_t at = decimal.digits.size();
  while (at > 0 && decimal.digits[at - 1] == '9') --at;
  decimal.digits.erase(at);
  if (at > 0) {
    ++decimal.digits[at - 1];
  } else {
    decimal.digits = "1";
    ++decimal.exponent;
  }
  return decimal;
}

template <typename Number>
Decimal shortestDecimal(Number number) {
  using Limits = std::numeric_limits<Number>;
  // So many digits are always kept apart by a number that has its full precision: if fewer do,
  // zeros stand at the end.
  const bool isNormal = number >= Limits::min();
  int mantissaExponent = 0;
  const bool isPowerOfTwo = std::frexp(number, &mantissaExponent) == Number(0.5);
  for (int digits = isNormal ? Limits::digits10 : 1; digits < Limits::max_digits10; ++digits) {
    Decimal nearest = rounded(number, digits);
    if (readsBackAs(number, nearest)) return nearest;
    // Above a power of two, numbers lie half as dense as below it: the second nearest may do.
    if (!isPowerOfTwo) continue;
    Decimal above = nearest;
    above.digits.resize(static_cast<std::size_t>(digits), '0');
    above = incremented(std::move(above));
    if (readsBackAs(number, above)) return above;
  }
  return rounded(number, Limits::max_digits10);
}

std::string fixedNotation(const Decimal& decimal) {
  if (decimal.exponent <= 0) {
    return "0." + std::string(static_cast<std::size_t>(-decimal.exponent), '0') + decimal.digits;
  }
  std::string text = decimal.digits;
  return text.insert(static_cast<std::size_t>(decimal.exponent), 1, '.');
}

std::string scientificNotation(const Decimal& decimal) {
  std::string text = decimal.digits;
  if (text.size() > 1) text.insert(1, 1, '.');
  const int exponent = decimal.exponent - 1;
  const std::string magnitude = std::to_string(std::abs(exponent));
  return text + (exponent < 0 ? "e-" : "e+") + (magnitude.size() < 2 ? "0" : "") + magnitude;
}

template <typename Number>
std::string shortest(Number number) {
  const std::string sign = std::signbit(number) ? "-" : "";
  if (!std::isfinite(number)) return sign + (std::isnan(number) ? "nan" : "inf");
  if (number == 0) return sign + "0";
  const Decimal decimal = shortestDecimal(std::abs(number));
  const std::string scientific = scientificNotation(decimal);
  const bool isWhole = decimal.exponent >= static_cast<int>(decimal.digits.size());
  const std::size_t fixedLength =
      isWhole
          ? static_cast<std::size_t>(decimal.exponent)
          : decimal.digits.size() + 1 + static_cast<std::size_t>(std::max(1 - decimal.exponent, 0));
  if (fixedLength > scientific.size()) return sign + scientific;
  if (isWhole) return fixed(static_cast<double>(number), 0);  // All digits of a large number.
  return sign + fixedNotation(decimal);
}

// Digits, and at most one point among them.
struct Mantissa {
  std::string digits;
  std::size_t fraction = 0;  // Of these, behind the point.
  std::size_t length = 0;    // Of the text.
};

Mantissa takeMantissa(std::string_view text) {
  Mantissa mantissa;
  bool hasPoint = false;
  for (const char c : text) {
    if (c == '.' && !hasPoint) {
      hasPoint = true;
    } else if (isDigit(c)) {
      mantissa.digits += c;
      if (hasPoint) ++mantissa.fraction;
    } else {
      break;
    }
    ++mantissa.length;
  }
  return mantissa;
}

// The exponent in front of the text, 0 when none is complete; saturates.
int exponentIn(std::string_view text) {
  if (text.empty() || (text.front() != 'e' && text.front() != 'E')) return 0;
  text.remove_prefix(1);
  const bool negative = text.starts_with('-');
  if (negative || text.starts_with('+')) text.remove_prefix(1);
  int exponent = 0;
  for (const char c : text) {
    if (!isDigit(c)) break;
    exponent = std::min(exponent * 10 + (c - '0'), 10 * kMaximumExponent);
  }
  return negative ? -exponent : exponent;
}

}  // namespace

std::string shortestText(double number) { return shortest(number); }
std::string shortestText(float number) { return shortest(number); }

std::string fixed(double number, int decimals) {
  std::array<char, 352> text;  // The largest double has 309 digits before the point.
  const int length = std::snprintf(text.data(), text.size(), "%.*f", decimals, number);
  if (!std::isfinite(number)) return shortestText(number);
  std::string result(text.data(), static_cast<std::size_t>(length));
  if (decimals == 0) return result;
  // The locale's point may be several bytes.
  const std::size_t fraction = result.size() - static_cast<std::size_t>(decimals);
  const std::size_t whole = result.find_last_of("0123456789", fraction - 1) + 1;
  return result.replace(whole, fraction - whole, 1, '.');
}

std::optional<double> readDecimal(std::string_view text) {
  const bool negative = text.starts_with('-');
  if (negative) text.remove_prefix(1);
  const Mantissa mantissa = takeMantissa(text);
  if (mantissa.digits.empty()) return std::nullopt;
  const auto fraction = static_cast<std::int64_t>(mantissa.fraction);
  const std::int64_t exponent = exponentIn(text.substr(mantissa.length)) - fraction;
  const std::string plain = mantissa.digits + 'e' + std::to_string(exponent);
  const double number = std::strtod(plain.c_str(), nullptr);
  return negative ? -number : number;
}

}  // namespace quarnel
