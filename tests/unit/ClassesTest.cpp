// Small classes, each alone, made with just the ports that it uses.
#include <gtest/gtest.h>

#include <cmath>
#include <functional>
#include <stdexcept>

#include "SimulatedPorts.h"
#include "compose/BodyEncoder.h"
#include "installation/QuarnelKeychainWrapper.h"
#include "installation/StoredValues.h"
#include "tracker/TrackerGraph.h"
#include "transport/CacheRecordFile.h"
#include "util/DateFormatter.h"
#include "util/DateText.h"
#include "util/DebugLog.h"
#include "util/Json.h"
#include "util/NumberText.h"
#include "util/QuarnelDictionary.h"
#include "util/QuarnelUtils.h"
#include "util/Text.h"
#include "util/Url.h"

namespace quarnel {
namespace {

using std::chrono::hours;
using std::chrono::microseconds;
using std::chrono::minutes;
using std::chrono::seconds;
using testing::SimulatedPorts;

using Lines = std::vector<std::string>;

Lines journalOf(SimulatedPorts& ports) {
  Lines lines;
  for (const auto& entry : ports.simulatedDispatcher.journal().entries()) {
    lines.push_back(describe(entry));
  }
  ports.simulatedDispatcher.clearJournal();
  return lines;
}

TEST(KeychainWrapperTest, EveryOperationIsOneExactQuery) {
  SimulatedPorts ports;
  auto& keychain = ports.simulatedKeychain;
  QuarnelKeychainWrapper wrapper(keychain, ports.services.keychainPrefix + ".sdk", std::nullopt);
  const std::string item =
      R"({"class":"genp","gena":{"$data":"6b"},"acct":{"$data":"6b"},"svce":")" +
      ports.services.keychainPrefix + R"(.sdk","pdmn":"dku")";
  const std::string line = "0.000000 caller: store keychain ";
  const Bytes one{1}, two{2};
  const std::function<std::string()> add = [&] {
    return wrapper.setObject("k", one) ? "yes" : "no";
  };
  const std::function<std::string()> get = [&] {
    const auto data = wrapper.getObject("k");
    return data ? describeBytes(*data) : "absent";
  };
  const std::function<std::string()> update = [&] {
    return wrapper.update("k", two) ? "yes" : "no";
  };
  const std::function<std::string()> remove = [&] { return wrapper.remove("k") ? "yes" : "no"; };
  const Lines added{line + "add " + item + R"(,"v_Data":{"$data":"01"}})"};
  const Lines read{line + "copy " + item + R"(,"m_Limit":"m_LimitOne","r_Data":true})"};
  const Lines updated{line + "update " + item + "}", line + R"(changes {"v_Data":{"$data":"02"}})"};
  const Lines removed{line + "remove " + item + "}"};
  const struct {
    std::function<std::string()> operation;
    const char* answer;
    Lines queries;
    std::map<std::string, std::string> items;
  } steps[] = {
      {get, "absent", read, {}},           {update, "no", updated, {}},
      {remove, "no", removed, {}},         {add, "yes", added, {{"k", "\x01"}}},
      {add, "no", added, {{"k", "\x01"}}}, {update, "yes", updated, {{"k", "\x02"}}},
      {add, "no", added, {{"k", "\x02"}}}, {get, "<02>", read, {{"k", "\x02"}}},
      {remove, "yes", removed, {}},        {get, "absent", read, {}},
  };
  for (const auto& step : steps) {
    EXPECT_EQ(step.operation(), step.answer);
    EXPECT_EQ(journalOf(ports), step.queries);
    EXPECT_EQ(keychain.items, step.items);
  }

  wrapper.setObject("k", one);
  QuarnelKeychainWrapper other(keychain, "other", "group");
  EXPECT_EQ(*other.prepareForKeychain("k").find(kSecAttrAccessGroup), Value("group"));
  EXPECT_FALSE(other.getObject("k")) << "an item of another service and group";
  keychain.isAvailable = false;
  for (const auto& operation : {add, update, remove}) EXPECT_EQ(operation(), "no");
  EXPECT_EQ(get(), "absent");
}

TEST(StoredValuesTest, AbsentAndForeignValues) {
  SimulatedPorts ports;
  for (const auto& value : {std::optional<Value>(), std::optional<Value>(Date(seconds(5))),
                            std::optional<Value>(Value::Array{1}), std::optional<Value>(nullptr)}) {
    if (value) ports.defaults.values["k"] = *value;
    EXPECT_EQ(storedText(ports.defaults, "k"), std::nullopt);
    EXPECT_EQ(storedInteger(ports.defaults, "k"), 0);
    EXPECT_EQ(storedDouble(ports.defaults, "k"), 0);
    EXPECT_FALSE(storedBoolean(ports.defaults, "k"));
  }
  const std::pair<const char*, bool> flags[] = {
      {"", false}, {"Y", true},  {"true", true}, {"T", true},  {"yes", true}, {"f", false},
      {"9", true}, {"0", false}, {"-1", true},   {"01", true}, {" 1", true},  {"x1", false}};
  for (const auto& [text, flag] : flags) {
    ports.defaults.values["k"] = text;
    EXPECT_EQ(storedBoolean(ports.defaults, "k"), flag) << text;
  }
  ports.defaults.values["k"] = "\xff!";
  EXPECT_EQ(storedText(ports.defaults, "k"), "\xEF\xBF\xBD!");
  storeText(ports.defaults, "k", "new");
  EXPECT_EQ(ports.defaults.values["k"], Value("new"));
  storeText(ports.defaults, "k", std::nullopt);
  EXPECT_TRUE(ports.defaults.values.empty());
  EXPECT_EQ(ports.defaults.synchronizeCount, 0);
}

TEST(DateFormatterTest, TakesTheOffsetOfTheDateThatItFormats) {
  SimulatedPorts ports;
  const Date change{seconds(1459040400)};  // 2016-03-27 01:00 UTC, when summer time began.
  auto& zone = ports.simulatedDispatcher;
  zone.setUtcOffset(hours(1));
  zone.setUtcOffset(change, hours(2));
  const DateFormatter formatter([&zone](Date date) { return zone.utcOffset(date); });
  EXPECT_EQ(formatter.string(change - microseconds(1)), "2016-03-27_0159+0100");
  EXPECT_EQ(formatter.string(change), "2016-03-27_0300+0200");
  EXPECT_EQ(formatter.string(std::optional<Date>()), std::nullopt);
  EXPECT_EQ(formatter.string(std::optional<Date>(change)), "2016-03-27_0300+0200");
}

TEST(DateTest, EveryDateHasText) {
  const struct {
    Date date;
    seconds offset;
    const char* server;
    const char* description;
  } rows[] = {
      // Local mean times had seconds: they count in the time, and the offset shows whole minutes.
      {Date(), seconds(1172), "1970-01-01_0019+0019", "1970-01-01 00:00:00 +0000"},
      {Date(), -seconds(17762), "1969-12-31_1903-0456", "1970-01-01 00:00:00 +0000"},
      {Date(seconds(59)), seconds(1), "1970-01-01_0001+0000", "1970-01-01 00:00:59 +0000"},
      {Date(-microseconds(1)), -minutes(30), "1969-12-31_2329-0030", "1969-12-31 23:59:59 +0000"},
      {Date(hours(24) * 59), seconds(0), "1970-03-01_0000+0000", "1970-03-01 00:00:00 +0000"},
      // Beyond the range of a clock of nanoseconds, and beyond four digits.
      {Date(-seconds(12219292800)), hours(1), "1582-10-15_0100+0100", "1582-10-15 00:00:00 +0000"},
      {Date(seconds(10413792000)), hours(1), "2300-01-01_0100+0100", "2300-01-01 00:00:00 +0000"},
      {Date::min(), hours(-14), "0000-01-01_0000-1400", "0000-01-01 00:00:00 +0000"},
      {Date::max(), hours(14), "9999-12-31_2359+1400", "9999-12-31 23:59:59 +0000"},
  };
  for (const auto& row : rows) {
    EXPECT_EQ(formatServerDate(row.date, row.offset), row.server);
    EXPECT_EQ(describeDate(row.date), row.description);
  }
}

TEST(DateTest, SecondsThereAndBack) {
  const Date date = Date(seconds(978307200)) + microseconds(250'000);
  EXPECT_EQ(secondsSince1970(date), 978307200.25);
  EXPECT_EQ(secondsSinceReferenceDate(date), 0.25);
  EXPECT_LT(secondsSinceReferenceDate(Date::min()), -9.2e12);
  EXPECT_EQ(dateSince1970(978307200.25), date);
  EXPECT_EQ(dateSince1970(-0.0000004), Date());
  EXPECT_EQ(dateSince1970(-0.0000006), Date(microseconds(-1)));
  for (const double beyond : {9.3e12, -9.3e12, HUGE_VAL, -HUGE_VAL, std::nan("")}) {
    EXPECT_EQ(dateSince1970(beyond), std::nullopt) << beyond;
  }
}

TEST(CacheRecordFileTest, WritesThreeLinesThatReadBack) {
  const std::string unicode = "h\xc3\xa9\xc2\x85\xe2\x80\xa8\xe2\x80\xa9\xe2\x80\xaa";
  const struct {
    QuarnelRequestCacheData record;
    std::string content;
  } rows[] = {
      {{"u", "d", "1.0"}, "version=1.0\nurl=u\ndata=d"},
      {{}, "version=(null)\nurl=(null)\ndata=(null)"},
      {{"%41 \xc3\xa9", "d", "1"}, "version=1\nurl=%41 \xc3\xa9\ndata=d"},
      {{"a\nb%0Ac", "d", "1"}, "version=1\nurlencoding=percent\nurl=a%0Ab%250Ac\ndata=d"},
      {{unicode, "", ""},
       "version=\nurlencoding=percent\nurl=h%C3%A9%C2%85%E2%80%A8%E2%80%A9%E2%80%AA\ndata="},
  };
  for (const auto& row : rows) {
    EXPECT_EQ(cacheFileContent(row.record), row.content);
    const auto back = parseCacheFile("0.qn", row.content, Date(seconds(978307200)));
    ASSERT_TRUE(back) << row.content;
    EXPECT_EQ(back->requestURL, row.record.requestURL.value_or("(null)") + "&timeincache=0.000000");
  }
  EXPECT_EQ(cacheFileName(Date(seconds(978307201)) + microseconds(5)), "1.000005.qn");
}

TEST(CacheRecordFileTest, ReadsWhatHoldsUrlAndData) {
  const Date now = Date(seconds(978307210)) + microseconds(500'000);  // 10.5 s.
  const char* none = "none";
  const struct {
    const char *name, *content, *url, *data, *version;
  } rows[] = {
      {"4.25.qn", "version=1\nurl=u\ndata=d", "u&timeincache=6.250000", "d", "1"},
      {"4.25", "url=u\ndata=d", "u&timeincache=6.500000", "d", none},
      {"12.000000.qn", "data= \td e \t\r\nurl=\tu ", "u&timeincache=-1.500000", "d e", none},
      {"x.qn",
       "url=a\vdata=b\x0curl=c\xc2\x85"
       "data=\xe2\x80\xa8version= ",
       "c&timeincache=10.500000", "", ""},
      {"0.qn",
       "url=\xc3\xa9\xe2\x82\xac\xe2\x80\xa9"
       "data=d",
       "\xc3\xa9\xe2\x82\xac&timeincache=10.500000", "d", none},
      {"0.qn", "url=u", none, none, none},
      {"0.qn", "data=d", none, none, none},
      {"0.qn", " url=u\n data=d", none, none, none},
      {"0.qn", "url=u\xff\ndata=d", none, none, none},
      {"0.qn", "", none, none, none},
  };
  for (const auto& row : rows) {
    SCOPED_TRACE(row.content);
    const auto record = parseCacheFile(row.name, row.content, now);
    const QuarnelRequestCacheData read = record.value_or(QuarnelRequestCacheData());
    EXPECT_EQ(read.requestURL.value_or(none), row.url);
    EXPECT_EQ(read.postData.value_or(none), row.data);
    EXPECT_EQ(read.sdkVersion.value_or(none), row.version);
    EXPECT_EQ(read.cacheKey.value_or(none), record ? row.name : none);
  }
}

// Computed with another Base64 and another permutation. The bytes are those of the 64 digits in
// their order, so every place of the alphabet counts; the key is longer than the alphabet.
TEST(BodyEncoderTest, EveryDigitHasItsPlace) {
  std::string bytes;
  for (std::uint32_t i = 0; i < 64; i += 4) {
    const std::uint32_t group = i << 18 | (i + 1) << 12 | (i + 2) << 6 | (i + 3);
    for (const int shift : {16, 8, 0}) bytes += static_cast<char>(group >> shift & 255);
  }
  EXPECT_EQ(encodeBody(bytes, "Zürich–" + std::string(70, 'x')),
            "IJKLMNOPQRSTUVWXYGAbcdefghijklmEopqrDFuvwxyzC12345678B-Ha90sntZ/");
  EXPECT_EQ(encodeBody("", "k"), "");
}

TEST(UtilsTest, AsksThePlatform) {
  HostOptions options;
  options.bundle.appStoreReceiptPath = "/receipt";
  for (const bool has : {false, true}) {
    options.knownClasses = {has ? "UnityAppController" : "UnityAppControlle"};
    options.hasCloudIdentity = [has] { return has; };
    SimulatedPorts ports(options);
    const DebugLog log([&ports](std::string_view line) { ports.log.write(line); });
    const QuarnelUtils utils(utilsEnvironment(ports, log));
    EXPECT_EQ(utils.develomentPlatformName(), has ? "iOS_Unity" : "iOS_Native");
    EXPECT_EQ(utils.isICloudServiceEnabled(), has);
    if (has) ports.files.files["/receipt"] = "Ma";
    EXPECT_EQ(describe(utils.getStoreReceipt()),
              has ? R"({"data":{"receipt-data":"TWE="}})" : R"({"status":"-1"})");
    ports.simulatedDispatcher.setUtcOffset(hours(5));
    EXPECT_EQ(utils.getDateFormatter().string(Date()), "1970-01-01_0500+0500");
    EXPECT_EQ(utils.getJsonDataFromDictionary({{"a", 1}}), R"({"a":1})");
    EXPECT_EQ(utils.getJsonDataFromDictionary({{"a", Bytes{}}}), std::nullopt);
    EXPECT_EQ(journalOf(ports).size(), 1u);
  }
}

TEST(UrlTest, Parts) {
  const char* none = "none";
  const struct {
    const char *url, *scheme, *query, *path;
  } rows[] = {
      {"http://h/a/b/?q#f", "http", "q", "/a/b"},
      {"a+1-.Z:/p//", "a+1-.Z", none, "/p/"},
      {"1a:/p", none, none, "1a:/p"},
      {"a_b:/p", none, none, "a_b:/p"},
      {":/p", none, none, ":/p"},
      {"z:", "z", none, none},
      {"//h", none, none, ""},
      {"//h/", none, none, "/"},
      {"/?a?b", none, "a?b", "/"},
      {"a:/#?x", "a", none, "/"},
      {"a://h/%4", "a", none, none},
      {"@:x", none, none, "@:x"},
      {"[:x", none, none, "[:x"},
      {"A://h/%41", "A", none, "/A"},
      {"a9:b/?", "a9", "", none},
  };
  for (const auto& row : rows) {
    SCOPED_TRACE(row.url);
    const UrlParts parts = parseUrl(row.url);
    EXPECT_EQ(parts.scheme.value_or(none), row.scheme);
    EXPECT_EQ(parts.query.value_or(none), row.query);
    EXPECT_EQ(parts.path.value_or(none), row.path);
  }
}

TEST(TextTest, EscapesComeBack) {
  const std::pair<const char*, const char*> rows[] = {
      {"%41%4a%4A", "AJJ"}, {"%6f%6F%30%39", "oo09"}, {"%c3%A9", "é"},  {"a+b", "a+b"},
      {"%%", nullptr},      {"%4", nullptr},          {"%", nullptr},   {"%4g", nullptr},
      {"%g4", nullptr},     {"%:0", nullptr},         {"%FF", nullptr}, {"%/0", nullptr},
      {"%af%", nullptr}};
  for (const auto& [text, plain] : rows) {
    EXPECT_EQ(unescapeUrl(text).value_or("none"), plain != nullptr ? plain : "none") << text;
  }
  EXPECT_EQ(fixed(2.5, 0), "2");
  EXPECT_EQ(fixed(-1234.5678, 2), "-1234.57");
  EXPECT_EQ(fixed(1e300, 6).size(), 308u);
  EXPECT_EQ(describeBytes({}), "<>");
  EXPECT_EQ(describeBytes({1, 2, 3, 4, 0xf5, 6, 7, 8}), "<01020304 f5060708>");
  EXPECT_EQ(decimalValue("\v\f\r\n .5e1x"), 5);
  EXPECT_EQ(integerValue("9223372036854775807"), INT64_MAX);
  EXPECT_EQ(integerValue("-9223372036854775808"), INT64_MIN);
  EXPECT_EQ(textOrNull(std::nullopt), "(null)");
  EXPECT_EQ(validUtf8(std::optional<std::string>("a\x80")), "a\xEF\xBF\xBD");
}

// Applications rely on this too.
TEST(SimulatedPlatformTest, OnlyASuddenEndLosesWhatWasNotSynchronised) {
  testing::SimulatedPlatform platform;
  UserDefaults& defaults = portsOf(platform).userDefaults();
  platform.userDefaults() = {{"changed", 1}, {"removed", 1}};
  const auto change = [&] {
    defaults.set("synchronised", 1);
    defaults.synchronize();
    defaults.set("changed", 2);
    defaults.set("changed", 3);
    defaults.set("new", 1);
    defaults.remove("removed");
  };
  change();
  platform.killApplication();
  const std::map<std::string, Value> lost{{"changed", 1}, {"removed", 1}, {"synchronised", 1}};
  EXPECT_EQ(platform.userDefaults(), lost);
  change();
  platform.restartApplication();
  platform.killApplication();
  const std::map<std::string, Value> kept{{"changed", 3}, {"new", 1}, {"synchronised", 1}};
  EXPECT_EQ(platform.userDefaults(), kept);
}

// A background session beside a log line: what happened, as a whole.
TEST(SimulatedPlatformTest, JournalKeepsOrderQueueAndMoment) {
  SimulatedPorts ports;
  auto& dispatcher = ports.simulatedDispatcher;
  const auto record = [&dispatcher](const std::string& text) {
    dispatcher.record(testing::Journal::Kind::kCallback, text);
  };
  const auto session = ports.network().makeBackgroundSession(
      {"id", false, true}, {[&] { record("finished"); },
                            [&](const std::string&, const std::optional<Error>& error) {
                              record(error ? "failed" : "complete");
                            }});
  const auto queue = dispatcher.makeSerialQueue("work");
  queue->postAfter(seconds(1), [&] {
    ports.log.write("line");
    session->startDownloadTask({"GET", "https://h/1", {}, ""});
    session->startDownloadTask({"GET", "http://h/2", {}, ""});
  });
  dispatcher.setNow(Date());
  dispatcher.advance(seconds(2));
  const Lines expected{"1.000000 work: log line",
                       "1.000000 work: http GET https://h/1",
                       "1.000000 work: http GET http://h/2",
                       "1.000000 background session: http 200 GET https://h/1",
                       "1.000000 background session: callback finished",
                       "1.000000 background session: callback complete",
                       "1.000000 background session: http failure GET http://h/2",
                       "1.000000 background session: callback failed"};
  EXPECT_EQ(journalOf(ports), expected);
  EXPECT_EQ(dispatcher.labels(), (Lines{"main", "work"}));
  const auto& configuration = ports.simulatedNetwork.backgroundSessions().at(0);
  EXPECT_EQ(configuration.identifier, "id");
  EXPECT_FALSE(configuration.allowsCellularAccess);
  EXPECT_TRUE(configuration.sessionSendsLaunchEvents);
}

TEST(DictionaryTest, NeverStoresAnAbsentValue) {
  QuarnelDictionary dictionary;
  dictionary.setDict({{"a", 1}, {"b", 2}});
  dictionary.setParameter(std::nullopt, "a");
  dictionary.setParameter(Value(3), "c");
  EXPECT_EQ(describe(dictionary.dict()), R"({"a":"","b":2,"c":3})");
  EXPECT_THROW(dictionary.setParameter(Value(1), std::nullopt), std::invalid_argument);
}

}  // namespace
}  // namespace quarnel
