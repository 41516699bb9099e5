#include <gtest/gtest.h>

#include <array>
#include <bit>
#include <charconv>
#include <clocale>
#include <cmath>
#include <cstdint>
#include <limits>
#include <optional>
#include <random>
#include <string>

#include "util/NumberText.h"

namespace quarnel {
namespace {

struct Row {
  double number;
  const char* shortest;
  const char* sixDecimals;
};

const Row kRows[] = {
    {0.0, "0", "0.000000"},
    {-0.0, "-0", "-0.000000"},
    {9.99, "9.99", "9.990000"},
    {-0.5, "-0.5", "-0.500000"},
    {100000, "1e+05", "100000.000000"},
    {123456, "123456", "123456.000000"},
    {0.001, "0.001", "0.001000"},
    {0.0001, "1e-04", "0.000100"},
    {1e21, "1e+21", "1000000000000000000000.000000"},
    // All digits of a whole number, not zeros behind the shortest ones.
    {1180591620717411303424.0, "1180591620717411303424", "1180591620717411303424.000000"},
    // The nearest of so many digits does not read back, the second nearest does.
    {9.5367431640625e-07, "9.5367431640625e-07", "0.000001"},
    {5e-324, "5e-324", "0.000000"},
    {2.2250738585072014e-308, "2.2250738585072014e-308", "0.000000"},
    {0.30000000000000004, "0.30000000000000004", "0.300000"},
    {std::numeric_limits<double>::quiet_NaN(), "nan", "nan"},
    {-std::numeric_limits<double>::infinity(), "-inf", "-inf"},
};

TEST(NumberText, WritesWhatReadsBack) {
  // A locale with a decimal comma must make no difference.
  const std::string before = std::setlocale(LC_NUMERIC, nullptr);
  std::setlocale(LC_NUMERIC, "de_DE.UTF-8");
  for (const Row& row : kRows) {
    EXPECT_EQ(shortestText(row.number), row.shortest);
    EXPECT_EQ(fixed(row.number, 6), row.sixDecimals);
    if (!std::isfinite(row.number)) continue;
    EXPECT_EQ(std::bit_cast<std::uint64_t>(readDecimal(row.shortest).value()),
              std::bit_cast<std::uint64_t>(row.number))
        << row.shortest;
  }
  std::setlocale(LC_NUMERIC, before.c_str());
}

TEST(NumberText, ReadsTheNumberInFront) {
  const struct {
    const char* text;
    std::optional<double> number;
  } rows[] = {
      {"12abc", 12},
      {"1.5.7", 1.5},
      {".5", 0.5},
      {"5.", 5},
      {"1e", 1},
      {"1e+", 1},
      {"1e2", 100},
      {"-1e-2", -0.01},
      {"", {}},
      {"-", {}},
      {".", {}},
      {"inf", {}},
      {"0x10", 0},
      {"1e400", std::numeric_limits<double>::infinity()},
      {"0e999999999999", 0},
      {"1e-999999999999", 0},
      {"1000000000000000000000000000000e-30", 1},
  };
  for (const auto& row : rows) EXPECT_EQ(readDecimal(row.text), row.number) << row.text;
}

// The standard library's own conversion, where there is one, writes the same.
TEST(NumberText, AgreesWithTheStandardLibrary) {
  std::mt19937_64 random(1);
  const auto expectSame = [](auto number) {
    std::array<char, 64> buffer;
    char* const end = std::to_chars(buffer.data(), buffer.data() + 64, number).ptr;
    EXPECT_EQ(shortestText(number), std::string(buffer.data(), end));
  };
  for (int i = 0; i < 20'000; ++i) {
    const std::uint64_t bits = random();
    const auto any = std::bit_cast<double>(bits);
    if (!std::isnan(any)) expectSame(any);
    expectSame(static_cast<double>(bits >> 40) / 100.0);
    expectSame(std::ldexp(1.0, i % 2098 - 1074));
    expectSame(std::ldexp(1.0F, i % 277 - 149));
  }
}

}  // namespace
}  // namespace quarnel
