// Numbers, versions, dates and UTF-8 in texts of any origin. The first line is compared with the
// rest; the first bytes are a date.
#include <cmath>
#include <cstring>

#include "Check.h"
#include "util/DateText.h"
#include "util/NumberText.h"
#include "util/QuarnelUtils.h"
#include "util/Text.h"

namespace quarnel::fuzz {
namespace {

int signOf(int number) { return (number > 0) - (number < 0); }

void checkNumbers(std::string_view text) {
  const std::int64_t integer = integerValue(text);
  require(integerValue(std::to_string(integer)) == integer, "an integer reads back");
  const double decimal = decimalValue(text);
  require(std::isfinite(decimal), "a decimal is finite");
  require(!fixed(decimal, 6).empty(), "a decimal can be written");
}

void checkUtf8(std::string_view text) {
  const std::string valid = validUtf8(std::string(text));
  require(isValidUtf8(valid), "repaired text is UTF-8");
  require(isValidUtf8(text) == (valid == text), "valid text stays as it is");
  require(utf16CodeUnits(text) == utf16CodeUnits(valid), "what is repaired counts as U+FFFD");
  require(utf16CodeUnits(text).size() <= valid.size(), "no more code units than bytes");
  require(QuarnelUtils::sha1(text).size() == 40 && QuarnelUtils::md5(text).size() == 32,
          "every text has digests");
}

void checkDate(std::string_view text) {
  std::int64_t microseconds = 0;
  std::memcpy(&microseconds, text.data(), std::min(text.size(), sizeof microseconds));
  const Date date{std::chrono::microseconds(microseconds)};
  require(describeDate(date).size() == 25, "a date's description has four digits for the year");
  for (const auto offset : {-std::chrono::hours(12), std::chrono::hours(14)}) {
    require(formatServerDate(date, offset).size() == 20, "a server date has a fixed length");
  }
  require(secondsSince1970(date) >= secondsSinceReferenceDate(date), "1970 was before 2001");
}

void checkOrder(std::string_view left, std::string_view right) {
  require(compareNumerically(left, left) == 0, "a text equals itself");
  require(signOf(compareNumerically(left, right)) == -signOf(compareNumerically(right, left)),
          "the order does not depend on the side");
}

}  // namespace
}  // namespace quarnel::fuzz

int LLVMFuzzerTestOneInput(const std::uint8_t* data, std::size_t size) {
  std::string_view text = quarnel::fuzz::textOf(data, size);
  quarnel::fuzz::checkNumbers(text);
  quarnel::fuzz::checkUtf8(text);
  quarnel::fuzz::checkDate(text);
  const std::string_view first = quarnel::fuzz::takeLine(text);
  quarnel::fuzz::checkOrder(first, text);
  return 0;
}
