// How an application tests what it does with the tracker: time, network and answers are the test's.
#include <QuarnelTvOsLib/testing/ReportFields.h>
#include <QuarnelTvOsLib/testing/SimulatedPlatform.h>
#include <gtest/gtest.h>

#include <algorithm>
#include <optional>

#include "Cinema.h"

namespace cinema {
namespace {

using quarnel::Endpoint;
using quarnel::testing::eventValues;
using quarnel::testing::reportField;
using quarnel::testing::ScriptedAnswer;
using quarnel::testing::SimulatedPlatform;
using std::chrono::hours;
using std::chrono::seconds;

constexpr const char* kKey = "developer-key";

quarnel::HostEnvironment withReceipt() {
  quarnel::HostEnvironment environment;
  environment.setReceiptFile("/receipt");
  return environment;
}

class CinemaTest : public testing::Test {
 protected:
  CinemaTest() : platform(withReceipt()) {
    platform.files()["/receipt"] = "what the store has signed";
    startProcess();
  }

  // A new process of the application; what it had stored is still there.
  void startProcess() {
    platform.restartApplication();
    platform.tracker().setQuarnelDevKey(kKey);
    platform.tracker().setAppleAppID("123456789");
    cinema.emplace(platform.tracker());
  }

  // The minutes of all "watched" events that the service has, in the order of their arrival.
  std::vector<std::int64_t> minutesDelivered() {
    std::vector<std::int64_t> minutes;
    for (const auto& report : platform.deliveredReports(kKey)) {
      if (reportField(report, "event") != "watched") continue;
      minutes.push_back(*eventValues(report)->find("minutes")->integer());
    }
    return minutes;
  }

  SimulatedPlatform platform;
  std::optional<Cinema> cinema;
};

TEST_F(CinemaTest, TheCampaignDecidesWhatIsOnTheFirstScreen) {
  const struct {
    ScriptedAnswer answer;
    const char* screen;
  } cases[] = {
      {ScriptedAnswer::response(200, R"({"campaign": "spring"})"), "shelf of spring"},
      {ScriptedAnswer::response(200, R"({"status": "Organic"})"), "popular"},
      {ScriptedAnswer::response(200, R"({"campaign": 7})"), "popular"},
      {ScriptedAnswer::response(200, "no JSON"), "popular"},
      {ScriptedAnswer::response(404), "popular"},
      {ScriptedAnswer::failure(), "popular"},
      {ScriptedAnswer::silence(), "popular"},
      {ScriptedAnswer::response(200, R"({"campaign": "late"})").after(seconds(30)), "popular"},
  };
  for (const auto& item : cases) {
    SimulatedPlatform fresh;
    fresh.tracker().setQuarnelDevKey(kKey);
    fresh.tracker().setAppleAppID("1");
    Cinema installed(fresh.tracker());
    fresh.setAnswer(Endpoint::kConversion, item.answer);
    installed.start();
    fresh.advance(seconds(10));
    EXPECT_EQ(installed.firstScreen(), item.screen) << item.answer.body;
  }
}

TEST_F(CinemaTest, ALinkLeadsToItsFilm) {
  cinema->startFrom("cinema://open?film=7&qn_deeplink=1");
  platform.advance(seconds(1));
  EXPECT_EQ(cinema->firstScreen(), "film 7");
}

TEST_F(CinemaTest, ADayWithoutNetworkLosesNothing) {
  platform.setAnswer(ScriptedAnswer::failure());
  cinema->start();
  for (int minutes = 1; minutes <= 20; ++minutes) {
    cinema->watched("Räuber", minutes);
    platform.advance(hours(1));
    if (minutes == 10) startProcess();  // The viewer pulls the plug in between.
  }
  EXPECT_TRUE(minutesDelivered().empty());

  platform.setAnswer(ScriptedAnswer::response(200));
  cinema->watched("Räuber", 21);
  platform.advance(hours(1));
  std::vector<std::int64_t> minutes = minutesDelivered();
  ASSERT_EQ(minutes.size(), 21u);
  std::sort(minutes.begin(), minutes.end());
  for (int at = 0; at < 21; ++at) EXPECT_EQ(minutes[at], at + 1) << "each of them once";
}

TEST_F(CinemaTest, OnlyAConfirmedPurchaseUnlocksTheFilm) {
  const struct {
    ScriptedAnswer answer;
    bool owns;
  } cases[] = {
      {ScriptedAnswer::failure(), false},
      {ScriptedAnswer::response(200, R"({"status": 21002})"), false},
      {ScriptedAnswer::response(
           200, R"({"status": 0, "receipt": {"in_app": [{"transaction_id": "another"}]}})"),
       false},
      {ScriptedAnswer::response(
           200, R"({"status": 0, "receipt": {"in_app": [{"transaction_id": "t1"}]}})"),
       true},
  };
  for (const auto& item : cases) {
    platform.setAnswer(Endpoint::kServices, item.answer);
    cinema->buy("film-7", 4.99, "t1");
    platform.advance(seconds(1));
    EXPECT_EQ(cinema->owns("film-7"), item.owns) << item.answer.body;
  }
}

}  // namespace
}  // namespace cinema
