// What becomes of reports, and how many may wait, on the simulated platform.
#include <QuarnelTvOsLib/HostEnvironment.h>
#include <QuarnelTvOsLib/Notifications.h>
#include <QuarnelTvOsLib/QuarnelTracker.h>
#include <QuarnelTvOsLib/testing/SimulatedPlatform.h>
#include <gtest/gtest.h>

namespace quarnel {
namespace {

using std::chrono::seconds;
using testing::ScriptedAnswer;
using testing::SimulatedPlatform;

void configure(SimulatedPlatform& platform) {
  platform.tracker().setQuarnelDevKey("key");
  platform.tracker().setAppleAppID("1");
}

void trackEvents(SimulatedPlatform& platform, int count) {
  for (int i = 0; i < count; ++i) platform.tracker().trackEventWithValues("e", std::nullopt);
}

TEST(DiagnosticsTest, EveryReportIsSomewhere) {
  const struct {
    const char* what;
    void (*happens)(SimulatedPlatform& platform);
    const char* numbers;
  } cases[] = {
      {"delivered, whatever the call",
       [](SimulatedPlatform& p) {
         p.setAnswer(ScriptedAnswer::response(500));
         p.tracker().trackAppLaunch();
         p.tracker().trackEventWithValue("e", "1");
         p.tracker().trackLocation(1, 2);
       },
       "accepted 3, built 3, delivered 3"},
      {"a launch right after another",
       [](SimulatedPlatform& p) {
         p.post(UIApplicationWillResignActiveNotification);
         p.tracker().trackAppLaunch();
       },
       "accepted 1, notDue 1"},
      {"without a key",
       [](SimulatedPlatform& p) {
         p.tracker().setQuarnelDevKey(std::nullopt);
         trackEvents(p, 2);
       },
       "accepted 2, lost.missingDeveloperKey 2"},
      {"e-mails without text",
       [](SimulatedPlatform& p) {
         p.tracker().setUserEmails(Value::Array{1}, EmailCryptType::kNone);
         trackEvents(p, 1);
       },
       "accepted 1, lost.abandoned 1"},
      {"without a network, more than the cache holds",
       [](SimulatedPlatform& p) {
         p.setAnswer(ScriptedAnswer::failure());
         trackEvents(p, 43);
       },
       "accepted 43, built 43, failed 43, cached 41, lost.cacheFull 2"},
      {"without a network or a disk",
       [](SimulatedPlatform& p) {
         p.setAnswer(ScriptedAnswer::failure());
         p.failWrites("full");
         trackEvents(p, 2);
       },
       "accepted 2, built 2, failed 2, lost.cacheWriteFailed 2"},
      {"replayed, and an unreadable file met twice",
       [](SimulatedPlatform& p) {
         p.files()["/simulated/Caches/QuarnelCache/1.000000.qn"] = "nonsense";
         p.files()["/simulated/Caches/QuarnelCache/notes"] = "somebody's";
         p.setAnswer(ScriptedAnswer::failure());
         trackEvents(p, 2);
         p.advance(seconds(1));
         p.setAnswer(ScriptedAnswer::response(200));
         trackEvents(p, 1);
         p.advance(seconds(1));
         trackEvents(p, 1);
       },
       "accepted 4, built 4, delivered 2, failed 2, cached 2, replayed 2, lost.unreadableRecords "
       "1"},
      {"the user empties the caches",
       [](SimulatedPlatform& p) {
         p.setAnswer(ScriptedAnswer::failure());
         trackEvents(p, 3);
         p.advance(seconds(1));
         std::erase_if(p.files(), [](const auto& file) {
           return file.first.find("QuarnelCache/") != std::string::npos;
         });
         trackEvents(p, 1);
         p.setAnswer(ScriptedAnswer::response(200));
         p.advance(seconds(1));
         trackEvents(p, 1);
       },
       "accepted 5, built 5, delivered 2, failed 3, cached 3, lost.deletedFromCache 3"},
      {"on their way",
       [](SimulatedPlatform& p) {
         p.setAnswer(ScriptedAnswer::silence());
         trackEvents(p, 2);
       },
       "accepted 2, built 2, inFlight 2"},
      {"ended with the process",
       [](SimulatedPlatform& p) {
         p.setAnswer(ScriptedAnswer::silence());
         trackEvents(p, 2);
         p.advance(seconds(1));
         trackEvents(p, 1);
         p.restartApplication();
       },
       "accepted 3, built 2, lost.withProcess 3"},
  };
  for (const auto& [what, happens, numbers] : cases) {
    SimulatedPlatform platform;
    configure(platform);
    happens(platform);
    platform.advance(seconds(2));
    EXPECT_EQ(toText(platform.tracker().diagnostics()), numbers) << what;
  }
}

TEST(DiagnosticsTest, WaitsUnbuiltWhileTheTransportIsBusyAndLosesNothing) {
  SimulatedPlatform platform;
  configure(platform);
  platform.setAnswer(ScriptedAnswer::response(200).after(seconds(10)));
  trackEvents(platform, 1000);
  platform.advance(seconds(1));
  EXPECT_EQ(platform.requests().size(), 256U);
  EXPECT_EQ(toText(platform.tracker().diagnostics()),
            "accepted 1000, built 256, waiting 744, inFlight 256");
  platform.advance(seconds(60));
  EXPECT_EQ(toText(platform.tracker().diagnostics()), "accepted 1000, built 1000, delivered 1000");
}

TEST(DiagnosticsTest, APurchaseThatWaitsForItsValidationShows) {
  HostEnvironment environment;
  environment.setReceiptFile("/receipt");
  SimulatedPlatform platform(environment);
  configure(platform);
  platform.files()["/receipt"] = "r";
  platform.setAnswer(ScriptedAnswer::response(200).after(seconds(10)));
  platform.tracker().validateAndTrackInAppPurchase("p", 1, "EUR", "t", std::nullopt, {}, {});
  platform.advance(seconds(2));
  EXPECT_EQ(toText(platform.tracker().diagnostics()), "validating 1");
}

TEST(DiagnosticsTest, BoundsWhatWaits) {
  SimulatedPlatform platform;
  configure(platform);
  platform.tracker().setIsDebug(true);
  platform.setAnswer(ScriptedAnswer::silence());
  trackEvents(platform, 17000);
  EXPECT_TRUE(platform.logged("too many reports wait"));
  EXPECT_EQ(toText(platform.tracker().diagnostics()),
            "accepted 16384, waiting 16384, lost.tooManyWaiting 616");
  platform.log().clear();
  platform.advance(seconds(1));
  EXPECT_EQ(toText(platform.tracker().diagnostics()),
            "accepted 16384, built 256, waiting 16128, inFlight 256, lost.tooManyWaiting 616");

  SimulatedPlatform other;
  configure(other);
  const Dictionary large{{"text", std::string(40U << 20U, 'x')}};
  for (int i = 0; i < 3; ++i) other.tracker().trackEventWithValues("e", large);
  EXPECT_EQ(other.tracker().diagnostics().lost.tooManyWaiting, 2U) << "by size";
}

}  // namespace
}  // namespace quarnel
