#include <QuarnelTvOsLib/Value.h>
#include <gtest/gtest.h>

#include <cmath>
#include <limits>

#include "util/Json.h"

namespace quarnel {
namespace {

Value nested(int depth) {
  Value value = 1;
  for (int i = 0; i < depth; ++i) {
    value = i % 2 == 0 ? Value(Value::Array{value}) : Value(Dictionary{{"k", value}});
  }
  return value;
}

TEST(ValueTest, DepthNeverRecurses) {
  constexpr int kDepth = 200'000;
  const Value deep = nested(kDepth);
  Value copy = deep;
  EXPECT_TRUE(copy == deep);
  EXPECT_EQ(writeJson(deep)->size(), 1u + kDepth / 2 * (2 + 6));
  EXPECT_EQ(describe(deep).size(), writeJson(deep)->size());
}

TEST(ValueTest, CopiesShareUntilOneIsChanged) {
  const Value original = Dictionary{{"inner", Value::Array{1, 2}}};
  Value copy = original;
  copy.mutableDictionary()->find("inner")->mutableArray()->push_back(3);
  EXPECT_EQ(*writeJson(original), R"({"inner":[1,2]})");
  EXPECT_EQ(*writeJson(copy), R"({"inner":[1,2,3]})");
}

TEST(ValueTest, LargeDictionariesKeepOrderThroughEveryChange) {
  Dictionary dictionary;
  for (int i = 0; i < 500; ++i) dictionary.set(std::to_string(i), i % 3 == 0 ? Value() : Value(i));
  dictionary.removeNulls();
  EXPECT_TRUE(dictionary.remove("250"));
  EXPECT_FALSE(dictionary.remove("250"));
  dictionary.set("1", "again");
  dictionary.set("250", "last");
  const Dictionary copy = dictionary;
  EXPECT_EQ(copy.begin()->second, Value("again"));
  EXPECT_EQ((copy.end() - 1)->first, "250");
  EXPECT_EQ(copy.find("300"), nullptr);
  EXPECT_EQ(*copy.find("400"), Value(400));
}

TEST(JsonTest, WritesTheShortestTextThatReadsBack) {
  const struct {
    Value value;
    const char* text;
  } cases[] = {
      {0.1, "0.1"},
      {-1.0, "-1"},
      {9.99, "9.99"},
      {1.0 / 3, "0.3333333333333333"},
      {shortestDouble(0.1f), "0.1"},
      {shortestDouble(1234.5678f), "1234.5677"},
      {std::numeric_limits<std::uint64_t>::max(), "18446744073709551616"},
      {std::numeric_limits<std::int64_t>::min(), "-9223372036854775808"},
      {true, "true"},
      {"a/b\"\\\n\x01é", "\"a/b\\\"\\\\\\n\\u0001é\""},
      {std::string("a\0b", 3), "\"a\\u0000b\""},
      {"bad \xff\xc3 bytes", "\"bad \xEF\xBF\xBD\xEF\xBF\xBD bytes\""},
  };
  for (const auto& item : cases) EXPECT_EQ(writeJson(item.value).value_or("none"), item.text);
}

TEST(JsonTest, ValuesWithoutJsonFormFailToWriteButAreDescribed) {
  const Date date{std::chrono::seconds(1457186820)};
  const struct {
    Value value;
    const char* description;
  } cases[] = {
      {date, "2016-03-05 14:07:00 +0000"},
      {Bytes{1, 0xab, 0xcd, 0xef, 2}, "<01abcdef 02>"},
      {std::nan(""), "nan"},
      {-std::numeric_limits<double>::infinity(), "-inf"},
  };
  for (const auto& item : cases) {
    const Value inside = Dictionary{{"k", Value::Array{item.value}}};
    std::string why;
    EXPECT_FALSE(writeJson(inside, &why));
    EXPECT_NE(why.find(item.description), std::string::npos) << why;
    EXPECT_EQ(describe(item.value), item.description);
    EXPECT_EQ(describe(inside), std::string("{\"k\":[\"") + item.description + "\"]}");
  }
}

TEST(JsonTest, ReadsWhatItWrites) {
  const std::string text =
      R"({"b":true,"n":null,"i":-7,"d":1.5,"t":"é😀","a":[1,[],{}],"o":{"k":{}}})";
  const JsonReadResult result = readJson(text);
  ASSERT_TRUE(result.value);
  EXPECT_EQ(*writeJson(*result.value), text);
}

TEST(JsonTest, ReadsNumbersOfAnySize) {
  const std::pair<const char*, Value> cases[] = {
      {"-0", 0},
      {"0e308", 0.0},
      {"1e-999", 0.0},
      {"-1000e-330", 0.0},
      {"1e-99999999999", 0.0},
      {"5e-324", std::numeric_limits<double>::denorm_min()},
      {"9223372036854775807", std::numeric_limits<std::int64_t>::max()},
      {"9223372036854775808", 9223372036854775808.0},
      {"1.7976931348623157e308", std::numeric_limits<double>::max()},
  };
  for (const auto& [text, number] : cases) EXPECT_EQ(readJson(text).value, number) << text;
}

TEST(JsonTest, RefusesWhatIsMalformedOrTooDeep) {
  const std::string deep512 = std::string(512, '[') + std::string(512, ']');
  EXPECT_TRUE(readJson(deep512).value);
  const std::string cases[] = {"",
                               "{",
                               "[1,]",
                               "{\"a\" 1}",
                               "nul",
                               "[1] x",
                               "\"\\ud800\"",
                               "\"\xff\"",
                               "'a'",
                               "[1e999]",
                               "[2e308]",
                               "[-0.00001e+400]",
                               "[1E99999999999]",
                               "[" + std::string(400, '9') + "]",
                               std::string("[1]\0[2]", 7),
                               "[" + deep512 + "]",
                               std::string(5'000'000, '['),
                               std::string(1'000'000, '{')};
  for (const std::string& text : cases) {
    const JsonReadResult result = readJson(text);
    EXPECT_FALSE(result.value) << text.substr(0, 40);
    EXPECT_FALSE(result.error.description.empty());
  }
}

}  // namespace
}  // namespace quarnel
