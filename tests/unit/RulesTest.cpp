// Rules, a row each: the input and its whole outcome.
#include <QuarnelTvOsLib/Notifications.h>

#include <functional>

#include "Scenario.h"
#include "util/Json.h"

namespace quarnel {
namespace {

using std::chrono::hours;
using std::chrono::milliseconds;
using std::chrono::seconds;
using testing::Scenario;
using testing::ScriptedAnswer;

using Step = std::function<void(Scenario&)>;

HostEnvironment wholeEnvironment() {
  HostEnvironment environment;
  environment.setReceiptFile("/receipt");
  environment.setAdvertisingIdentifierProvider([] {
    return AdvertisingIdentity{"6D92078A-8246-4BA4-AE5B-76104861E7DC", true};
  });
  return environment;
}

TEST(RulesTest, FieldsOfALaunch) {
  const auto defaults = [](std::map<std::string, Value> values) {
    return [values](Scenario& s) {
      for (const auto& [key, value] : values) s.platform.userDefaults()[key] = value;
    };
  };
  const auto interfaces = [](std::optional<std::vector<NetworkInterface>> list) {
    return [list](Scenario& s) { s.ports().simulatedDevice.interfaces = list; };
  };
  const auto emails = [](Value::Array list, int type) {
    return [list, type](Scenario& s) {
      s.tracker().setUserEmails(list, static_cast<EmailCryptType>(type));
    };
  };
  const auto tracker = [](auto change) { return [change](Scenario& s) { change(s.tracker()); }; };
  const char* md5 = "900150983cd24fb0d6963f7d28e17f72";
  const char* sha1 = "a9993e364706816aba3e25717850c26c9cd0d89d";
  const auto pair = [](std::string digest) { return '"' + digest + ',' + digest + '"'; };
  const struct {
    Step setup;
    Scenario::Changes changes;
    const char* line;  // One that is logged, and by no other row.
  } rows[] = {
      {[](Scenario& s) { s.platform.files()["/receipt"] = "Ma"; },
       {{"installReceiptData", R"("{\"data\":{\"receipt-data\":\"TWE=\"}}")"}},
       ""},
      {[](Scenario& s) {
         s.platform.files()["/receipt"] = "Ma";
         s.platform.userDefaults()["QuarnelInstallTimestamp"] = "before";
       },
       {},
       "{build} First time = 0 before QuarnelInstallTimestamp"},
      {tracker([](QuarnelTracker& t) { t.setShouldCollectDeviceName(false); }), {{"name", ""}}, ""},
      {tracker([](QuarnelTracker& t) { t.setDeviceTrackingDisabled(true); }),
       {{"deviceTrackingDisabled", "true"}},
       ""},
      {tracker([](QuarnelTracker& t) { t.setDisableAppleAdSupportTracking(true); }),
       {{"advertiserId", R"("")"}, {"advertiserIdEnabled", "false"}},
       ""},
      {tracker([](QuarnelTracker& t) { t.setCurrencyCode("äö€"); }),
       {{"currency", R"("äö€")"}},
       ""},
      {tracker([](QuarnelTracker& t) { t.setCurrencyCode("€U"); }),
       {{"currency", R"("€U")"}},
       "{build} Quarnel WARNING: currency code should be 3 characters!!! '€U' is not a legal "
       "value."},
      {tracker([](QuarnelTracker& t) {
         t.setCustomerUserID("bad \xff id");
         t.setAdditionalData(Dictionary{{"k", 1.5}, {"url", "a/b"}});
         t.setAdditionalData(std::nullopt);
       }),
       {{"appUID", "\"bad \xEF\xBF\xBD id\""}, {"customData", R"("{\"k\":1.5,\"url\":\"a/b\"}")"}},
       ""},
      {tracker([](QuarnelTracker& t) {
         t.setAdditionalData(Dictionary{{"when", Date()}});
       }),
       {},
       "{build} customData is not valid json data"},
      {[](Scenario& s) { s.ports().simulatedDevice.bundle.hasInfoDictionary = false; },
       {{"bundleversion", ""}, {"bundlename", ""}, {"shortbundleversion", ""}},
       ""},
      {[](Scenario& s) {
         s.ports().simulatedDevice.bundle = BundleFacts();
         s.ports().simulatedDevice.bundle.hasInfoDictionary = true;
       },
       {{"bundleIdentifier", R"("")"},
        {"bundleversion", R"("")"},
        {"bundlename", R"("")"},
        {"shortbundleversion", R"("")"}},
       ""},
      {[](Scenario& s) {
         DeviceFacts& facts = s.ports().simulatedDevice.facts;
         const bool isMultitaskingSupported = facts.isMultitaskingSupported;
         facts = {};
         facts.isMultitaskingSupported = isMultitaskingSupported;
       },
       {{"name", R"("")"},
        {"systemname", R"("")"},
        {"systemversion", R"("")"},
        {"model", R"("")"},
        {"localizedmodel", R"("")"},
        {"platform", R"("")"},
        {"vendorId", ""},
        {"currentLanguage", R"("")"},
        {"currentCountrycode", R"("")"}},
       ""},
      {interfaces({{{"en0", false, false}, {"en1", true, false}, {"EN0", true, false}}}),
       {{"wifi", "false"}},
       ""},
      {interfaces({{{"en0", true, true}}}), {{"wifi", "false"}}, ""},
      {interfaces({{{"en0", false, false}, {"en0", true, false}}}), {}, ""},
      {interfaces(std::nullopt), {{"wifi", "false"}}, ""},
      {defaults({{"QuarnelTimePassedSincePrevLaunch", 1440409602.8}}),
       {{"timepassedsincelastlaunch", "16777218"}},
       ""},
      {defaults({{"QuarnelTimePassedSincePrevLaunch", -5}}), {}, ""},
      {defaults({{"QuarnelCounter", 1}, {"QuarnelInAppCounter", 8}}),
       {{"counter", "2"}, {"iaecounter", "8"}, {"firstLaunchDate", R"("")"}},
       "{getInAppCounter:] save in-app counter 8"},
      {defaults({{"QuarnelRealLaunchCounter", 6}}),
       {{"sessioncounter", "7"}},
       "{getRealLaunchCounter] getRealLaunchCounter real lanunch number 6"},
      {defaults({{"QuarnelCounter", "no number"}, {"QuarnelInAppCounter", INT64_MAX}}),
       {{"iaecounter", "2147483647"}},
       ""},
      {defaults({{"QuarnelInstallDate", "i"},
                 {"QuarnelFirstLaunchDate", "f"},
                 {"QuarnelLastVersion", "42"},
                 {"QuarnelDate3", "d"}}),
       {{"date1", R"("i")"}, {"date3", R"("d")"}, {"firstLaunchDate", R"("f")"}},
       "{getVersionUpdateDate:currentUpdateDate:] use date3 from storage"},
      {defaults({{"QuarnelLastVersion", "41"}, {"QuarnelDate3", "d"}}),
       {},
       "{getVersionUpdateDate:currentUpdateDate:] saved version: 41"},
      {defaults({{"QuarneliAdPurchaseDate", "p"}, {"QuarneliAdImpressionDate", "i"}}), {}, ""},
      {defaults({{"QuarneliAdAttributionKey", false}, {"QuarneliAdPurchaseDate", "p"}}),
       {{"qn_iadattribution", R"("false")"}, {"qn_iad_purchase_date", R"("p")"}},
       ""},
      {defaults({{"QuarneliAdAttributionKey", true}, {"QuarneliAdImpressionDate", "i"}}),
       {{"qn_iadattribution", R"("true")"}, {"qn_iad_impression_date", R"("i")"}},
       ""},
      {defaults({{"QuarnelReInstallCounter", 1},
                 {"QuarnelOriginalUserId", "o"},
                 {"QuarnelConversiondataKey", Dictionary{{"c", Value::Array{1}}}}}),
       {{"installAttribution", R"({"c":[1]})"},
        {"reinstallCounter", "1"},
        {"originalQuarnelId", R"("o")"}},
       ""},
      {defaults({{"QuarnelReInstallCounter", 0}, {"QuarnelConversiondataKey", Date()}}), {}, ""},
      {emails({}, 0), {}, ""},
      {emails({"a@x", "b@x"}, 0), {{"plain_el_arr=%@", R"("b@x")"}}, ""},
      {emails({"é", 5}, 0),
       {{"plain_el_arr=%@", R"("é")"}},
       "{build} Warning:: Emails provided are not in the right format."},
      {emails({"éé", 5}, 0), {{"plain_el_arr=%@", R"("éé,")"}}, ""},
      {emails({"abc", "abc"}, 1), {{"sha1_el_arr=%@", pair(sha1)}}, ""},
      {emails({"abc", "abc"}, 2), {{"md5_el_arr=%@", pair(md5)}}, ""},
      {emails({"abc", "abc"}, 3), {{"sha1_el_arr=%@", pair(sha1)}}, ""},
      {[](Scenario& s) { s.tracker().setAppleAppID("12a"); },
       {},
       "{validateAppID] appleAppID: '12a'"},
      {[](Scenario& s) { s.tracker().setAppleAppID(std::nullopt); },
       {},
       "{validateAppID] Quarnel Error: appleAppID is missing!"},
  };
  for (const auto& row : rows) {
    SCOPED_TRACE(&row - rows);
    Scenario scenario(wholeEnvironment());
    scenario.tracker().setIsDebug(true);
    row.setup(scenario);
    scenario.tracker().trackAppLaunch();
    const std::string happened = scenario.after(seconds(1));
    EXPECT_NE(happened.find(row.line), std::string::npos) << happened;
    Scenario::Changes changes = {{"advertiserId", R"("6D92078A-8246-4BA4-AE5B-76104861E7DC")"},
                                 {"advertiserIdEnabled", "true"}};
    changes.insert(changes.end(), row.changes.begin(), row.changes.end());
    scenario.expectReport(changes);
  }
}

TEST(RulesTest, DatesTakeTheOffsetOfTheirMoment) {
  Scenario scenario;
  auto& zone = scenario.ports().simulatedDispatcher;
  zone.setUtcOffset(hours(-3));
  zone.setUtcOffset(Date(seconds(1456531200)), hours(1));  // 27 February.
  zone.setUtcOffset(Date(seconds(1457049600)), hours(2));  // 4 March.
  scenario.tracker().trackAppLaunch();
  scenario.after(seconds(1));
  scenario.expectReport({{"uid", R"("1456340759346-1")"},
                         {"date1", R"("2016-02-24_1405-0300")"},
                         {"date2", R"("2016-02-28_2205+0100")"},
                         {"date3", R"("2016-02-28_2205+0100")"},
                         {"firstLaunchDate", R"("2016-03-05_1607+0200")"}});
}

TEST(RulesTest, LinksAndPushes) {
  const auto open = [](const char* url, std::optional<std::string> source) {
    return [=](Scenario& s) { s.tracker().handleOpenURL(url, source); };
  };
  const auto browse = [](const char* type, std::optional<std::string> url) {
    return [=](Scenario& s) { s.tracker().continueUserActivity({type, url}, nullptr); };
  };
  const auto push = [](const char* key, Value payload) {
    return [=](Scenario& s) { s.tracker().handlePushNotification({{key, payload}}); };
  };
  const auto start = [](Value options) {
    return
        [=](Scenario& s) { s.platform.post(UIApplicationDidFinishLaunchingNotification, options); };
  };
  const std::string url(UIApplicationLaunchOptionsURLKey);
  const std::string source(UIApplicationLaunchOptionsSourceApplicationKey);
  const char* none = "";
  const struct {
    std::vector<Step> steps;
    const char *link, *source, *opened;
  } rows[] = {
      {{open("app://x?qn_deeplink=1&a=b", "com.a"), open("app://second", "com.b")},
       R"("app://x?qn_deeplink=1&a=b")",
       R"("com.a")",
       R"({"qn_deeplink":"1","a":"b","path":"","scheme":"app"})"},
      {{open("app://x", std::nullopt), open("app://y", "com.b")},
       R"("app://x")",
       R"("com.b")",
       R"({"link":"app://x"})"},
      {{open("app://x", "com.a"), browse(NSUserActivityTypeBrowsingWeb, "https://w")},
       R"("https://w")",
       R"("com.a")",
       R"({"link":"https://w"})"},
      {{open("app://x", std::nullopt), browse(NSUserActivityTypeBrowsingWeb, std::nullopt)},
       none,
       none,
       none},
      {{open("app://x", std::nullopt), browse("other", "https://w")},
       R"("app://x")",
       none,
       R"({"link":"app://x"})"},
      {{push("qn", Value::Array{1, "2"})}, R"("[1,\"2\"]")", none, none},
      {{push("qn", Dictionary{{"p", 1}}), push("other", 1)}, none, none, none},
      {{push("qn", "text")}, none, none, none},
      {{open("app://x", "com.a"), push("qn", Dictionary{{"p", 1}})},
       R"("{\"p\":1}")",
       R"("com.a")",
       R"({"link":"app://x"})"},
      {{open("app://x", "com.a"), push("qn", Dictionary{{"p", Date()}})},
       R"("app://x")",
       R"("com.a")",
       R"({"link":"app://x"})"},
      {{open("app://x", "com.a"), start(nullptr)},
       R"("app://x")",
       R"("com.a")",
       R"({"link":"app://x"})"},
      {{open("app://x", "com.a"), start(Dictionary{{url, "app://l"}})},
       R"("app://l")",
       R"("com.a")",
       R"({"link":"app://l"})"},
      {{open("app://x", "com.a"), start(Dictionary{{url, 5}, {source, "com.b"}}),
        open("app://z", std::nullopt)},
       R"("app://z")",
       R"("com.b")",
       R"({"link":"app://z"})"},
  };
  for (const auto& row : rows) {
    SCOPED_TRACE(&row - rows);
    Scenario scenario;
    scenario.delegate.onConversionDataReceived = nullptr;  // Nothing is fetched for it.
    scenario.tracker().setDelegate(&scenario.delegate);
    for (const Step& step : row.steps) step(scenario);
    scenario.tracker().trackEventWithValues("an event leaves them", std::nullopt);
    scenario.after(milliseconds(25));
    scenario.tracker().trackAppLaunch();
    const std::string opened =
        *row.opened != 0 ? "0.101000 main: callback opened " + std::string(row.opened) + "\n" : "";
    EXPECT_EQ(scenario.callbacks(seconds(1)), opened);
    Scenario::Changes changes = {
        {"iaecounter", "1"},       {"timepassedsincelastlaunch", "0.125"},
        {"counter", "1"},          {"timestamp", R"("1457186820.125000")"},
        {"qn_deeplink", row.link}, {"deeplink_sourceapplication", row.source}};
    scenario.expectReport(changes);
    scenario.tracker().trackAppLaunch();
    EXPECT_EQ(scenario.callbacks(seconds(1)), "") << "told once";
    changes[1] = {"timepassedsincelastlaunch", "1"};
    changes[2].second = "2";
    changes[3] = {"timestamp", R"("1457186821.125000")"};
    changes[4].second.clear();
    changes[5].second.clear();
    scenario.expectReport(changes);
  }
}

TEST(RulesTest, AdClients) {
  HostEnvironment environment;
  const auto client = std::make_shared<AdClient>();
  environment.setAdClientProvider([client] { return client; });
  const Date date{seconds(1457186820)};
  AdClient::DetailsCallback details;
  AdClient::DatesCallback dates;
  AdClient::AttributedCallback attributed;
  Scenario scenario(environment);
  scenario.tracker().setIsDebug(true);
  scenario.platform.setUtcOffset(hours(1));
  scenario.now();
  client->requestAttributionDetailsWithBlock = [&](AdClient::DetailsCallback callback) {
    scenario.call("asked for details");
    details = std::move(callback);
  };
  client->determineAppInstallationAttributionWithCompletionHandler =
      [&](AdClient::AttributedCallback callback) {
        scenario.call("asked whether");
        attributed = std::move(callback);
      };
  scenario.tracker().trackAppLaunch();
  EXPECT_EQ(scenario.now(), R"(0.000000 caller: log {trackAppLaunch] Launch
0.000000 caller: log {trackAppLaunch] AdClient supported
0.000000 caller: callback asked for details
0.000000 caller: callback asked whether
)");
  details(Dictionary{{"refused", 1}}, Error{});
  details(Dictionary{{"campaign", 7}}, std::nullopt);
  attributed(true);
  EXPECT_EQ(scenario.now(),
            R"(0.000000 caller: log {trackAppLaunch]_block_invoke attribution by iAD: {"campaign":7}
0.000000 caller: store set QuarneliAdAttributionKey = true
0.000000 caller: store synchronize
)");
  scenario.platform.userDefaults().erase("QuarneliAdAttributionKey");
  scenario.after(seconds(1));

  client->lookupAdConversionDetails = [&](AdClient::DatesCallback callback) {
    scenario.call("asked for dates");
    dates = std::move(callback);
    throw 7;
  };
  scenario.tracker().trackAppLaunch();
  EXPECT_EQ(scenario.now(), R"(0.000000 caller: log {trackAppLaunch] Launch
0.000000 caller: log {trackAppLaunch] AdClient supported
0.000000 caller: callback asked for details
0.000000 caller: callback asked for dates
0.000000 caller: log {trackAppLaunch] exception in the application's code
)");
  dates(date, date);
  scenario.tracker().setIsDebug(false);
  EXPECT_EQ(scenario.callbacks(seconds(1)), "");
  EXPECT_EQ(scenario.platform.requests().size(), 2u) << "an early answer sends nothing again";
  dates(std::nullopt, date);
  attributed(false);
  EXPECT_EQ(scenario.after(seconds(1)),
            R"(0.000000 caller: store set QuarneliAdAttributionKey = false
0.000000 caller: store synchronize
0.000000 caller: store set QuarneliAdAttributionKey = false
0.000000 caller: store synchronize
)");
  dates(date, date - hours(24));
  attributed(true);
  scenario.tracker().setIsDebug(true);
  EXPECT_EQ(scenario.callbacks(seconds(1)), "");
  EXPECT_EQ(scenario.platform.requests().size(), 4u) << "one more for each late answer";
  scenario.expectReport({{"counter", "4"},
                         {"uid", R"("1456337159346-1")"},
                         {"timepassedsincelastlaunch", "0"},
                         {"date1", R"("2016-02-24_1805+0100")"},
                         {"date2", R"("2016-02-28_2205+0100")"},
                         {"date3", R"("2016-02-28_2205+0100")"},
                         {"firstLaunchDate", R"("2016-03-05_1507+0100")"},
                         {"timestamp", R"("1457186823.000000")"},
                         {"qn_iadattribution", R"("true")"},
                         {"qn_iad_purchase_date", R"("2016-03-05_1507+0100")"},
                         {"qn_iad_impression_date", R"("2016-03-04_1507+0100")"},
                         {"qn_iad_v3_data", R"("{\"campaign\":7}")"}});
  scenario.tracker().trackAppLaunch();
  EXPECT_EQ(scenario.callbacks(seconds(1)), "") << "attributed: not asked again";
}

TEST(RulesTest, ConversionData) {
  const std::map<std::string, Value> kept{{"QuarnelUserId", "id"}};
  const auto outcome = [&kept](
                           std::map<std::string, Value> stored, ScriptedAnswer answer,
                           Step between = [](Scenario&) {}, bool isTold = true) {
    Scenario scenario;
    scenario.platform.userDefaults() = kept;
    scenario.platform.userDefaults().merge(stored);
    scenario.platform.setAnswer(std::move(answer).after(milliseconds(250)));
    if (!isTold) scenario.delegate.onConversionDataRequestFailure = nullptr;
    scenario.now();
    scenario.tracker().loadConversionDataWithDelegate(&scenario.delegate);
    between(scenario);
    return scenario.after(seconds(1));
  };
  const char* data = "QuarnelConversiondataKey";
  const char* since = "QuarnelConversionDataCacheExpiration";
  const char* retries = "QuarnelConversionDataRequestRetries";
  const Dictionary old{{"old", 1}};
  const auto ok = [](const char* body) { return ScriptedAnswer::response(200, body); };
  const double day60 = 1457186820 - 5184000;
  EXPECT_EQ(
      outcome({{retries, 4}}, ok(R"({"a":null,"b":[{"c":null}],"iscache":false})")),
      R"(0.000000 caller: http GET https://conversions.quarnel.example/install_data/v3/id1?devkey=k&y&device_id=id
0.250000 session: http 200 GET https://conversions.quarnel.example/install_data/v3/id1?devkey=k&y&device_id=id
0.250000 session: store set QuarnelGetConversionDataTiming = 0.25
0.250000 session: store remove QuarnelConversionDataRequestRetries
0.250000 session: store synchronize
0.250000 session: store set QuarnelConversionDataCacheExpiration = 1457186820.25
0.250000 session: store set QuarnelConversiondataKey = {"b":[{}]}
0.250000 session: store synchronize
0.250000 session: callback data {"b":[{}]}
)");
  EXPECT_EQ(
      outcome({}, ok(R"({"k":1,"iscache":0})")),
      R"(0.000000 caller: http GET https://conversions.quarnel.example/install_data/v3/id1?devkey=k&y&device_id=id
0.250000 session: http 200 GET https://conversions.quarnel.example/install_data/v3/id1?devkey=k&y&device_id=id
0.250000 session: store set QuarnelGetConversionDataTiming = 0.25
0.250000 session: store remove QuarnelConversionDataRequestRetries
0.250000 session: store synchronize
0.250000 session: store set QuarnelConversionDataCacheExpiration = 1457186820.25
0.250000 session: store set QuarnelConversiondataKey = {"k":1}
0.250000 session: store synchronize
0.250000 session: callback data {"k":1}
)");
  EXPECT_EQ(
      outcome({}, ok(R"({"k":1,"iscache":true})")),
      R"(0.000000 caller: http GET https://conversions.quarnel.example/install_data/v3/id1?devkey=k&y&device_id=id
0.250000 session: http 200 GET https://conversions.quarnel.example/install_data/v3/id1?devkey=k&y&device_id=id
0.250000 session: store set QuarnelGetConversionDataTiming = 0.25
0.250000 session: store remove QuarnelConversionDataRequestRetries
0.250000 session: store synchronize
0.250000 session: store set QuarnelConversiondataKey = {"k":1}
0.250000 session: store synchronize
0.250000 session: callback data {"k":1}
)");
  EXPECT_EQ(
      outcome({}, ok("[1]")),
      R"(0.000000 caller: http GET https://conversions.quarnel.example/install_data/v3/id1?devkey=k&y&device_id=id
0.250000 session: http 200 GET https://conversions.quarnel.example/install_data/v3/id1?devkey=k&y&device_id=id
0.250000 session: store set QuarnelGetConversionDataTiming = 0.25
0.250000 session: store remove QuarnelConversionDataRequestRetries
0.250000 session: store synchronize
0.250000 session: callback failure example.quarnel.ErrorDomain 0 Quarnel bad JSON response.
)");
  EXPECT_EQ(
      outcome({}, ok("{")),
      R"(0.000000 caller: http GET https://conversions.quarnel.example/install_data/v3/id1?devkey=k&y&device_id=id
0.250000 session: http 200 GET https://conversions.quarnel.example/install_data/v3/id1?devkey=k&y&device_id=id
0.250000 session: store set QuarnelGetConversionDataTiming = 0.25
0.250000 session: store remove QuarnelConversionDataRequestRetries
0.250000 session: store synchronize
0.250000 session: callback failure QuarnelJSONError 4 Missing a name for object member. (around byte 1)
)");
  EXPECT_EQ(
      outcome({}, ScriptedAnswer::response(399)),
      R"(0.000000 caller: http GET https://conversions.quarnel.example/install_data/v3/id1?devkey=k&y&device_id=id
0.250000 session: http 399 GET https://conversions.quarnel.example/install_data/v3/id1?devkey=k&y&device_id=id
0.250000 session: callback failure example.quarnel.ErrorDomain 399 Quarnel error response from server. Check your Quarnel key and Apple app ID.
)");
  EXPECT_EQ(
      outcome({}, ScriptedAnswer::response(400)),
      R"(0.000000 caller: http GET https://conversions.quarnel.example/install_data/v3/id1?devkey=k&y&device_id=id
0.250000 session: http 400 GET https://conversions.quarnel.example/install_data/v3/id1?devkey=k&y&device_id=id
0.250000 session: store set QuarnelConversionDataRequestRetries = 1
0.250000 session: store synchronize
0.250000 session: callback failure example.quarnel.ErrorDomain 400 Quarnel error response from server. Check your Quarnel key and Apple app ID.
)");
  EXPECT_EQ(
      outcome({{retries, 4}}, ScriptedAnswer::response(499)),
      R"(0.000000 caller: http GET https://conversions.quarnel.example/install_data/v3/id1?devkey=k&y&device_id=id
0.250000 session: http 499 GET https://conversions.quarnel.example/install_data/v3/id1?devkey=k&y&device_id=id
0.250000 session: store set QuarnelConversionDataRequestRetries = 5
0.250000 session: store synchronize
0.250000 session: callback failure example.quarnel.ErrorDomain 499 Quarnel error response from server. Check your Quarnel key and Apple app ID.
)");
  EXPECT_EQ(
      outcome({}, ScriptedAnswer::response(500)),
      R"(0.000000 caller: http GET https://conversions.quarnel.example/install_data/v3/id1?devkey=k&y&device_id=id
0.250000 session: http 500 GET https://conversions.quarnel.example/install_data/v3/id1?devkey=k&y&device_id=id
0.250000 session: callback failure example.quarnel.ErrorDomain 500 Quarnel error response from server. Check your Quarnel key and Apple app ID.
)");
  EXPECT_EQ(
      outcome(
          {}, ScriptedAnswer::response(404), [](Scenario&) {}, false),
      R"(0.000000 caller: http GET https://conversions.quarnel.example/install_data/v3/id1?devkey=k&y&device_id=id
0.250000 session: http 404 GET https://conversions.quarnel.example/install_data/v3/id1?devkey=k&y&device_id=id
)");
  EXPECT_EQ(
      outcome({}, ScriptedAnswer::failure()),
      R"(0.000000 caller: http GET https://conversions.quarnel.example/install_data/v3/id1?devkey=k&y&device_id=id
0.250000 session: http failure GET https://conversions.quarnel.example/install_data/v3/id1?devkey=k&y&device_id=id
0.251000 main: callback failure SimulatedNetwork 7 The network is down.
)");
  EXPECT_EQ(outcome({{retries, 5}}, ok("{}")), "");
  EXPECT_EQ(outcome({{data, old}, {since, day60}, {retries, 9}}, ok("{}")),
            R"(0.001000 main: callback data {"old":1}
)");
  EXPECT_EQ(outcome({{data, old}, {since, day60 - 1}}, ScriptedAnswer::failure()),
            R"(0.000000 caller: store set QuarnelConversionDataCacheExpiration = 0
0.000000 caller: http GET https://conversions.quarnel.example/install_data/v3/id1?devkey=k&y&device_id=id
0.250000 session: http failure GET https://conversions.quarnel.example/install_data/v3/id1?devkey=k&y&device_id=id
0.251000 main: callback failure SimulatedNetwork 7 The network is down.
)");
  EXPECT_EQ(
      outcome({}, ok("{}"), [](Scenario& s) { s.tracker().setDelegate(nullptr); }),
      R"(0.000000 caller: http GET https://conversions.quarnel.example/install_data/v3/id1?devkey=k&y&device_id=id
0.250000 session: http 200 GET https://conversions.quarnel.example/install_data/v3/id1?devkey=k&y&device_id=id
)");
  EXPECT_EQ(
      outcome({}, ok("{}"), [](Scenario& s) { s.tracker().setAppleAppID("1 2"); }),
      R"(0.000000 caller: http GET https://conversions.quarnel.example/install_data/v3/id1?devkey=k&y&device_id=id
0.250000 session: http 200 GET https://conversions.quarnel.example/install_data/v3/id1?devkey=k&y&device_id=id
0.250000 session: store set QuarnelGetConversionDataTiming = 0.25
0.250000 session: store remove QuarnelConversionDataRequestRetries
0.250000 session: store synchronize
0.250000 session: store set QuarnelConversiondataKey = {}
0.250000 session: store synchronize
0.250000 session: callback data {}
)");
}

TEST(RulesTest, PurchaseValidation) {
  const auto outcome = [](
                           ScriptedAnswer answer, Step setup = [](Scenario&) {},
                           std::optional<Dictionary> parameters = std::nullopt) {
    Scenario scenario(wholeEnvironment());
    scenario.platform.userDefaults()["QuarnelUserId"] = "id";
    scenario.platform.files()["/receipt"] = "Ma";
    scenario.platform.setAnswer(Endpoint::kServices, std::move(answer).after(milliseconds(250)));
    scenario.tracker().setIsDebug(true);
    setup(scenario);
    scenario.now();
    scenario.tracker().validateAndTrackInAppPurchase(
        "p1", 4.99, "EUR", "t1", std::move(parameters),
        [&](const Dictionary& answered) { scenario.call("success " + describe(answered)); },
        [&](const std::optional<Error>& error, const std::optional<Value>& answered) {
          scenario.call("failure " + (error ? error->description : "no error") + " " +
                        (answered ? describe(*answered) : "no answer"));
        });
    std::string text = scenario.after(milliseconds(200));
    text += scenario.after(milliseconds(50));
    const auto report = text.find(" reports: ");
    text = text.substr(0, text.rfind('\n', report) + 1);
    const auto reports = scenario.platform.reports("k&y");
    if (!reports.empty()) text += *reports.back().find("eventvalue")->text() + "\n";
    return text;
  };
  const auto ok = [](const char* body) { return ScriptedAnswer::response(500, body); };
  EXPECT_EQ(
      outcome(
          ok(R"({"status":0,"receipt":{"in_app":[{"transaction_id":"t0"},)"
             R"({"transaction_id":"t1"},{"transaction_id":"t1"}]}})"),
          [](Scenario& s) { s.tracker().setUseReceiptValidationSandbox(true); },
          Dictionary{{"k", "v"}}),
      R"(0.000000 example.quarnel.QuarnelPurchases: log {validate} parameters = {"data":{"receipt-data":"TWE="},"quarnelId":"id","appDevKey":"k&y","appId":"1","sandbox":"true","url":"https://services.quarnel.example/validate-ios-receipt"}
0.000000 example.quarnel.QuarnelPurchases: log {handler sendPOSTRequest:complitionBlock:] url = https://services.quarnel.example/validate-ios-receipt?app_id=1&quarnel_id=id&dev_key=k&y&sandbox=true
0.000000 example.quarnel.QuarnelPurchases: log {handler sendPOSTRequest:complitionBlock:] Quarnel: sending request to server 
0.000000 example.quarnel.QuarnelPurchases: http POST https://services.quarnel.example/validate-ios-receipt?app_id=1&quarnel_id=id&dev_key=k&y&sandbox=true
  Accept: application/json
  Content-Type: application/json
  {"receipt-data":"TWE="}
0.050000 session: http 500 POST https://services.quarnel.example/validate-ios-receipt?app_id=1&quarnel_id=id&dev_key=k&y&sandbox=true
0.050000 session: log {validate}_block_invoke Succeeded validating receipt
0.050000 session: callback success {"status":0,"receipt":{"in_app":[{"transaction_id":"t0"},{"transaction_id":"t1"},{"transaction_id":"t1"}]}}
%7B%22qn_revenue%22:4.99%2C%22qn_validated%22:%22true%22%2C%22qn_content_id%22:%22p1%22%2C%22qn_currency%22:%22EUR%22%2C%22qn_quantity%22:1%2C%22qn_param_1%22:%7B%22k%22:%22v%22%7D%7D
)");
  EXPECT_EQ(
      outcome(ok(R"({"status":21002})")),
      R"(0.000000 example.quarnel.QuarnelPurchases: log {validate} parameters = {"data":{"receipt-data":"TWE="},"quarnelId":"id","appDevKey":"k&y","appId":"1","sandbox":"false","url":"https://services.quarnel.example/validate-ios-receipt"}
0.000000 example.quarnel.QuarnelPurchases: log {handler sendPOSTRequest:complitionBlock:] url = https://services.quarnel.example/validate-ios-receipt?app_id=1&quarnel_id=id&dev_key=k&y&sandbox=false
0.000000 example.quarnel.QuarnelPurchases: log {handler sendPOSTRequest:complitionBlock:] Quarnel: sending request to server 
0.000000 example.quarnel.QuarnelPurchases: http POST https://services.quarnel.example/validate-ios-receipt?app_id=1&quarnel_id=id&dev_key=k&y&sandbox=false
  Accept: application/json
  Content-Type: application/json
  {"receipt-data":"TWE="}
0.050000 session: http 500 POST https://services.quarnel.example/validate-ios-receipt?app_id=1&quarnel_id=id&dev_key=k&y&sandbox=false
0.050000 session: log {validate}_block_invoke Failed validating receipt = {"status":21002}
0.050000 session: callback failure no error {"status":21002}
%7B%22qn_revenue%22:4.99%2C%22qn_validated%22:%22false%22%2C%22qn_content_id%22:%22p1%22%2C%22qn_currency%22:%22EUR%22%2C%22qn_quantity%22:1%7D
)");
  EXPECT_EQ(
      outcome(ok(R"({"status":0,"receipt":{"in_app":[]}})"),
              [](Scenario& s) { s.tracker().setAppleAppID(std::nullopt); }),
      R"(0.000000 example.quarnel.QuarnelPurchases: log {validate} parameters = {"data":{"receipt-data":"TWE="},"quarnelId":"id","appDevKey":"k&y","sandbox":"false","url":"https://services.quarnel.example/validate-ios-receipt"}
0.000000 example.quarnel.QuarnelPurchases: log {handler sendPOSTRequest:complitionBlock:] url = https://services.quarnel.example/validate-ios-receipt?app_id=(null)&quarnel_id=id&dev_key=k&y&sandbox=false
0.000000 example.quarnel.QuarnelPurchases: log {handler sendPOSTRequest:complitionBlock:] Quarnel: sending request to server 
0.000000 example.quarnel.QuarnelPurchases: http POST https://services.quarnel.example/validate-ios-receipt?app_id=(null)&quarnel_id=id&dev_key=k&y&sandbox=false
  Accept: application/json
  Content-Type: application/json
  {"receipt-data":"TWE="}
0.050000 session: http 500 POST https://services.quarnel.example/validate-ios-receipt?app_id=(null)&quarnel_id=id&dev_key=k&y&sandbox=false
0.050000 session: log {validate}_block_invoke Transaction not found in receipt data - validation failed.
0.050000 session: callback failure no error {"status":0,"receipt":{"in_app":[]}}
%7B%22qn_revenue%22:4.99%2C%22qn_validated%22:%22false%22%2C%22qn_content_id%22:%22p1%22%2C%22qn_currency%22:%22EUR%22%2C%22qn_quantity%22:1%7D
)");
  EXPECT_EQ(
      outcome(ScriptedAnswer::failure()),
      R"(0.000000 example.quarnel.QuarnelPurchases: log {validate} parameters = {"data":{"receipt-data":"TWE="},"quarnelId":"id","appDevKey":"k&y","appId":"1","sandbox":"false","url":"https://services.quarnel.example/validate-ios-receipt"}
0.000000 example.quarnel.QuarnelPurchases: log {handler sendPOSTRequest:complitionBlock:] url = https://services.quarnel.example/validate-ios-receipt?app_id=1&quarnel_id=id&dev_key=k&y&sandbox=false
0.000000 example.quarnel.QuarnelPurchases: log {handler sendPOSTRequest:complitionBlock:] Quarnel: sending request to server 
0.000000 example.quarnel.QuarnelPurchases: http POST https://services.quarnel.example/validate-ios-receipt?app_id=1&quarnel_id=id&dev_key=k&y&sandbox=false
  Accept: application/json
  Content-Type: application/json
  {"receipt-data":"TWE="}
0.050000 session: http failure POST https://services.quarnel.example/validate-ios-receipt?app_id=1&quarnel_id=id&dev_key=k&y&sandbox=false
0.050000 session: log {handler sendPOSTRequest:complitionBlock:]_block_invoke Quarnel Connection failed! Error - The network is down.
0.050000 session: log {validate}_block_invoke Failed validating receipt = The network is down.
0.050000 session: callback failure The network is down. no answer
%7B%22qn_revenue%22:4.99%2C%22qn_validated%22:%22false%22%2C%22qn_content_id%22:%22p1%22%2C%22qn_currency%22:%22EUR%22%2C%22qn_quantity%22:1%7D
)");
  EXPECT_EQ(
      outcome(ok("{"), [](Scenario& s) { s.tracker().setIsDebug(false); }),
      R"(0.000000 example.quarnel.QuarnelPurchases: http POST https://services.quarnel.example/validate-ios-receipt?app_id=1&quarnel_id=id&dev_key=k&y&sandbox=false
  Accept: application/json
  Content-Type: application/json
  {"receipt-data":"TWE="}
0.050000 session: http 500 POST https://services.quarnel.example/validate-ios-receipt?app_id=1&quarnel_id=id&dev_key=k&y&sandbox=false
0.050000 session: callback failure Missing a name for object member. (around byte 1) no answer
%7B%22qn_revenue%22:4.99%2C%22qn_validated%22:%22false%22%2C%22qn_content_id%22:%22p1%22%2C%22qn_currency%22:%22EUR%22%2C%22qn_quantity%22:1%7D
)");
  EXPECT_EQ(
      outcome(ok("{}"), [](Scenario& s) { s.platform.files().clear(); }),
      R"(0.000000 example.quarnel.QuarnelPurchases: log {validate}_block_invoke Failed validating receipt = no store receipt
0.000000 example.quarnel.QuarnelPurchases: callback failure no store receipt no answer
%7B%22qn_revenue%22:4.99%2C%22qn_validated%22:%22false%22%2C%22qn_content_id%22:%22p1%22%2C%22qn_currency%22:%22EUR%22%2C%22qn_quantity%22:1%7D
)");
  EXPECT_EQ(
      outcome(ok("{}"), [](Scenario& s) { s.platform.setDeviceFact("systemversion", "6.9"); }), "");
}

}  // namespace
}  // namespace quarnel
