// Launch and event reports, from the call to the request, on the simulated platform.
#include <QuarnelTvOsLib/Notifications.h>
#include <QuarnelTvOsLib/QuarnelTracker.h>
#include <QuarnelTvOsLib/testing/SimulatedPlatform.h>
#include <gtest/gtest.h>

#include <cmath>

#include "SimulatedPorts.h"
#include "util/Json.h"

namespace quarnel {
namespace {

using std::chrono::milliseconds;
using std::chrono::seconds;
using testing::ScriptedAnswer;
using testing::SimulatedPlatform;

constexpr const char* kKey = "dev-Key-1";

class ReportTest : public ::testing::Test {
 protected:
  ReportTest() { configure(); }

  void configure() {
    platform.tracker().setQuarnelDevKey(kKey);
    platform.tracker().setAppleAppID("123456789");
  }

  // The report of the next request, as JSON; lets a second pass.
  Dictionary next() {
    const std::size_t before = platform.reports(kKey).size();
    platform.advance(seconds(1));
    const auto reports = platform.reports(kKey);
    EXPECT_EQ(reports.size(), before + 1);
    return reports.empty() ? Dictionary() : reports.back();
  }
  Dictionary launch() {
    platform.tracker().trackAppLaunch();
    return next();
  }
  Dictionary event() {
    platform.tracker().trackEventWithValue("e", "v");
    return next();
  }

  static std::string field(const Dictionary& report, const std::string& key) {
    const Value* value = report.find(key);
    return value != nullptr ? *writeJson(*value) : "absent";
  }

  SimulatedPlatform platform;
};

TEST_F(ReportTest, FirstLaunchCarriesEveryField) {
  platform.setUtcOffset(std::chrono::hours(2));
  platform.setRandomNumbers({4821336});
  EXPECT_EQ(
      *writeJson(launch()),
      R"({"uid":"1456340759346-4821337","serverApiVersion":"4","name":"Living Room",)"
      R"("systemname":"tvOS","systemversion":"9.2","model":"Apple TV","localizedmodel":"Apple TV",)"
      R"("platform":"AppleTV5;3","platformextension":"iOS_Native","counter":1,"sessioncounter":1,)"
      R"("iaecounter":0,"timepassedsincelastlaunch":-1,"advertiserId":"","advertiserIdEnabled":false,)"
      R"("bundleIdentifier":"example.quarnel.simulated",)"
      R"("vendorId":"0D0F1E4C-5A0B-4E62-9E0B-2F9C9F6C1D11","bundleversion":"42",)"
      R"("bundlename":"Simulated","shortbundleversion":"1.2","date1":"2016-02-24_1905+0200",)"
      R"("date2":"2016-02-28_2305+0200","date3":"2016-02-28_2305+0200",)"
      R"("firstLaunchDate":"2016-03-05_1607+0200","currentLanguage":"en-US",)"
      R"("currentCountrycode":"US","timestamp":"1457186820.100000","event":"Launched",)"
      R"("eventvalue":"","wifi":true})");
  const auto& request = platform.requests().at(0);
  EXPECT_EQ(request.method, "POST");
  EXPECT_EQ(request.url,
            "https://launches.quarnel.example/api/v4/iosevent?app_id=123456789&buildnumber=1.0.0");
  const std::vector<std::pair<std::string, std::string>> headers = {
      {"Accept", "application/json"}, {"Content-Type", "application/json"}};
  EXPECT_EQ(request.headers, headers);
  EXPECT_EQ(platform.userDefaults()["QuarnelInstallTimestamp"], Value("1457186820.100000"));
}

TEST_F(ReportTest, CountersAndTimesFollowTheReports) {
  Dictionary report = event();  // Before any launch.
  EXPECT_EQ(field(report, "counter") + field(report, "iaecounter"), "01");
  EXPECT_NE(field(report, "firstLaunchDate"), R"("")");
  report = launch();
  EXPECT_EQ(field(report, "counter") + field(report, "iaecounter"), "11");
  EXPECT_EQ(field(report, "timepassedsincelastlaunch"), "1.099");
  platform.restartApplication();
  configure();
  platform.setNow(platform.now() + std::chrono::hours(24 * 60));
  report = launch();
  EXPECT_EQ(field(report, "counter") + field(report, "iaecounter"), "21");
  EXPECT_EQ(field(report, "timepassedsincelastlaunch"), "5184001");
  platform.userDefaults().erase("QuarnelFirstLaunchDate");
  EXPECT_EQ(field(launch(), "firstLaunchDate"), R"("")");
  platform.userDefaults()["QuarnelTimePassedSincePrevLaunch"] = -5;
  platform.userDefaults()["QuarnelCounter"] = "not a number";
  platform.userDefaults()["QuarnelInAppCounter"] = INT64_MAX;
  report = event();
  EXPECT_EQ(field(report, "timepassedsincelastlaunch"), "-1");
  EXPECT_EQ(field(report, "counter") + " " + field(report, "iaecounter"), "0 2147483647");
}

// What a report says is of its hand-over, however long the network makes it wait.
TEST_F(ReportTest, WaitingReportsKeepTheirMoment) {
  platform.setAnswer(ScriptedAnswer::response(200).after(seconds(10)));
  const auto trackEvents = [&](int count) {
    for (int i = 0; i < count; ++i) platform.tracker().trackEventWithValues("e", std::nullopt);
    platform.advance(milliseconds(200));
  };
  platform.tracker().setCustomerUserID("a");
  trackEvents(290);
  const std::string moment = field(platform.reports(kKey).back(), "timestamp");
  platform.tracker().handleOpenURL("app://first", std::nullopt);
  platform.tracker().trackAppLaunch();
  platform.advance(milliseconds(200));
  platform.tracker().handleOpenURL("app://second", std::nullopt);
  platform.tracker().setCustomerUserID("b");
  platform.post(UIApplicationDidEnterBackgroundNotification);
  platform.userDefaults()["QuarnelInAppCounter"] = 1290;  // By another process.
  trackEvents(50);
  platform.tracker().setQuarnelDevKey(std::nullopt);
  trackEvents(3);
  platform.advance(seconds(60));

  const auto reports = platform.reports(kKey);
  ASSERT_EQ(reports.size(), 341U);
  // The launch does not wait behind the events.
  EXPECT_EQ(field(reports[256], "event") + field(reports[256], "qn_deeplink"),
            "\"Launched\"\"app://first\"");
  std::vector<Dictionary> events = reports;
  events.erase(events.begin() + 256);
  for (int i = 0; i < 340; ++i) {
    const bool isFirst = i < 290;
    EXPECT_EQ(field(events[i], "appUID") + " " + field(events[i], "sessioncounter") + " " +
                  field(events[i], "counter") + " " + field(events[i], "iaecounter"),
              (isFirst ? "\"a\" 1 0 " : "\"b\" 2 1 ") + std::to_string(isFirst ? i + 1 : i + 1001))
        << i;
    if (isFirst) {
      EXPECT_EQ(field(events[i], "timestamp"), moment) << i;
    }
  }
  EXPECT_EQ(platform.tracker().diagnostics().lost.missingDeveloperKey, 3U);
  EXPECT_EQ(platform.userDefaults()["QuarnelInAppCounter"], Value(1340));
}

// Two reports are handed over before the first is gathered, and something changes in between.
TEST_F(ReportTest, ReportsGatheredTogetherKeepTheirOwnSettings) {
  platform.tracker().setCustomerUserID("a");
  platform.tracker().trackAppLaunch();
  platform.advance(milliseconds(99));
  // All three fall due with the launch, in this order.
  testing::portsOf(platform).dispatcher().mainQueue().postAfter(
      milliseconds(1), [this] { platform.tracker().setCustomerUserID("b"); });
  platform.tracker().trackEventWithValue("e", "v");
  platform.advance(seconds(1));
  const auto reports = platform.reports(kKey);
  ASSERT_EQ(reports.size(), 2U);
  EXPECT_EQ(field(reports[0], "event") + field(reports[0], "appUID"), R"("Launched""a")");
  EXPECT_EQ(field(reports[1], "event") + field(reports[1], "appUID"), R"("e""b")");
}

TEST_F(ReportTest, LaunchesHaveRoomOfTheirOwn) {
  platform.setAnswer(ScriptedAnswer::silence());
  for (int i = 0; i < 300; ++i) platform.tracker().trackEventWithValues("e", std::nullopt);
  platform.advance(seconds(1));
  EXPECT_EQ(platform.requests().size(), 256U);
  for (int i = 0; i < 30; ++i) platform.tracker().trackAppLaunch();
  platform.advance(seconds(1));
  EXPECT_EQ(platform.requests().size(), 272U);
  EXPECT_EQ(platform.tracker().diagnostics().waiting, 58U);
}

TEST_F(ReportTest, LogsActivitiesAndWhatIsWrongWithTheAppID) {
  auto& tracker = platform.tracker();
  const UserActivity activity{NSUserActivityTypeBrowsingWeb, "https://w"};
  const std::string shown = "<NSUserActivity NSUserActivityTypeBrowsingWeb https://w>";
  const std::string validate = "Quarnel: -[QuarnelTracker validateAppID] ";
  const auto lines = [&](const std::string& operation) {
    std::vector<std::string> found;
    for (const auto& line : platform.log()) {
      if (line.text.find(operation) != std::string::npos) found.push_back(line.text);
    }
    platform.log().clear();
    return found;
  };
  tracker.didUpdateUserActivity(activity);
  EXPECT_EQ(lines("Activity"), std::vector<std::string>()) << "without debug mode";
  tracker.setIsDebug(true);
  tracker.continueUserActivity(activity, nullptr);
  tracker.didUpdateUserActivity(activity);
  EXPECT_EQ(
      lines("Activity"),
      (std::vector<std::string>{
          "Quarnel: -[QuarnelTracker continueUserActivity:restorationHandler:] User Activity: " +
              shown + ", restoration Handler: (null)",
          "Quarnel: -[QuarnelTracker didUpdateUserActivity:] didUpdateUserActivity = " + shown}));
  const std::pair<std::optional<std::string>, std::vector<std::string>> rows[] = {
      {"123", {}},
      {std::nullopt, {validate + "Quarnel Error: appleAppID is missing!"}},
      {"",
       {validate + "Quarnel Error: appleAppID should be a number!", validate + "appleAppID: ''"}},
      {"12a",
       {validate + "Quarnel Error: appleAppID should be a number!",
        validate + "appleAppID: '12a'"}},
  };
  for (const auto& [appID, expected] : rows) {
    tracker.setAppleAppID(appID);
    event();
    EXPECT_EQ(lines("validateAppID"), expected);
  }
}

TEST_F(ReportTest, UpdateDateIsKeptUntilTheVersionChanges) {
  const std::string first = field(launch(), "date3");
  platform.userDefaults()["QuarnelConversionDataRequestRetries"] = 5;
  platform.userDefaults()["QuarnelDate3"] = "kept";
  EXPECT_EQ(field(launch(), "date3"), R"("kept")");
  EXPECT_EQ(platform.userDefaults().count("QuarnelConversionDataRequestRetries"), 1u);
  platform.userDefaults()["QuarnelLastVersion"] = "41";
  EXPECT_EQ(field(launch(), "date3"), first);
  EXPECT_EQ(platform.userDefaults().count("QuarnelConversionDataRequestRetries"), 0u);
}

TEST_F(ReportTest, DeveloperKeyDecidesWhetherAReportIsBuilt) {
  QuarnelTracker& tracker = platform.tracker();
  tracker.setIsDebug(true);
  tracker.setQuarnelDevKey(std::nullopt);
  tracker.trackAppLaunch();
  platform.advance(seconds(1));
  EXPECT_TRUE(platform.requests().empty());
  EXPECT_TRUE(platform.userDefaults().empty()) << "a dropped report must not count";
  EXPECT_TRUE(platform.logged("withDictionary:isEvent:isNewAPI:] Quarnel dev key is missing"));

  platform.log().clear();
  tracker.setQuarnelDevKey("");
  tracker.trackAppLaunch();
  platform.advance(seconds(1));
  EXPECT_TRUE(platform.logged("dev key: missing!!!"));
  EXPECT_EQ(platform.reports("").size(), 1u);
}

TEST_F(ReportTest, ConditionalFieldsFollowTheConfiguration) {
  QuarnelTracker& tracker = platform.tracker();
  tracker.setShouldCollectDeviceName(false);
  tracker.setDeviceTrackingDisabled(true);
  tracker.setCurrencyCode("EURO");
  tracker.setCustomerUserID("bad \xff id");
  tracker.setAdditionalData(Dictionary{{"k", 1.5}, {"url", "a/b"}});
  tracker.setAdditionalData(std::nullopt);  // Changes nothing.
  tracker.setIsDebug(true);
  platform.setWifi(false);
  platform.setDeviceFact("vendorId", std::nullopt);
  platform.setDeviceFact("model", std::nullopt);
  platform.setDeviceFact("currentLanguage", std::nullopt);
  platform.userDefaults()["QuarneliAdAttributionKey"] = false;
  platform.userDefaults()["QuarneliAdPurchaseDate"] = "p";
  platform.userDefaults()["QuarnelReInstallCounter"] = 3;
  platform.userDefaults()["QuarnelOriginalUserId"] = "o";
  platform.userDefaults()["QuarnelConversiondataKey"] = Dictionary{{"c", Value::Array{1}}};
  const Dictionary report = event();
  const std::pair<const char*, const char*> expected[] = {
      {"name", "absent"},
      {"deviceTrackingDisabled", "true"},
      {"currency", R"("EURO")"},
      {"appUID", "\"bad \xEF\xBF\xBD id\""},
      {"customData", R"("{\"k\":1.5,\"url\":\"a/b\"}")"},
      {"wifi", "false"},
      {"vendorId", "absent"},
      {"model", R"("")"},
      {"currentLanguage", R"("")"},
      {"qn_iadattribution", R"("false")"},
      {"qn_iad_purchase_date", R"("p")"},
      {"qn_iad_impression_date", "absent"},
      {"reinstallCounter", "3"},
      {"originalQuarnelId", R"("o")"},
      {"installAttribution", R"({"c":[1]})"},
      {"qn_events_api", "absent"},
  };
  for (const auto& [key, value] : expected) EXPECT_EQ(field(report, key), value) << key;
  EXPECT_TRUE(platform.logged("should be 3 characters!!! 'EURO' is not a legal value."));

  tracker.setAdditionalData(Dictionary{{"when", Date()}});
  EXPECT_EQ(field(event(), "customData"), "absent");
  EXPECT_TRUE(platform.logged("] customData is not valid json data"));
}

TEST_F(ReportTest, Emails) {
  const struct {
    Value::Array emails;
    int type;
    const char* key;
    std::string text;  // Empty: the report is abandoned.
  } cases[] = {
      {{"a@x", "b@x"}, 0, "plain_el_arr=%@", "b@x"},
      {{"a@x", 5}, 0, "plain_el_arr=%@", "a@x,"},
      {{"a", 5}, 0, "plain_el_arr=%@", "a"},
      {{"abc", "abc"},
       2,
       "md5_el_arr=%@",
       "900150983cd24fb0d6963f7d28e17f72,900150983cd24fb0d6963f7d28e17f72"},
      {{"abc", 5, "abc"},
       7,
       "sha1_el_arr=%@",
       "a9993e364706816aba3e25717850c26c9cd0d89d,,a9993e364706816aba3e25717850c26c9cd0d89d"},
      {{5, nullptr}, 1, "", ""},
  };
  platform.tracker().setIsDebug(true);
  for (const auto& item : cases) {
    platform.log().clear();
    platform.tracker().setUserEmails(item.emails, static_cast<EmailCryptType>(item.type));
    if (item.text.empty()) {
      platform.tracker().trackEventWithValue("e", "v");
      platform.advance(seconds(1));
      EXPECT_TRUE(platform.logged("Error could not send url: "));
      EXPECT_TRUE(platform.logged("Warning:: Emails provided are not in the right format."));
    } else {
      EXPECT_EQ(*event().find(item.key), Value(item.text)) << item.key;
    }
  }
  platform.tracker().setUserEmails(Value::Array{}, EmailCryptType::kSha1);
  event();
}

TEST_F(ReportTest, EventValues) {
  QuarnelTracker& tracker = platform.tracker();
  const struct {
    std::optional<Dictionary> values;
    const char* text;
  } cases[] = {
      {std::nullopt, "null"},
      {Dictionary{}, "%7B%7D"},
      {Dictionary{{"a", 1}, {"b", "x,y%"}}, "%7B%22a%22:1%2C%22b%22:%22x%2Cy%25%22%7D"},
      {Dictionary{{"when", Date()}}, ""},
      {Dictionary{{"deep", Value::Array{std::nan("")}}}, ""},
  };
  for (const auto& item : cases) {
    tracker.trackEventWithValues("e", item.values);
    const Dictionary report = next();
    EXPECT_EQ(*report.find("eventvalue"), Value(item.text));
    EXPECT_EQ(field(report, "qn_events_api"), R"("1")");
  }
  tracker.trackLocation(2.35, -48.85);
  const Dictionary location = next();
  EXPECT_EQ(field(location, "event"), R"("qn_location_coordinates")");
  EXPECT_EQ(field(location, "eventvalue"), R"("%7B%22qn_long%22:2.35%2C%22qn_lat%22:-48.85%7D")");
  EXPECT_EQ(platform.requests().back().url.rfind("https://events.quarnel.example/api/v4/", 0), 0u);
}

TEST_F(ReportTest, RevenueLineTellsNumericValues) {
  platform.tracker().setIsDebug(true);
  const std::pair<std::optional<std::string>, bool> cases[] = {
      {"12.50", true},  {"-3", true},   {".", true},          {"", false},
      {"12,50", false}, {"1e5", false}, {std::nullopt, false}};
  for (const auto& [value, isRevenue] : cases) {
    platform.log().clear();
    platform.tracker().trackEventWithValue("level", value);
    EXPECT_EQ(platform.logged("Quarnel: -[QuarnelTracker trackEvent:withValue:] Quarnel: numeric "
                              "value '" +
                              value.value_or("") +
                              "' for event 'level' will be "
                              "categorized as a revenue event."),
              isRevenue);
    EXPECT_EQ(*next().find("eventvalue"), Value(value.value_or("")));
  }
}

TEST_F(ReportTest, QueuesAndDelays) {
  QuarnelTracker& tracker = platform.tracker();
  tracker.trackAppLaunch();
  platform.advance(milliseconds(99));
  EXPECT_TRUE(platform.requests().empty());
  platform.advance(milliseconds(1));
  ASSERT_EQ(platform.requests().size(), 1u);

  tracker.trackEventWithValue("one", "1");  // One millisecond later, by way of the main queue.
  tracker.trackEventWithValues("several", std::nullopt);  // At once.
  while (platform.runNext()) {
  }
  EXPECT_EQ(field(platform.reports(kKey).back(), "event"), R"("several")");
  platform.advance(milliseconds(1));
  EXPECT_EQ(field(platform.reports(kKey).back(), "event"), R"("one")");
  for (const auto& request : platform.requests()) {
    EXPECT_EQ(request.queue, "example.quarnel.QuarnelReports");
  }
}

TEST_F(ReportTest, ShortAbsenceIsNoLaunch) {
  platform.tracker().setIsDebug(true);
  const std::pair<milliseconds, int> cases[] = {
      {milliseconds(4800), 0}, {milliseconds(4900), 0}, {milliseconds(4901), 1}};
  for (const auto& [pause, launches] : cases) {
    const std::size_t before = platform.requests().size();
    platform.post("UIApplicationWillResignActiveNotification");
    platform.advance(pause);
    platform.tracker().trackAppLaunch();
    platform.advance(milliseconds(200));
    EXPECT_EQ(platform.requests().size() - before, static_cast<std::size_t>(launches));
  }
  EXPECT_TRUE(platform.logged("-[QuarnelTracker sendLaunchToServer] Time from launch 5.000000"));
}

TEST_F(ReportTest, LinksAndPushesGoWithTheNextLaunch) {
  QuarnelTracker& tracker = platform.tracker();
  std::vector<std::string> opened;
  QuarnelTrackerDelegate delegate;
  delegate.onAppOpenAttribution = [&](const Dictionary& data) {
    opened.push_back(platform.currentQueue() + *writeJson(data));
    throw std::runtime_error("thrown by the application");
  };
  tracker.setDelegate(&delegate);
  tracker.handleOpenURL("app://x?qn_deeplink=1&a=b", "com.other");
  tracker.handleOpenURL("app://second", "com.second", Dictionary{{"ReferrerURL", "r"}});
  EXPECT_EQ(field(event(), "qn_deeplink"), "absent") << "an event leaves the link pending";
  Dictionary report = launch();
  EXPECT_EQ(field(report, "qn_deeplink"), R"("app://x?qn_deeplink=1&a=b")");
  EXPECT_EQ(field(report, "deeplink_sourceapplication"), R"("com.other")");
  EXPECT_EQ(field(launch(), "qn_deeplink"), "absent") << "a link is reported once";

  tracker.handleOpenURL("app://plain", std::nullopt);
  tracker.continueUserActivity({"other", "https://ignored"}, nullptr);
  tracker.continueUserActivity({NSUserActivityTypeBrowsingWeb, "https://web"}, nullptr);
  tracker.handlePushNotification({{"qn", Dictionary{{"p", 1}}}, {"aps", 2}});
  report = launch();
  EXPECT_EQ(field(report, "qn_deeplink"), R"("{\"p\":1}")") << "the push replaces the link";
  tracker.handlePushNotification({{"qn", "no object"}});
  EXPECT_EQ(field(launch(), "qn_deeplink"), "absent");
  EXPECT_EQ(opened,
            (std::vector<std::string>{R"(main{"qn_deeplink":"1","a":"b","path":"","scheme":"app"})",
                                      R"(main{"link":"https://web"})"}));
}

TEST_F(ReportTest, IdentityOutlivesTheInstallation) {
  platform.setRandomNumbers({0, 9999998, 6});
  const std::string first = platform.tracker().getQuarnelUID();
  EXPECT_EQ(first, "1456333559346-1");
  EXPECT_TRUE(platform.keychain().empty());
  platform.advance(milliseconds(100));
  EXPECT_EQ(platform.keychain()["KCQuarnelId"], first);
  EXPECT_EQ(platform.userDefaults().count("QuarnelOriginalUserId"), 0u);

  for (const char* counter : {"1", "2"}) {
    platform.restartApplication();
    platform.userDefaults().clear();
    const std::string again = platform.tracker().getQuarnelUID();
    platform.advance(seconds(1));
    EXPECT_EQ(again, *counter == '1' ? "1456333559346-9999999" : "1456333559346-7");
    EXPECT_EQ(platform.tracker().getQuarnelUID(), again);
    EXPECT_EQ(platform.userDefaults()["QuarnelOriginalUserId"], Value(first));
    EXPECT_EQ(platform.keychain()["KCQuarnelId"], first);
    EXPECT_EQ(platform.keychain()["KCQuarnelRICounter"], counter);
  }
  platform.userDefaults()["QuarnelUserId"] = "";
  platform.keychain()["KCQuarnelRICounter"] = "garbage";
  EXPECT_FALSE(platform.tracker().getQuarnelUID().empty());
  EXPECT_EQ(platform.userDefaults()["QuarnelReInstallCounter"], Value(1));
}

TEST_F(ReportTest, AdvertisingIdentityComesFromTheHost) {
  HostEnvironment environment;
  environment.setAdvertisingIdentifierProvider([] {
    return AdvertisingIdentity{"6D92078A-8246-4BA4-AE5B-76104861E7DC", true};
  });
  environment.addKnownClass("UnityAppController");
  SimulatedPlatform other(environment);
  other.tracker().setQuarnelDevKey(kKey);
  for (const bool disabled : {false, true}) {
    other.tracker().setDisableAppleAdSupportTracking(disabled);
    other.tracker().trackAppLaunch();
    other.advance(seconds(1));
    const Dictionary report = other.reports(kKey).back();
    EXPECT_EQ(field(report, "advertiserId"),
              disabled ? R"("")" : R"("6D92078A-8246-4BA4-AE5B-76104861E7DC")");
    EXPECT_EQ(field(report, "advertiserIdEnabled"), disabled ? "false" : "true");
    EXPECT_EQ(field(report, "platformextension"), R"("iOS_Unity")");
  }
}

TEST_F(ReportTest, DebugLinesFollowTheSwitchAtTheMomentOfWriting) {
  QuarnelTracker& tracker = platform.tracker();
  ASSERT_EQ(platform.log().size(), 1u);
  EXPECT_EQ(platform.log()[0].text, "Quarnel SDK version 1.0.0 started build");
  platform.log().clear();
  tracker.setCustomerUserID("u");
  tracker.setUseReceiptValidationSandbox(true);
  tracker.setIsDebug(false);
  launch();
  EXPECT_TRUE(platform.log().empty());
  tracker.setIsDebug(true);
  tracker.setCustomerUserID(std::nullopt);
  tracker.setUseReceiptValidationSandbox(false);
  tracker.setShouldCollectDeviceName(true);
  tracker.setAdditionalData(Dictionary{{"d", Date()}});
  const char* expected[] = {
      "Quarnel: -[QuarnelTracker setIsDebug:] * * * Quarnel is set to debug mode. This should only "
      "be used in development enviornment!!!! * * *",
      "Quarnel: -[QuarnelTracker setCustomerUserID:] SetCustomerId = (null)",
      "Quarnel: -[QuarnelTracker setUseReceiptValidationSandbox:] * * * Quarnel is set to verify "
      "in app purchases on Apple sandbox. This should only be used in development "
      "enviornment!!!! * * *",
      "Quarnel: -[QuarnelTracker setShouldCollectDeviceName:] setShouldCollectDeviceName is called "
      "with flag: YES",
      R"(Quarnel: -[QuarnelTracker setAdditionalData:] setCustomData = {"d":"1970-01-01 00:00:00 +0000"})",
  };
  ASSERT_EQ(platform.log().size(), std::size(expected));
  for (std::size_t i = 0; i < std::size(expected); ++i) {
    EXPECT_EQ(platform.log()[i].text, expected[i]);
  }
}

}  // namespace
}  // namespace quarnel
