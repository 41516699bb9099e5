// What an installation reports in its life, as it arrives at the collector.
#include <gtest/gtest.h>

#include <filesystem>

#include "Applications.h"

namespace e2e {
namespace {

const std::string kDate = R"("[0-9]{4}-[0-9][0-9]-[0-9][0-9]_[0-9]{4}[+-][0-9]{4}")";
const std::string kUid = R"("[0-9]+-[1-9][0-9]{0,6}")";

// A field's name and an extended regular expression for its JSON text.
using Fields = std::vector<std::pair<std::string, std::string>>;

void expectFields(const Report& report, const Fields& expected) {
  const auto actual = report.fields();
  ASSERT_EQ(actual.size(), expected.size()) << report.about("body");
  for (std::size_t at = 0; at < expected.size(); ++at) {
    EXPECT_EQ(actual[at].first, expected[at].first);
    const testing::Matcher<std::string> matcher = testing::MatchesRegex(expected[at].second);
    EXPECT_TRUE(matcher.Matches(actual[at].second))
        << actual[at].first << " is " << actual[at].second << ", not " << expected[at].second;
  }
}

// The fields of every report of this device, with those that differ between reports.
Fields reportFields(const Fields& counters, const Fields& event) {
  Fields fields{{"uid", kUid},
                {"serverApiVersion", "\"4\""},
                {"name", "\"Den\""},
                {"systemname", "\"tvOS\""},
                {"systemversion", "\"9.2\""},
                {"model", "\"Box\""},
                {"localizedmodel", "\"Kasten\""},
                {"platform", "\"AppleTV5;3\""},
                {"platformextension", "\"iOS_Native\""}};
  fields.insert(fields.end(), counters.begin(), counters.end());
  fields.insert(fields.end(), {{"advertiserId", "\"6D92078A-8246-4BA4-AE5B-76104861E7DC\""},
                               {"advertiserIdEnabled", "true"},
                               {"bundleIdentifier", "\"example.quarnel.host\""},
                               {"vendorId", "\"9B4C0A9F-0B6E-4F5E-8B39-6E3A3C1D2F10\""},
                               {"bundleversion", "\"7.1\""},
                               {"bundlename", "\"quarnel-host\""},
                               {"shortbundleversion", "\"7.1\""},
                               {"date1", kDate},
                               {"date2", kDate},
                               {"date3", kDate},
                               {"firstLaunchDate", kDate},
                               {"currentLanguage", "\"en-US\""},
                               {"currentCountrycode", "\"US\""},
                               {"timestamp", R"("[0-9]+\.[0-9]{6}")"}});
  fields.insert(fields.end(), event.begin(), event.end());
  fields.emplace_back("wifi", "true");
  return fields;
}

void expectRequest(const Report& report, const std::string& kind, const std::string& host) {
  EXPECT_EQ(report.about("kind"), kind);
  EXPECT_EQ(report.about("host"), host);
  EXPECT_EQ(report.about("path"), "/api/v4/iosevent");
  EXPECT_EQ(report.about("query"), "app_id=123456789&buildnumber=1.0.0");
  EXPECT_EQ(report.header("Accept"), "application/json");
  EXPECT_EQ(report.header("Content-Type"), "application/json");
}

class InstallationTest : public testing::Test {
 protected:
  std::string state() const { return folder_.path("state"); }

  TemporaryFolder folder_;
  Collector collector_{folder_.path("collector")};
};

TEST_F(InstallationTest, FreshInstallReportsLaunchThenEvents) {
  const std::string device =
      R"({"name": "Den", "systemname": "tvOS", "systemversion": 9.2, "model": "Box",)"
      R"( "localizedmodel": "Kasten", "platform": "AppleTV5,3", "currentLanguage": "en-US",)"
      R"( "vendorId": "9B4C0A9F-0B6E-4F5E-8B39-6E3A3C1D2F10", "currentCountrycode": "US",)"
      R"( "wifi": true})";
  const std::string events = collector_.address("127.0.0.1");
  Host host(state(), reportingTo(collector_, {"--events-host", events, "--device", device,
                                              "--bundle-version", "7.1"}));
  host.run(R"(["advertising",{"identifier":"6D92078A-8246-4BA4-AE5B-76104861E7DC",)"
           R"("enabled":true}])");
  host.run(R"(["trackAppLaunch"])");
  const Report launch = collector_.next();
  expectRequest(launch, "launch", collector_.address());
  expectFields(launch, reportFields({{"counter", "1"},
                                     {"sessioncounter", "1"},
                                     {"iaecounter", "0"},
                                     {"timepassedsincelastlaunch", R"(-1(\.0)?)"}},
                                    {{"event", "\"Launched\""}, {"eventvalue", "\"\""}}));

  host.run(R"(["trackEvent:withValues:","purchase",{"qn_revenue":9.99,"note":"50% off, now"}])");
  const Report purchase = collector_.next();
  expectRequest(purchase, "event", events);
  expectFields(purchase,
               reportFields({{"counter", "1"},
                             {"sessioncounter", "1"},
                             {"iaecounter", "1"},
                             {"timepassedsincelastlaunch", R"([0-9]+\.[0-9]+(e-[0-9]+)?)"},
                             {"qn_events_api", "\"1\""}},
                            {{"event", "\"purchase\""},
                             {"eventvalue",
                              "\"%7B%22qn_revenue%22:9\\.99%2C%22note%22:"
                              "%2250%25%20off%2C%20now%22%7D\""}}));
  EXPECT_EQ(purchase.field("uid"), launch.field("uid"));

  host.run(R"(["set","shouldCollectDeviceName",false])");
  host.run(R"(["set","deviceTrackingDisabled",true])");
  host.run(R"(["set","disableAppleAdSupportTracking",true])");
  host.run(R"(["set","currencyCode","EUR"])");
  host.run(R"(["set","customerUserID","u-1"])");
  host.run(R"(["setAdditionalData:",{"plan":"gold"}])");
  host.run(R"(["setUserEmails:withCryptType:",["a@b.c","abc"],1])");
  host.run(R"(["trackEvent:withValue:","level","12.50"])");
  const Report level = collector_.next();
  const std::vector<std::pair<std::string, std::optional<std::string>>> differences = {
      {"name", std::nullopt},
      {"qn_events_api", std::nullopt},
      {"iaecounter", "2"},
      {"deviceTrackingDisabled", "true"},
      {"advertiserId", "\"\""},
      {"advertiserIdEnabled", "false"},
      {"currency", "\"EUR\""},
      {"eventvalue", "\"12.50\""},
      {"appUID", "\"u-1\""},
      {"customData", quoted(R"({"plan":"gold"})")},
      {"sha1_el_arr=%@",
       "\"e2d6a40c8b4d3e6a2779ba1802ef29d13940a051,"
       "a9993e364706816aba3e25717850c26c9cd0d89d\""},
  };
  for (const auto& [name, value] : differences) EXPECT_EQ(level.field(name), value) << name;
  EXPECT_EQ(host.finish(), 0);
}

TEST_F(InstallationTest, DeepLinkIsReportedOnceAndToldOnTheMainQueue) {
  Host host(state(), reportingTo(collector_));
  host.run(R"(["delegate",["onAppOpenAttribution:"]])");
  host.run(R"(["handleOpenURL:sourceApplication:","app://x/y?qn_deeplink=1&a=b%20c","com.other"])");
  host.run(R"(["trackAppLaunch"])");
  const Report first = collector_.next();
  EXPECT_EQ(first.field("qn_deeplink"), quoted("app://x/y?qn_deeplink=1&a=b%20c"));
  EXPECT_EQ(first.field("deeplink_sourceapplication"), "\"com.other\"");
  EXPECT_EQ(host.next(), R"({"callback":"onAppOpenAttribution:","queue":"main","arguments":)"
                         R"([{"qn_deeplink":"1","a":"b c","path":"/y","scheme":"app"}]})");

  host.run(R"(["trackAppLaunch"])");
  EXPECT_EQ(collector_.next().field("qn_deeplink"), std::nullopt);
}

TEST_F(InstallationTest, IdentityAndCountersOutliveEveryKindOfEnd) {
  enum class End { kInput, kQuit, kKill };
  std::optional<std::string> uid;
  int launches = 0;
  for (const End end : {End::kInput, End::kKill, End::kQuit, End::kKill, End::kInput}) {
    Host host(state(), reportingTo(collector_));
    host.run(R"(["trackAppLaunch"])");
    const Report launch = collector_.next();
    host.run(R"(["trackEvent:withValue:","e",null])");
    const Report event = collector_.next();
    ++launches;
    if (!uid) uid = launch.field("uid");
    for (const Report* report : {&launch, &event}) {
      EXPECT_EQ(report->field("uid"), uid);
      EXPECT_EQ(report->field("counter"), std::to_string(launches));
    }
    EXPECT_EQ(event.field("iaecounter"), std::to_string(launches));

    // The report has arrived, so what it counted must be on disk.
    if (end == End::kKill) {
      host.kill();
    } else if (end == End::kQuit) {
      host.run(R"(["quit"])");
      EXPECT_EQ(host.wait(), 0);
    } else {
      EXPECT_EQ(host.finish(), 0);
    }
  }
}

TEST_F(InstallationTest, ReinstallationsAreRecognisedByTheKeychain) {
  const auto options = reportingTo(collector_, {"--keychain", folder_.path("keychain.db")});
  std::optional<std::string> original;
  std::optional<std::string> previous;
  for (int reinstallations = 0; reinstallations <= 2; ++reinstallations) {
    Host host(state(), options);
    host.run(R"(["trackAppLaunch"])");
    const Report launch = collector_.next();
    EXPECT_EQ(launch.field("counter"), "1");
    EXPECT_NE(launch.field("uid"), previous);
    previous = launch.field("uid");
    if (reinstallations == 0) {
      original = launch.field("uid");
      EXPECT_EQ(launch.field("reinstallCounter"), std::nullopt);
      EXPECT_EQ(launch.field("originalQuarnelId"), std::nullopt);
    } else {
      EXPECT_EQ(launch.field("reinstallCounter"), std::to_string(reinstallations));
      EXPECT_EQ(launch.field("originalQuarnelId"), original);
    }
    EXPECT_EQ(host.finish(), 0);
    std::filesystem::remove_all(state());
  }
}

}  // namespace
}  // namespace e2e
