// Conversion data, receipt validation and uninstall registration on the simulated platform.
#include <QuarnelTvOsLib/QuarnelTracker.h>
#include <QuarnelTvOsLib/testing/SimulatedPlatform.h>
#include <gtest/gtest.h>

#include "util/Json.h"

namespace quarnel {
namespace {

using std::chrono::milliseconds;
using std::chrono::seconds;
using testing::RecordedRequest;
using testing::ScriptedAnswer;
using testing::SimulatedPlatform;

constexpr const char* kData = "QuarnelConversiondataKey";
constexpr const char* kFreshSince = "QuarnelConversionDataCacheExpiration";
constexpr const char* kRetries = "QuarnelConversionDataRequestRetries";
constexpr const char* kRefused =
    "Quarnel error response from server. Check your Quarnel key and Apple app ID.";

class AttributionTest : public ::testing::Test {
 protected:
  AttributionTest() : platform(environment()) {
    platform.tracker().setQuarnelDevKey("key");
    platform.tracker().setAppleAppID("1");
    delegate.onConversionDataReceived = [this](const Dictionary& data) {
      callbacks.push_back(platform.currentQueue() + " " + *writeJson(data));
    };
    delegate.onConversionDataRequestFailure = [this](const Error& error) {
      callbacks.push_back(platform.currentQueue() + " " + std::to_string(error.code) + " " +
                          error.description);
    };
  }

  static HostEnvironment environment() {
    HostEnvironment environment;
    environment.setReceiptFile("/receipt");
    return environment;
  }

  std::vector<std::string> takeCallbacks() { return std::exchange(callbacks, {}); }
  std::vector<std::string> load() {
    platform.tracker().loadConversionDataWithDelegate(&delegate);
    platform.advance(milliseconds(10));
    return takeCallbacks();
  }

  SimulatedPlatform platform;
  QuarnelTrackerDelegate delegate;
  std::vector<std::string> callbacks;
};

TEST_F(AttributionTest, EveryAnswerReachesTheDelegateOnItsQueue) {
  const struct {
    ScriptedAnswer answer;
    std::string callback;
    const char* retries;
  } cases[] = {
      {ScriptedAnswer::failure(), "main 7 The network is down.", "1"},
      {ScriptedAnswer::response(404), std::string("session 404 ") + kRefused, "2"},
      {ScriptedAnswer::response(503), std::string("session 503 ") + kRefused, "1"},
      {ScriptedAnswer::response(302), std::string("session 302 ") + kRefused, "1"},
      {ScriptedAnswer::response(200), "session 1 Quarnel Empty response from server.", "absent"},
      {ScriptedAnswer::response(200, "[1]"), "session 0 Quarnel bad JSON response.", "absent"},
      {ScriptedAnswer::response(200, "7"), "session 0 Quarnel bad JSON response.", "absent"},
      {ScriptedAnswer::response(200, R"({"a":null,"b":[null,{"c":null}],"iscache":true})"),
       R"(session {"b":[{}]})", "absent"},
  };
  for (const auto& item : cases) {
    SCOPED_TRACE(item.callback);
    platform.userDefaults()[kRetries] = 1;
    platform.setAnswer(item.answer);
    EXPECT_EQ(load(), std::vector<std::string>{item.callback});
    const bool counts = platform.userDefaults().count(kRetries) > 0;
    EXPECT_EQ(counts ? *writeJson(platform.userDefaults()[kRetries]) : "absent", item.retries);
  }
  EXPECT_EQ(platform.requests()[0].url.rfind(
                "https://conversions.quarnel.example/install_data/v3/id1?devkey=key&device_id=", 0),
            0u);
  EXPECT_EQ(platform.requests()[0].method + platform.requests()[0].body, "GET");
  EXPECT_EQ(platform.userDefaults().count(kFreshSince), 0u);
  EXPECT_EQ(*writeJson(platform.userDefaults()[kData]), R"({"b":[{}]})");

  platform.userDefaults().erase(kData);
  platform.setAnswer(ScriptedAnswer::response(200, "{\"a\":" + std::string(600, '[')));
  ASSERT_EQ(load().size(), 1u);
}

TEST_F(AttributionTest, StoredAnswerLastsSixtyDays) {
  platform.setAnswer(ScriptedAnswer::response(200, R"({"k":"v","iscache":false})"));
  EXPECT_EQ(load(), std::vector<std::string>{R"(session {"k":"v"})"});
  const Date answered = platform.now() - milliseconds(10);
  platform.setAnswer(ScriptedAnswer::failure());
  platform.setNow(answered + std::chrono::hours(60 * 24));
  EXPECT_EQ(load(), std::vector<std::string>{R"(main {"k":"v"})"}) << "not older than 60 days";
  platform.setNow(answered + std::chrono::hours(60 * 24) + seconds(1));
  EXPECT_EQ(load(), std::vector<std::string>{"main 7 The network is down."});
  EXPECT_EQ(load(), std::vector<std::string>{R"(main {"k":"v"})"}) << "no clock runs any more";
  EXPECT_EQ(platform.requests().size(), 2u);
}

TEST_F(AttributionTest, OverlappingCyclesAreDeliveredEachByItself) {
  int answers = 0;
  platform.setAnswer([&answers](const RecordedRequest&) {
    const std::string number = std::to_string(++answers);
    return ScriptedAnswer::response(200, "{\"answer\":" + number + "}").after(seconds(3 - answers));
  });
  EXPECT_TRUE(load().empty());
  EXPECT_TRUE(load().empty());
  platform.advance(seconds(5));
  EXPECT_EQ(takeCallbacks(),
            (std::vector<std::string>{R"(session {"answer":2})", R"(session {"answer":1})"}));
  EXPECT_EQ(platform.userDefaults()[kData], Value(Dictionary{{"answer", 1}})) << "the later one";
}

TEST_F(AttributionTest, RefusalsCloseTheDoorUntilTheNextVersion) {
  platform.setAnswer(ScriptedAnswer::response(403));
  for (int i = 0; i < 7; ++i) load();
  EXPECT_EQ(platform.requests().size(), 5u);
  platform.tracker().setDelegate(nullptr);
  platform.userDefaults()["QuarnelLastVersion"] = "another";
  platform.tracker().trackEventWithValues("e", std::nullopt);
  platform.advance(seconds(1));
  load();
  EXPECT_EQ(platform.requests().size(), 7u);

  delegate.onConversionDataRequestFailure = nullptr;
  for (int i = 0; i < 9; ++i) load();
  EXPECT_EQ(platform.requests().size(), 16u) << "refusals count only when the delegate is told";
  delegate.onConversionDataReceived = nullptr;
  load();
  EXPECT_EQ(platform.requests().size(), 16u);
}

TEST_F(AttributionTest, DeliveredLaunchFetchesForAListeningDelegate) {
  platform.tracker().setIsDebug(true);
  platform.tracker().setDelegate(&delegate);
  platform.setAnswer(ScriptedAnswer::response(200, R"({"k":1})"));
  platform.tracker().trackEventWithValue("e", "v");
  platform.advance(seconds(1));
  EXPECT_TRUE(callbacks.empty());
  platform.tracker().trackAppLaunch();
  platform.advance(seconds(1));
  EXPECT_EQ(takeCallbacks(), std::vector<std::string>{R"(session {"k":1})"});
  EXPECT_TRUE(platform.logged("isEvent:isNewAPI:]_block_invoke Quarnel: loading attribution data"));
  platform.tracker().trackAppLaunch();
  platform.advance(seconds(1));
  EXPECT_EQ(*platform.reports("key").back().find("installAttribution"),
            Value(Dictionary{{"k", 1}}));
  EXPECT_EQ(takeCallbacks(), std::vector<std::string>{R"(main {"k":1})"});

  platform.userDefaults().erase(kData);
  platform.setAnswer(ScriptedAnswer::failure());
  platform.tracker().trackAppLaunch();
  platform.advance(seconds(1));
  EXPECT_TRUE(callbacks.empty()) << "a launch that was not delivered fetches nothing";
}

TEST_F(AttributionTest, CallbacksMayThrowReplaceTheDelegateAndCallAgain) {
  QuarnelTracker& tracker = platform.tracker();
  delegate.onConversionDataReceived = [&](const Dictionary&) {
    tracker.setDelegate(nullptr);
    tracker.trackEventWithValue("from inside", std::nullopt);
    callbacks.push_back(tracker.getQuarnelUID().empty() ? "" : "called");
    throw 7;
  };
  platform.setAnswer(ScriptedAnswer::response(200, "{}"));
  EXPECT_EQ(load(), std::vector<std::string>{"called"});
  EXPECT_EQ(platform.reports("key").size(), 1u);
  tracker.setAppleAppID("1 2");
  platform.userDefaults().erase(kData);
  delegate.onConversionDataReceived = [](const Dictionary&) {};
  tracker.loadConversionDataWithDelegate(&delegate);
  EXPECT_EQ(takeCallbacks(), std::vector<std::string>{"caller 0 Quarnel server data error."});
}

// The delegate goes away in the midst of its own call; the call holds it.
TEST_F(AttributionTest, ADelegateLivesAsLongAsItsCall) {
  platform.setAnswer(ScriptedAnswer::response(200, R"({"a":1})"));
  auto owned = std::make_shared<QuarnelTrackerDelegate>();
  std::string told;
  owned->onConversionDataReceived = [&, text = std::string(64, 't')](const Dictionary&) {
    platform.tracker().setDelegate(nullptr);
    owned.reset();
    told = text;
  };
  platform.tracker().loadConversionDataWithDelegate(owned);
  platform.advance(seconds(1));
  EXPECT_EQ(told, std::string(64, 't'));
  EXPECT_EQ(platform.tracker().delegate(), nullptr);
}

// One that stands for an object that has gone responds to nothing: nothing is fetched for it.
TEST_F(AttributionTest, NothingIsFetchedForADelegateThatHasGone) {
  bool isPresent = true;
  int calls = 0;
  auto gone = std::make_shared<QuarnelTrackerDelegate>();
  gone->onConversionDataReceived = [&](const Dictionary&) { ++calls; };
  gone->isPresent = [&] { return isPresent; };
  platform.setAnswer(ScriptedAnswer::response(200, R"({"a":1})"));
  platform.tracker().loadConversionDataWithDelegate(gone);
  isPresent = false;
  platform.advance(seconds(1));
  platform.tracker().loadConversionDataWithDelegate(gone);
  platform.advance(seconds(1));
  EXPECT_EQ(platform.requests().size(), 1u);
  EXPECT_EQ(calls, 0);
}

TEST_F(AttributionTest, TrackerLogsWhatItIsGivenAsADelegate) {
  platform.tracker().onConversionDataReceived({{"k", 1}});
  EXPECT_EQ(platform.log().size(), 1u) << "only the line of the start";
  platform.tracker().setIsDebug(true);
  platform.tracker().onConversionDataReceived({{"k", 1}});
  platform.tracker().onConversionDataRequestFailure({"d", 5, "why"});
  EXPECT_TRUE(
      platform.logged("Quarnel: -[QuarnelTracker onConversionDataReceived:] Caching "
                      "attribution. {\"k\":1}"));
  EXPECT_TRUE(platform.logged("onConversionDataRequestFailure:] did not load install data: why"));
}

class PurchaseTest : public AttributionTest {
 protected:
  void validate(std::optional<Dictionary> parameters = std::nullopt) {
    platform.tracker().validateAndTrackInAppPurchase(
        "p1", 4.99, "EUR", "t1", std::move(parameters),
        [this](const Dictionary& answer) { callbacks.push_back("success " + *writeJson(answer)); },
        [this](const std::optional<Error>& error, const std::optional<Value>& answer) {
          callbacks.push_back("failure " + (error ? error->description : "no error") + " " +
                              (answer ? *writeJson(*answer) : "no answer"));
        });
    platform.advance(milliseconds(10));
  }
  std::string tracked() { return *platform.reports("key").back().find("eventvalue")->text(); }
};

TEST_F(PurchaseTest, RequestAndEvent) {
  platform.files()["/receipt"] = "receipt bytes";
  platform.tracker().setUseReceiptValidationSandbox(true);
  platform.setAnswer(ScriptedAnswer::response(
      500,
      R"({"status":0,"receipt":{"in_app":[{"transaction_id":"t1"},{"transaction_id":"t1"}]}})"));
  validate(Dictionary{{"k", "v"}});
  const std::string uid = platform.tracker().getQuarnelUID();
  const RecordedRequest& request = platform.requests().at(0);
  EXPECT_EQ(request.url,
            "https://services.quarnel.example/validate-ios-receipt?app_id=1&quarnel_id=" + uid +
                "&dev_key=key&sandbox=true");
  EXPECT_EQ(request.body, R"({"receipt-data":"cmVjZWlwdCBieXRlcw=="})");
  EXPECT_EQ(takeCallbacks().size(), 1u);
  EXPECT_EQ(
      tracked(),
      "%7B%22qn_revenue%22:4.99%2C%22qn_validated%22:%22true%22%2C%22qn_content_id%22:%22p1%22"
      "%2C%22qn_currency%22:%22EUR%22%2C%22qn_quantity%22:1%2C%22qn_param_1%22:%7B%22k%22:"
      "%22v%22%7D%7D");
}

TEST_F(PurchaseTest, EveryAnswerThatIsNoConfirmationFails) {
  platform.files()["/receipt"] = "r";
  const std::pair<const char*, const char*> cases[] = {
      {R"({"status":0,"receipt":{"in_app":[{"transaction_id":"t1"}]}})", "success"},
      {R"({"status":"0x","receipt":{"in_app":[{"transaction_id":"t1"}]}})", "success"},
      {R"({"status":0.5,"receipt":{"in_app":[{"transaction_id":"t1"}]}})", "success"},
      {R"({"status":false,"receipt":{"in_app":[{"transaction_id":"t1"}]}})", "success"},
      {R"({"status":1.0,"receipt":{"in_app":[{"transaction_id":"t1"}]}})", "no error"},
      {R"({"status":true,"receipt":{"in_app":[{"transaction_id":"t1"}]}})", "no error"},
      {R"({"status":21002})", "no error"},
      {R"({"receipt":{"in_app":[{"transaction_id":"t1"}]}})", "no error"},
      {R"({"status":0,"receipt":{"in_app":[]}})", "no error"},
      {R"({"status":0,"receipt":{"in_app":{"transaction_id":"t1"}}})", "no error"},
      {R"({"status":0,"receipt":{"in_app":[1,"t1",{"transaction_id":1},{}]}})", "no error"},
      {R"({"status":0,"receipt":"t1"})", "no error"},
      {R"([0])", "no error"},
      {"", "The document is empty."},
      {"{", "no answer"},
  };
  for (const auto& [answer, part] : cases) {
    platform.setAnswer(ScriptedAnswer::response(200, answer));
    validate();
    const auto called = takeCallbacks();
    ASSERT_EQ(called.size(), 1u) << answer;
    EXPECT_NE(called[0].find(part), std::string::npos) << called[0];
    const bool isValid = std::string(part) == "success";
    EXPECT_EQ(tracked().find("%22true%22") != std::string::npos, isValid) << answer;
  }
}

TEST_F(PurchaseTest, NothingIsAskedWithoutReceiptOrParameters) {
  validate();
  EXPECT_EQ(takeCallbacks(), std::vector<std::string>{"failure no store receipt no answer"});
  EXPECT_NE(tracked().find("qn_validated%22:%22false"), std::string::npos);
  const std::size_t requests = platform.requests().size();

  platform.files()["/receipt"] = "r";
  platform.setAnswer(ScriptedAnswer::failure());
  validate();
  EXPECT_EQ(takeCallbacks(), std::vector<std::string>{"failure The network is down. no answer"});

  platform.tracker().setIsDebug(true);
  platform.tracker().validateAndTrackInAppPurchase(std::nullopt, 1, "EUR", "t", std::nullopt,
                                                   nullptr, nullptr);
  platform.advance(seconds(1));
  EXPECT_TRUE(platform.logged("validateInAppPurchase Parameters cannot be nil"));
  platform.setDeviceFact("systemversion", "6.9");
  validate();
  EXPECT_TRUE(callbacks.empty());
  EXPECT_EQ(platform.requests().size(), requests + 2) << "the validation and its event";
}

class RegistrationTest : public AttributionTest {
 protected:
  std::vector<RecordedRequest> registrations() {
    std::vector<RecordedRequest> found;
    for (const auto& request : platform.requests()) {
      if (request.isBackground) found.push_back(request);
    }
    return found;
  }
};

TEST_F(RegistrationTest, OnceATokenAfterAReport) {
  QuarnelTracker& tracker = platform.tracker();
  tracker.setIsDebug(true);
  tracker.registerUninstall({0xff});
  platform.advance(seconds(4));
  EXPECT_TRUE(registrations().empty());
  EXPECT_TRUE(platform.logged("backgroundRegisterUninstall:] Register uninstall exception: "));

  tracker.trackAppLaunch();
  platform.advance(seconds(1));
  const Bytes token{0x01, 0xab, 0xcd, 0xef, 0x02};
  tracker.registerUninstall(token);
  platform.advance(milliseconds(3499));
  tracker.registerUninstall(token);
  EXPECT_TRUE(registrations().empty());
  EXPECT_EQ(platform.userDefaults()["QuarnelDeviceToken"], Value("<01abcdef 02>"));
  platform.advance(seconds(10));
  ASSERT_EQ(registrations().size(), 1u);
  const RecordedRequest request = registrations()[0];
  EXPECT_EQ(request.url,
            "https://register.quarnel.example/api/v4/iosevent?buildnumber=1.0.0&app_id=1");
  EXPECT_EQ(request.body,
            R"({"devkey":"key","uid":")" + tracker.getQuarnelUID() +
                R"(","devicetoken":"01abcdef02","launch_counter":"1",)"
                R"("topic":"example.quarnel.simulated","install_date":"2016-02-24_1705+0000",)"
                R"("advertiserId":"","OriginalQuarnelId":"","reInstallCounter":0,)"
                R"("sdk_version":"1.0.0"})");
}

}  // namespace
}  // namespace quarnel
