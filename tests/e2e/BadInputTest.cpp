// Whatever an application hands in, it costs at most the report that it stands in.
#include <gtest/gtest.h>

#include "Applications.h"

namespace e2e {
namespace {

struct BadInput {
  std::string name;
  std::vector<std::string> commands;
  // What the first report has; "" means that it has no such field. Nothing here: the commands lead
  // to no report.
  std::vector<std::pair<std::string, std::string>> fields;
  std::string query = "app_id=123456789&buildnumber=1.0.0";
  std::string developerKey = kDeveloperKey;
  std::vector<std::string> cleanUp = {};
};

void PrintTo(const BadInput& input, std::ostream* out) { *out << input.name; }

std::string event(const std::string& name, const std::string& value) {
  return R"(["trackEvent:withValue:",)" + name + "," + value + "]";
}

std::string values(const std::string& json) {
  return R"(["trackEvent:withValues:","bad",)" + json + "]";
}

const std::string kLongText(10 << 20, 'x');
const std::string kDeepArray = std::string(500, '[') + std::string(500, ']');

const BadInput kBadInputs[] = {
    {"TextThatIsNotUtf8",
     {event(R"({"$text":"61c328ff62"})", "null")},
     {{"event", "\"a\uFFFD(\uFFFDb\""}}},
    {"NulInText",
     {event(R"("a\u0000b")", R"("\u0000")")},
     {{"event", R"("a\u0000b")"}, {"eventvalue", R"("\u0000")"}}},
    {"LineBreaksInText",
     {event(R"("a\r\nb")", R"("\r\n\r\n")")},
     {{"event", R"("a\r\nb")"}, {"eventvalue", R"("\r\n\r\n")"}}},
    {"SeparatorsInAppId",
     {R"(["set","appleAppID","1&x=2 3"])", event("\"bad\"", "null")},
     {{"event", "\"bad\""}},
     "app_id=1&x=2%203&buildnumber=1.0.0"},
    {"LineBreaksInAppId",
     {R"(["set","appleAppID","1\r\nX: y\u0000"])", event("\"bad\"", "null")},
     {{"event", "\"bad\""}},
     "app_id=1%0D%0AX:%20y%00&buildnumber=1.0.0"},
    {"LongValue",
     {event("\"bad\"", "\"" + kLongText + "\"")},
     {{"eventvalue", "\"" + kLongText + "\""}}},
    {"DateAmongValues",
     {values(R"({"when":{"$date":1457186820}})")},
     {{"event", "\"bad\""}, {"eventvalue", "\"\""}}},
    {"BytesDeepAmongValues",
     {values(R"({"a":[{"b":[{"$data":"00ff"}]}]})")},
     {{"eventvalue", "\"\""}}},
    {"InfiniteValue", {values(R"({"n":{"$double":"-inf"}})")}, {{"eventvalue", "\"\""}}},
    {"LocationNowhere",
     {R"(["trackLocation:latitude:",{"$double":"nan"},1])"},
     {{"eventvalue", "\"\""}}},
    {"DeepValues", {values("{\"a\":" + kDeepArray + "}")}, {{"event", "\"bad\""}}},
    {"AdditionalDataWithoutJsonForm",
     {R"(["setAdditionalData:",{"when":{"$date":0}}])", event("\"bad\"", "null")},
     {{"event", "\"bad\""}, {"customData", ""}}},
    {"PushPayloadWithoutJsonForm",
     {R"(["handlePushNotification:",{"qn":{"raw":{"$data":"00"}}}])", R"(["trackAppLaunch"])"},
     {{"event", "\"Launched\""}, {"qn_deeplink", ""}}},
    {"NoEventName", {event("null", "null")}, {{"event", "\"\""}}},
    {"CurrencyOfFourLetters",
     {R"(["set","currencyCode","EURO"])", event("\"bad\"", "null")},
     {{"currency", "\"EURO\""}}},
    {"EmailsThatAreNoText",
     {R"(["setUserEmails:withCryptType:",[1,null],1])", event("\"bad\"", "null")},
     {},
     "app_id=123456789&buildnumber=1.0.0",
     kDeveloperKey,
     {R"(["setUserEmails:withCryptType:",null,1])"}},
    {"NoDeveloperKey",
     {R"(["set","quarnelDevKey",null])", event("\"bad\"", "null")},
     {},
     "app_id=123456789&buildnumber=1.0.0",
     kDeveloperKey,
     {R"(["set","quarnelDevKey","devkey"])"}},
    {"DeveloperKeyOfSymbols",
     {R"(["set","quarnelDevKey","🔑é\u0001"])", event("\"bad\"", "\"1\"")},
     {{"eventvalue", "\"1\""}},
     "app_id=123456789&buildnumber=1.0.0",
     "🔑é\x01"},
    {"EmptyDeveloperKey",
     {R"(["set","quarnelDevKey",""])", event("\"bad\"", "\"1\"")},
     {{"eventvalue", "\"1\""}},
     "app_id=123456789&buildnumber=1.0.0",
     ""},
};

class BadInputTest : public testing::TestWithParam<BadInput> {};

TEST_P(BadInputTest, CostsNoOtherReport) {
  const BadInput& input = GetParam();
  const TemporaryFolder folder;
  Collector collector(folder.path("collector"), input.developerKey);
  Host host(folder.path("state"), reportingTo(collector));
  for (const std::string& command : input.commands) host.run(command);
  if (!input.fields.empty()) {
    const Report report = collector.next();
    EXPECT_EQ(report.about("query"), input.query);
    for (const auto& [name, value] : input.fields) {
      EXPECT_TRUE(report.field(name).value_or("") == value)
          << name << " is " << report.field(name).value_or("").substr(0, 200);
    }
  }
  // Waits until a report that must not be sent is over and done with, too.
  host.run(R"(["drain"])");
  EXPECT_EQ(host.next(), R"({"result":"drain","value":true})");

  for (const std::string& command : input.cleanUp) host.run(command);
  host.run(event("\"plain\"", "\"2\""));
  const Report plain = collector.next();
  EXPECT_EQ(plain.field("event"), "\"plain\"");
  EXPECT_EQ(plain.field("eventvalue"), "\"2\"");
  EXPECT_EQ(host.finish(), 0);
}

INSTANTIATE_TEST_SUITE_P(Inputs, BadInputTest, testing::ValuesIn(kBadInputs),
                         [](const auto& instance) { return instance.param.name; });

TEST(ScriptTest, UselessLinesAreAnsweredAndTheNextOneIsRead) {
  const TemporaryFolder folder;
  Host host(folder.path("state"), {"--dev-key", "k"});
  const std::string lines[] = {
      "",
      "launch",
      "[]",
      "{\"set\":1}",
      "[\"trackAppLaunch\"",
      "[\"trackAppLaunch\"] x",
      std::string("[\"trackAppLaunch\"]\0", 19),
      "[\"launch\"]",
      "[\"trackAppLaunch\",1]",
      "[7]",
      "[\"set\",\"isDebug\",\"yes\"]",
      "[\"set\",\"colour\",\"red\"]",
      "[\"trackEvent:withValue:\",\"\xc3\x28\",null]",
      "[\"trackEvent:withValues:\",\"e\",[]]",
      "[\"trackEvent:withValues:\",\"e\",{\"a\":{\"$data\":\"0\"}}]",
      "[\"trackEvent:withValues:\",\"e\"," + std::string(1 << 20, '['),
      "[\"trackLocation:latitude:\",1]",
      "[\"delegate\",[\"onNothing\"]]",
      "[\"wait\",-1]",
  };
  for (const std::string& line : lines) {
    host.run(line);
    EXPECT_EQ(host.next().substr(0, 10), "{\"error\":\"") << line.substr(0, 100);
  }
  host.run(R"(["getQuarnelUID"])");
  EXPECT_EQ(host.next().substr(0, 26), R"({"result":"getQuarnelUID",)");
  EXPECT_EQ(host.finish(), 0);
}

TEST(ScriptTest, CommandLinesThatMakeNoSenseAreRefused) {
  const TemporaryFolder folder;
  const std::vector<std::string> commandLines[] = {
      {"--app-id"},
      {"--colour", "red"},
      {"--device", R"({"colour":"red"})"},
      {"--device", R"({"name":[]})"},
      {"--device", "{"},
  };
  for (const auto& options : commandLines) {
    Host host(folder.path("state"), options);
    EXPECT_EQ(host.wait(), 2) << options.front();
    host.waitForLog("usage: quarnel-host");
  }
}

}  // namespace
}  // namespace e2e
