// The application's life, its session statistics, and the ad client, on the simulated platform.
#include <QuarnelTvOsLib/Notifications.h>
#include <QuarnelTvOsLib/QuarnelTracker.h>
#include <QuarnelTvOsLib/testing/SimulatedPlatform.h>
#include <gtest/gtest.h>

#include "util/Json.h"

namespace quarnel {
namespace {

using std::chrono::milliseconds;
using std::chrono::seconds;
using testing::ScriptedAnswer;
using testing::SimulatedPlatform;

void configure(SimulatedPlatform& platform) {
  platform.tracker().setQuarnelDevKey("k&y");
  platform.tracker().setAppleAppID("1");
  platform.tracker().setIsDebug(true);
}

TEST(LifecycleTest, BackgroundSendsStatisticsAndCountsTheSession) {
  SimulatedPlatform platform;
  configure(platform);
  const std::string uid = platform.tracker().getQuarnelUID();
  const auto body = [&uid](const char* time, const char* counter, const char* timing) {
    return "app_id=1&devkey=k&y&uid=" + uid + "&time_in_app=" + time +
           "&statType=user_closed_app&launch_counter=" + counter +
           "&platform=iOS&gcd_conversion_data_timing=" + timing;
  };
  platform.setAnswer(ScriptedAnswer::response(500));
  platform.post(UIApplicationDidEnterBackgroundNotification);
  platform.advance(seconds(1));
  ASSERT_EQ(platform.requests().size(), 1u);
  EXPECT_EQ(platform.requests()[0].url, "https://stats.quarnel.example/stats?app_id=1");
  EXPECT_EQ(platform.requests()[0].body, body("0", "0", "0.000000"));
  EXPECT_TRUE(platform.requests()[0].isBackground);
  EXPECT_TRUE(platform.logged("didFinishDownloadingToURL:] Response 200 ok."));

  platform.tracker().trackAppLaunch();
  platform.advance(milliseconds(100));
  EXPECT_EQ(*platform.reports("k&y").back().find("sessioncounter"), Value(2));
  platform.userDefaults()["QuarnelGetConversionDataTiming"] = 0.25;
  platform.advance(milliseconds(41'600));
  platform.setAnswer(ScriptedAnswer::failure());
  platform.post(UIApplicationDidEnterBackgroundNotification);
  platform.advance(seconds(1));
  EXPECT_EQ(platform.requests().back().body, body("42", "1", "0.250000"));
  EXPECT_TRUE(
      platform.logged("didCompleteWithError:] task POST https://stats.quarnel.example/"
                      "stats?app_id=1 completed with error: The network is down."));
  EXPECT_TRUE(platform.files().empty()) << "statistics are never cached";
}

TEST(LifecycleTest, VersionAndMultitaskingGates) {
  const struct {
    std::optional<std::string> version;
    const char* multitasking;
    std::size_t requests;
    int sessions;
  } cases[] = {{"6.1", "true", 0, 1}, {"7", "true", 0, 2},    {"7.9", "true", 0, 2},
               {"8", "true", 1, 2},   {"10.0", "true", 1, 2}, {std::nullopt, "true", 1, 2},
               {"9.2", "false", 0, 1}};
  for (const auto& item : cases) {
    HostEnvironment environment;
    environment.setDeviceFact("systemversion", item.version);
    environment.setDeviceFact("multitasking", item.multitasking);
    SimulatedPlatform platform(environment);
    configure(platform);
    platform.post(UIApplicationDidEnterBackgroundNotification);
    platform.advance(seconds(1));
    EXPECT_EQ(platform.requests().size(), item.requests) << item.version.value_or("none");
    platform.tracker().trackAppLaunch();
    platform.advance(seconds(1));
    EXPECT_EQ(*platform.reports("k&y").back().find("sessioncounter"), Value(item.sessions));
  }
}

TEST(LifecycleTest, LaunchOptionsReplaceARecordedLink) {
  SimulatedPlatform platform;
  configure(platform);
  const auto nextLink = [&platform] {
    platform.tracker().trackAppLaunch();
    platform.advance(seconds(1));
    const Dictionary report = platform.reports("k&y").back();
    const Value* link = report.find("qn_deeplink");
    const Value* source = report.find("deeplink_sourceapplication");
    return (link != nullptr ? *link->text() : "none") + " " +
           (source != nullptr ? *source->text() : "none");
  };
  const std::string urlKey(UIApplicationLaunchOptionsURLKey);
  const std::string sourceKey(UIApplicationLaunchOptionsSourceApplicationKey);
  platform.tracker().handleOpenURL("app://opened", std::nullopt);
  platform.post(UIApplicationDidFinishLaunchingNotification);
  EXPECT_EQ(nextLink(), "app://opened none") << "a notification without options changes nothing";
  platform.tracker().handleOpenURL("app://opened", std::nullopt);
  platform.post(UIApplicationDidFinishLaunchingNotification,
                Dictionary{{urlKey, "app://launch"}, {sourceKey, "com.other"}});
  EXPECT_EQ(nextLink(), "app://launch com.other");
  platform.tracker().handleOpenURL("app://opened", std::nullopt);
  platform.post(UIApplicationDidFinishLaunchingNotification, Dictionary{{urlKey, 5}});
  EXPECT_EQ(nextLink(), "none none") << "options without a link clear the recorded one";
}

class AdClientTest : public ::testing::Test {
 protected:
  AdClientTest() : client(std::make_shared<AdClient>()) {
    environment.setAdClientProvider([this] { return client; });
  }

  HostEnvironment environment;
  std::shared_ptr<AdClient> client;
  AdClient::DatesCallback dates;
  AdClient::AttributedCallback attributed;
};

TEST_F(AdClientTest, AnswersGoWithTheLaunchOrSendItAgain) {
  client->requestAttributionDetailsWithBlock = [](const AdClient::DetailsCallback& callback) {
    callback(std::nullopt, Error{});
    callback(Dictionary{{"campaign", 7}}, std::nullopt);
  };
  client->lookupAdConversionDetails = [this](AdClient::DatesCallback callback) {
    dates = std::move(callback);
  };
  SimulatedPlatform platform(environment);
  configure(platform);
  platform.setUtcOffset(std::chrono::hours(1));
  const Date date{seconds(1457186820)};

  platform.tracker().trackAppLaunch();
  dates(date, std::nullopt);  // Before the report is built, and no attribution.
  platform.advance(seconds(1));
  ASSERT_EQ(platform.reports("k&y").size(), 1u);
  Dictionary report = platform.reports("k&y").back();
  EXPECT_EQ(*report.find("qn_iadattribution"), Value("false"));
  EXPECT_EQ(report.find("qn_iad_purchase_date"), nullptr);
  EXPECT_EQ(*report.find("qn_iad_v3_data"), Value(R"({"campaign":7})"));

  platform.tracker().trackAppLaunch();
  platform.advance(seconds(1));
  for (std::size_t answers = 1; answers <= 2; ++answers) {
    dates(date, date - std::chrono::hours(24));  // Late: one more launch for each answer.
    platform.advance(seconds(1));
    EXPECT_EQ(platform.reports("k&y").size(), 2 + answers);
  }
  report = platform.reports("k&y").back();
  EXPECT_EQ(*report.find("qn_iadattribution"), Value("true"));
  EXPECT_EQ(*report.find("qn_iad_purchase_date"), Value("2016-03-05_1507+0100"));
  EXPECT_EQ(*report.find("qn_iad_impression_date"), Value("2016-03-04_1507+0100"));
  EXPECT_TRUE(
      platform.logged("attribution details by iAD: impression: 2016-03-04 14:07:00 +0000"
                      "\tpurchase2016-03-05 14:07:00 +0000"));

  dates = nullptr;
  platform.tracker().trackAppLaunch();
  EXPECT_FALSE(dates) << "an attributed installation is not asked about again";
}

TEST_F(AdClientTest, OlderClientsTellOnlyWhether) {
  client->determineAppInstallationAttributionWithCompletionHandler =
      [this](AdClient::AttributedCallback callback) { attributed = std::move(callback); };
  SimulatedPlatform platform(environment);
  configure(platform);
  platform.tracker().setDisableIAdTracking(true);
  platform.tracker().trackAppLaunch();
  platform.advance(seconds(1));
  EXPECT_FALSE(attributed);
  platform.tracker().setDisableIAdTracking(false);
  platform.tracker().trackAppLaunch();
  platform.advance(seconds(1));
  attributed(false);
  platform.advance(seconds(1));
  EXPECT_EQ(platform.reports("k&y").size(), 2u);
  attributed(true);
  platform.advance(seconds(1));
  EXPECT_EQ(platform.reports("k&y").size(), 3u);
  EXPECT_TRUE(platform.logged("trackAppLaunch]_block_invoke attribution by iAD: 1"));
}

}  // namespace
}  // namespace quarnel
