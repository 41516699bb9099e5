#include <QuarnelTvOsLib/testing/SimulatedPlatform.h>
#include <gtest/gtest.h>

#include <cmath>

#include "compose/BodyEncoder.h"
#include "installation/StoredValues.h"
#include "platform/Platform.h"
#include "util/DateText.h"
#include "util/DebugLog.h"
#include "util/Json.h"
#include "util/QuarnelUtils.h"
#include "util/Text.h"

namespace quarnel {
namespace {

TEST(TextTest, LegacyUrlEscaping) {
  std::string legal;
  for (int c = 0; c < 256; ++c) {
    const std::string one(1, static_cast<char>(c));
    if (escapeForUrl(one) == one) legal += one;
  }
  EXPECT_EQ(legal,
            "!$&'()*+,-./0123456789:;=?@ABCDEFGHIJKLMNOPQRSTUVWXYZ_abcdefghijklmnopqrstuvwxyz~");
  EXPECT_EQ(escapeForUrl("{\"a\":1, \"b\":\"50%é\r\n\"}"),
            "%7B%22a%22:1,%20%22b%22:%2250%25%C3%A9%0D%0A%22%7D");
}

TEST(TextTest, NumbersInText) {
  EXPECT_EQ(integerValue("  \t-12abc"), -12);
  EXPECT_EQ(integerValue("+7.9"), 7);
  for (const char* text : {"", "   ", "abc", "-", "- 1", "+-1"}) EXPECT_EQ(integerValue(text), 0);
  EXPECT_EQ(integerValue("99999999999999999999"), INT64_MAX);
  EXPECT_EQ(integerValue("-99999999999999999999"), INT64_MIN);

  EXPECT_EQ(decimalValue("500000000.123456"), 500000000.123456);
  EXPECT_EQ(decimalValue(" -1.5x"), -1.5);
  for (const char* text : {"", "inf", "nan", "-inf", "x1", "1e999"}) {
    EXPECT_EQ(decimalValue(text), 0) << text;
  }
}

TEST(TextTest, VersionsCompareByNumbers) {
  const char* ascending[] = {"", "7", "7.0", "8", "8.0.1", "9.2", "9.10", "10", "0010.1", "beta"};
  for (std::size_t i = 0; i < std::size(ascending); ++i) {
    for (std::size_t k = 0; k < std::size(ascending); ++k) {
      const int order = compareNumerically(ascending[i], ascending[k]);
      EXPECT_EQ((order > 0) - (order < 0), (i > k) - (i < k)) << ascending[i] << ascending[k];
    }
  }
}

TEST(DateTest, FormatsInEveryZone) {
  const Date date{std::chrono::seconds(1457186820)};
  EXPECT_EQ(formatServerDate(date, std::chrono::hours(2)), "2016-03-05_1607+0200");
  EXPECT_EQ(formatServerDate(date, -std::chrono::minutes(210)), "2016-03-05_1037-0330");
  EXPECT_EQ(formatServerDate(date, std::chrono::hours(14)), "2016-03-06_0407+1400");
  EXPECT_EQ(formatServerDate(Date(std::chrono::microseconds(-1)), {}), "1969-12-31_2359+0000");
  EXPECT_EQ(formatServerDate(Date::max() - std::chrono::hours(24), {}).substr(0, 10), "9999-12-31");
}

TEST(UtilsTest, RemovesNullsAtAnyDepth) {
  Dictionary dictionary{
      {"a", nullptr},
      {"b", Value::Array{1, nullptr, Dictionary{{"c", nullptr}, {"d", ""}}, Value::Array{nullptr}}},
      {"e", Dictionary{}}};
  const Value shared = *dictionary.find("b");
  QuarnelUtils::recursivelyRemoveNulls(dictionary);
  EXPECT_EQ(*writeJson(dictionary), R"({"b":[1,{"d":""},[]],"e":{}})");
  EXPECT_EQ(shared.array()->size(), 4u) << "content shared with others must not change";

  Value deep = nullptr;
  for (int i = 0; i < 100'000; ++i) deep = Value(Value::Array{deep, nullptr});
  Value::Array array{deep};
  QuarnelUtils::recursivelyRemoveNullsFromArray(array);
  EXPECT_EQ(writeJson(array[0])->find("null"), std::string::npos);
}

TEST(UtilsTest, QueryParameters) {
  const struct {
    const char* url;
    const char* parameters;
  } cases[] = {
      {"scheme://host/p/q?x=1&x=2&y&z=a%20b",
       R"({"x":"2","z":"a b","path":"/p/q","scheme":"scheme"})"},
      {"app://x/?path=mine&scheme=s", R"({"path":"/","scheme":"app"})"},
      {"app://x?a=b=c&=e&f=&+=1+2#g=h",
       R"({"a":"b","":"e","f":"","+":"1+2","path":"","scheme":"app"})"},
      {"app:x?a=1", R"({"a":"1","scheme":"app"})"},
      {"app://h/p%20q/?bad=%zz&b%ad=1&cut=%4&ok=%C3%A9&no=%ff",
       R"({"ok":"é","path":"/p q","scheme":"app"})"},
      {"http://h/a?", R"({"path":"/a","scheme":"http"})"},
      {"", R"({"path":""})"},
  };
  for (const auto& item : cases) {
    EXPECT_EQ(*writeJson(QuarnelUtils::URLQueryParameters(item.url)), item.parameters) << item.url;
  }
}

TEST(UtilsTest, Base64AndDigests) {
  const std::pair<std::string, const char*> base64[] = {
      {"", ""}, {"M", "TQ=="}, {"Ma", "TWE="}, {"Man", "TWFu"}, {"\xfb\xff", "+/8="}};
  for (const auto& [bytes, text] : base64) EXPECT_EQ(QuarnelUtils::base64forData(bytes), text);

  EXPECT_EQ(QuarnelUtils::md5(""), "d41d8cd98f00b204e9800998ecf8427e");
  EXPECT_EQ(QuarnelUtils::md5(std::string("\0x", 2)), QuarnelUtils::md5(""));
  EXPECT_EQ(QuarnelUtils::md5("é"), "66ddcd97cfdeabb2f6fb8a999b4bc76f");
  EXPECT_EQ(QuarnelUtils::sha1("abc"), "a9993e364706816aba3e25717850c26c9cd0d89d");
  // Two characters, four bytes: only the first two bytes count. A pair of surrogates counts two.
  EXPECT_EQ(QuarnelUtils::sha1("éé"), QuarnelUtils::sha1("é\xC3\xA8"));
  EXPECT_EQ(QuarnelUtils::sha1("éé"), "bf15be717ac1b080b4f1c456692825891ff5073d");
  EXPECT_EQ(QuarnelUtils::sha1("😀"), QuarnelUtils::sha1("😁"));
}

TEST(UtilsTest, JsonFailureIsLoggedWhateverTheDebugMode) {
  std::vector<std::string> lines;
  QuarnelUtils::Environment environment;
  environment.log = [&lines](std::string_view line) { lines.emplace_back(line); };
  const QuarnelUtils utils(std::move(environment));
  EXPECT_FALSE(utils.getJsonStringFromDictionary({{"when", Date()}}));
  ASSERT_EQ(lines.size(), 1u);
  EXPECT_EQ(lines[0].rfind("JSON parser failed ex = ", 0), 0u);
}

TEST(StoredValuesTest, ForeignTypesAreConverted) {
  testing::SimulatedPlatform platform;
  auto& values = platform.userDefaults();
  const UserDefaults& defaults = platform.platform().userDefaults();
  const struct {
    Value value;
    std::int64_t integer;
    double number;
    bool boolean;
    std::optional<std::string> text;
  } cases[] = {
      {7, 7, 7, true, "7"},
      {0, 0, 0, false, "0"},
      {-2.75, -2, -2.75, true, "-2.75"},
      {1e300, INT64_MAX - 1023, 1e300, true, "1e+300"},
      {std::nan(""), 0, std::nan(""), true, "nan"},
      {"12abc", 12, 12, true, "12abc"},
      {"YES", 0, 0, true, "YES"},
      {"no", 0, 0, false, "no"},
      {true, 1, 1, true, "true"},
      {Bytes{1}, 0, 0, false, std::nullopt},
      {Dictionary{}, 0, 0, false, std::nullopt},
  };
  for (const auto& item : cases) {
    SCOPED_TRACE(describe(item.value));
    values["k"] = item.value;
    EXPECT_EQ(storedInteger(defaults, "k"), item.integer);
    EXPECT_TRUE(storedDouble(defaults, "k") == item.number || std::isnan(item.number));
    EXPECT_EQ(storedBoolean(defaults, "k"), item.boolean);
    EXPECT_EQ(storedText(defaults, "k"), item.text);
  }
}

// With "A", 1 modulo 64, each step swaps an entry with the one behind it: "A" travels to the end
// and the last step brings it back, so that only "B" changes its place, to the end.
TEST(BodyEncoderTest, PermutesTheAlphabetByTheKey) {
  const struct {
    std::string json, key, text;
  } cases[] = {
      {"Man", "", "TWFu"},
      {"Man", "@", "TWFu"},  // 64, 0 modulo 64: nothing moves.
      {"Man", "A", "UXGv"},
      {"Ma", "A", "UXF="},
      {std::string(3, '\0'), "A", "AAAA"},
      {"\xff\xff\xff", "A", "BBBB"},
      // Computed apart from this code.
      {R"({"uid":"1"})", "dev-Key-1", "a8txSh95p5AXAjm="},
      {R"({"uid":"1"})", "😀k", "hzM2vWQijidxdq0="},
  };
  for (const auto& item : cases) EXPECT_EQ(encodeBody(item.json, item.key), item.text) << item.key;
}

}  // namespace
}  // namespace quarnel
