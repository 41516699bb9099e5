// What is offered to make applications' code shorter, and means the same as the long form.
#include <QuarnelTvOsLib/Json.h>
#include <QuarnelTvOsLib/QuarnelTracker.h>
#include <QuarnelTvOsLib/Version.h>
#include <QuarnelTvOsLib/testing/ReportFields.h>
#include <QuarnelTvOsLib/testing/SimulatedPlatform.h>
#include <gtest/gtest.h>

#include <functional>

namespace quarnel {
namespace {

using testing::reportField;
using testing::SimulatedPlatform;

TEST(InterfaceTest, EventsWithShorterNames) {
  const std::string text = "12.50";
  const Dictionary stars{{"stars", 5}};
  const struct {
    const char* name;
    std::function<void(QuarnelTracker&)> track;
    std::function<void(QuarnelTracker&)> longForm;
  } cases[] = {
      {"no value", [](auto& t) { t.trackEvent("e"); },
       [](auto& t) { t.trackEventWithValue("e", std::nullopt); }},
      {"literal", [](auto& t) { t.trackEvent("e", "v"); },
       [](auto& t) { t.trackEventWithValue("e", "v"); }},
      {"string", [&](auto& t) { t.trackEvent(std::string("e"), text); },
       [](auto& t) { t.trackEventWithValue("e", "12.50"); }},
      {"part of a text", [&](auto& t) { t.trackEvent("e", std::string_view(text).substr(0, 2)); },
       [](auto& t) { t.trackEventWithValue("e", "12"); }},
      {"dictionary", [&](auto& t) { t.trackEvent("e", stars); },
       [](auto& t) {
         t.trackEventWithValues("e", Dictionary{{"stars", 5}});
       }},
      {"no entries", [](auto& t) { t.trackEvent("e", {}); },
       [](auto& t) { t.trackEventWithValues("e", Dictionary()); }},
      {"one entry in braces",
       [](auto& t) {
         t.trackEvent("e", {{"a", "b"}});
       },
       [](auto& t) {
         t.trackEventWithValues("e", Dictionary{{"a", "b"}});
       }},
      {"two entries in braces",
       [](auto& t) {
         t.trackEvent("e", {{"a", "b"}, {"c", 1.5}});
       },
       [](auto& t) {
         t.trackEventWithValues("e", Dictionary{{"a", "b"}, {"c", 1.5}});
       }},
  };
  for (const auto& item : cases) {
    const auto reported = [](const std::function<void(QuarnelTracker&)>& track) {
      SimulatedPlatform platform;
      platform.tracker().setQuarnelDevKey("key");
      track(platform.tracker());
      platform.advance(std::chrono::seconds(1));
      Value::Array reports;
      for (const Dictionary& report : platform.reports("key")) reports.emplace_back(report);
      return toJson(reports);
    };
    EXPECT_NE(reported(item.track), "[]") << item.name;
    EXPECT_EQ(reported(item.track), reported(item.longForm)) << item.name;
  }
}

template <typename T, typename = void>
constexpr bool isValue = false;
template <typename T>
constexpr bool isValue<
    T, std::void_t<decltype(std::declval<QuarnelTracker&>().trackEvent("e", std::declval<T>()))>> =
    true;
static_assert(isValue<const char*> && isValue<std::string&> && isValue<Dictionary>);
static_assert(!isValue<std::nullopt_t> && !isValue<std::nullptr_t> && !isValue<double>);
static_assert(!isValue<std::optional<std::string>> && !isValue<std::optional<Dictionary>>);

TEST(InterfaceTest, DictionariesAnswerByType) {
  Dictionary all{{"null", nullptr},
                 {"boolean", true},
                 {"integer", 7},
                 {"double", 1.5},
                 {"date", Date(std::chrono::seconds(1))},
                 {"text", "t"},
                 {"bytes", Bytes{1}},
                 {"array", Value::Array{1}},
                 {"dictionary", Dictionary{{"k", 1}}}};
  // Which accessors answer for the key, in the order of the header.
  const auto answers = [&](std::string_view key) {
    std::string kinds;
    if (all.boolean(key)) kinds += *all.boolean(key) ? " boolean" : " wrong";
    if (all.integer(key)) kinds += " integer=" + std::to_string(*all.integer(key));
    if (all.number(key)) kinds += " number=" + std::to_string(*all.number(key));
    if (all.date(key))
      kinds += *all.date(key) == Date(std::chrono::seconds(1)) ? " date" : " wrong";
    if (all.text(key)) kinds += " text=" + *all.text(key);
    if (all.bytes(key)) kinds += " bytes=" + std::to_string(all.bytes(key)->size());
    if (all.array(key)) kinds += " array=" + std::to_string(all.array(key)->size());
    if (all.dictionary(key)) kinds += " dictionary=" + toJson(*all.dictionary(key));
    return kinds;
  };
  const std::pair<const char*, const char*> cases[] = {
      {"nothing", ""},
      {"null", ""},
      {"boolean", " boolean"},
      {"integer", " integer=7 number=7.000000"},
      {"double", " number=1.500000"},
      {"date", " date"},
      {"text", " text=t"},
      {"bytes", " bytes=1"},
      {"array", " array=1"},
      {"dictionary", " dictionary={\"k\":1}"},
  };
  for (const auto& [key, expected] : cases) EXPECT_EQ(answers(key), expected) << key;
}

TEST(InterfaceTest, JsonGoesBothWaysAndSaysWhatIsWrong) {
  const std::string text =
      R"({"d":{"$date":1.5},"b":{"$data":"01ab"},"n":{"$double":"-inf"},"l":[null,true,-1,0.1]})";
  EXPECT_EQ(toJson(*fromJson(text)), text);
  std::string why;
  EXPECT_FALSE(fromJson("{\"a\": 1e999}", &why));
  EXPECT_NE(why.find("around byte 6"), std::string::npos) << why;
  EXPECT_FALSE(fromJson("[1,]"));
}

TEST(InterfaceTest, ADeviceFactTakesOnlyWhatItCanBe) {
  const struct {
    const char* field;
    std::optional<std::string> value;
    bool isTaken;
  } cases[] = {{"wifi", "true", true},        {"wifi", std::nullopt, true},
               {"wifi", "maybe", false},      {"multitasking", "false", true},
               {"multitasking", "no", false}, {"systemversion", "maybe", true},
               {"taste", "sweet", false}};
  HostEnvironment environment;
  for (const auto& item : cases) {
    EXPECT_EQ(environment.setDeviceFact(item.field, item.value), item.isTaken) << item.field;
  }
}

TEST(InterfaceTest, LibraryAndHeadersAreOfOneVersion) {
  EXPECT_STREQ(libraryVersion(), QUARNEL_VERSION);
  EXPECT_EQ(std::to_string(QUARNEL_VERSION_MAJOR) + "." + std::to_string(QUARNEL_VERSION_MINOR) +
                "." + std::to_string(QUARNEL_VERSION_PATCH),
            QUARNEL_VERSION);
}

}  // namespace
}  // namespace quarnel
