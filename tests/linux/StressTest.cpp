// Every operation from many threads at once, against a server that cannot be relied upon.
#include <QuarnelTvOsLib/Notifications.h>
#include <QuarnelTvOsLib/QuarnelTracker.h>
#include <QuarnelTvOsLib/testing/SimulatedPlatform.h>
#include <gtest/gtest.h>
#include <unistd.h>

#include <array>
#include <atomic>
#include <map>
#include <set>
#include <stdexcept>
#include <thread>

#include "Support.h"
#include "TlsServer.h"
#include "platform/linux/device/OpenSsl.h"
#include "transport/CacheRecordFile.h"
#include "util/Json.h"

namespace quarnel::test {
namespace {

constexpr int kThreads = 10;
constexpr int kRounds = 20;
constexpr std::array<const char*, 2> kDeveloperKeys = {"first-key", "second-key"};

Dictionary decoded(const std::string& body) {
  for (const char* const key : kDeveloperKeys) {
    testing::RecordedRequest request;
    request.body = body;
    auto report = testing::SimulatedPlatform::decodeReport(request, key);
    if (report) return *std::move(report);
  }
  ADD_FAILURE() << "not a report: " << body.substr(0, 200);
  return {};
}

std::string textIn(const Dictionary& report, const char* key) {
  const Value* const value = report.find(key);
  return value != nullptr && value->text() != nullptr ? *value->text() : "";
}

// Answers four requests of eight; the others it delays, drops or answers in part.
class FlakyServer {
 public:
  struct Delivery {
    bool isReplay;
    Dictionary report;
  };

  FlakyServer()
      : authority_("Authority", nullptr),
        certificate_("localhost", &authority_),
        server_(certificate_, [this](Connection& connection) { serve(connection); }) {}

  void beReliable() { isReliable_ = true; }
  // For a process that ends without this server: a thread that has ended, and that nobody joins,
  // would be reported as leaked.
  void keepThreads() { keepsThreads_ = true; }
  std::string address() const { return "localhost:" + std::to_string(server_.port()); }
  void writeAuthority(const std::string& path) const { authority_.writePem(path); }

  // The launch and event reports that were answered.
  std::vector<Delivery> answered() const {
    const std::lock_guard lock(mutex_);
    return answered_;
  }
  Counter& requests() { return requests_; }

 private:
  void serve(Connection& connection) {
    if (isReliable_ || ++connections_ % 8 != 0) serveRequests(connection);
    while (keepsThreads_) ::pause();
  }

  void serveRequests(Connection& connection) {
    if (!connection.handshake()) return;
    while (const auto request = connection.readRequest()) {
      requests_.add();
      const int turn = isReliable_ ? 0 : ++turns_ % 8;
      if (turn == 7) connection.breakOff();
      if (turn == 7) return;
      if (turn == 6) {
        connection.send("HTTP/1.1 200 OK\r\nContent-Length: 100\r\n\r\n{");
        connection.breakOff();
        return;
      }
      if (turn >= 4) std::this_thread::sleep_for(std::chrono::milliseconds(5));
      note(*request);
      connection.send("HTTP/1.1 200 OK\r\nContent-Length: 23\r\n\r\n{\"qn_status\":\"Organic\"}");
    }
  }

  void note(const std::string& request) {
    if (request.find("/iosevent?") == std::string::npos) return;
    const bool isReplay = request.find("&isCachedRequest=true ") != std::string::npos;
    Dictionary report = decoded(request.substr(request.find("\r\n\r\n") + 4));
    const std::lock_guard lock(mutex_);
    answered_.push_back({isReplay, std::move(report)});
  }

  const Certificate authority_;
  const Certificate certificate_;
  std::atomic<bool> isReliable_ = false;
  std::atomic<bool> keepsThreads_ = false;
  std::atomic<unsigned> connections_ = 0;
  std::atomic<unsigned> turns_ = 0;
  Counter requests_;
  mutable std::mutex mutex_;
  std::vector<Delivery> answered_;
  TlsServer server_;
};

// The shared tracker of this process, reporting to the server.
class Application {
 public:
  explicit Application(const FlakyServer& server) {
    server.writeAuthority(directory_ / "ca.pem");
    HostEnvironment environment;
    environment.setStateDirectory(directory_.path());
    environment.setKeychainFile(directory_ / "keychain.db");
    environment.setCertificateAuthorityFile(directory_ / "ca.pem");
    for (const Endpoint endpoint :
         {Endpoint::kLaunch, Endpoint::kEvents, Endpoint::kStats, Endpoint::kConversion,
          Endpoint::kServices, Endpoint::kRegister}) {
      environment.setEndpointHost(endpoint, server.address());
    }
    environment.setLogSink([this](std::string_view line) { log_.write(line); });
    environment.setAdvertisingIdentifierProvider([] { return AdvertisingIdentity{"ad-id", true}; });
    QuarnelTracker::configureSharedTracker(environment);
    tracker().setIsDebug(true);
    tracker().setQuarnelDevKey(kDeveloperKeys[0]);
    tracker().setAppleAppID("1");
    identifier_ = tracker().getQuarnelUID();
  }

  static QuarnelTracker& tracker() { return QuarnelTracker::sharedTracker(); }

  // Every operation, or nearly so, and two events of the names given.
  void round(int number, const std::string& event, const std::string& richEvent) {
    changeProperties(number);
    tracker().trackEventWithValue(event, "12.50");
    tracker().trackEventWithValues(richEvent, Dictionary{{"n", number}, {"a", Value::Array{1}}});
    if (number % 8 == 0) tracker().trackLocation(2.35, 48.85);
    if (number % 8 == 1) tracker().trackAppLaunch();
    tracker().handleOpenURL("app://x?qn_deeplink=1", "com.other", Dictionary{{"ReferrerURL", "r"}});
    tracker().continueUserActivity({NSUserActivityTypeBrowsingWeb, "https://w/?a=b"}, nullptr);
    tracker().didUpdateUserActivity({"other", std::nullopt});
    tracker().handlePushNotification(Dictionary{{"qn", Dictionary{{"p", number}}}});
    if (number % 8 == 2) tracker().loadConversionDataWithDelegate(&delegates_[0]);
    if (number % 8 == 3) {
      tracker().validateAndTrackInAppPurchase("p", 1, "EUR", "t", std::nullopt, nullptr, nullptr);
    }
    if (number == 4) tracker().registerUninstall(Bytes{1, 2, 3});
    postNotification(UIApplicationDidFinishLaunchingNotification, Dictionary{});
    if (number % 8 == 5) postNotification(UIApplicationDidEnterBackgroundNotification);
    tracker().startConnection([](const std::function<void()>& ended) { ended(); });
    EXPECT_EQ(tracker().getQuarnelUID(), identifier_);
  }

  std::size_t linesWith(const std::string& text) const {
    std::size_t count = 0;
    for (const std::string& line : log_.lines()) count += line.find(text) != std::string::npos;
    return count;
  }

  // The names of the events whose records are on disk.
  std::set<std::string> cachedEvents() const {
    std::set<std::string> events;
    for (const std::string& name : namesIn(directory_ / "Caches/QuarnelCache")) {
      const auto record =
          parseCacheFile(name, readFile(directory_ / ("Caches/QuarnelCache/" + name)), Date());
      EXPECT_TRUE(record) << name;
      if (record) events.insert(textIn(decoded(*record->postData), "event"));
    }
    return events;
  }

 private:
  void changeProperties(int number) {
    const bool odd = number % 2 == 1;
    tracker().setQuarnelDevKey(kDeveloperKeys[odd ? 1 : 0]);
    tracker().setAppleAppID(odd ? "1" : "22");
    tracker().setCustomerUserID(odd ? std::optional<std::string>("user") : std::nullopt);
    tracker().setAdditionalData(Dictionary{{"round", number}});
    tracker().setUserEmails(Value::Array{"a@b.c", "d@e.f"}, EmailCryptType{number % 3});
    tracker().setCurrencyCode(odd ? "EUR" : "USD");
    tracker().setIsDebug(true);
    tracker().setShouldCollectDeviceName(odd);
    tracker().setDisableAppleAdSupportTracking(odd);
    tracker().setDeviceTrackingDisabled(odd);
    tracker().setDisableIAdTracking(odd);
    tracker().setUseReceiptValidationSandbox(odd);
    tracker().setDelegate(odd ? &delegates_[0] : number % 4 == 0 ? &delegates_[1] : nullptr);
    EXPECT_TRUE(tracker().isDebug() && tracker().quarnelDevKey() && tracker().appleAppID());
  }

  QuarnelTrackerDelegate delegate() {
    return {[](const Dictionary&) { tracker().setCurrencyCode("CHF"); },
            [](const Error&) { tracker().setDelegate(nullptr); },
            [](const Dictionary&) { throw std::runtime_error("the application's fault"); }};
  }

  const TemporaryDirectory directory_;
  RecordingLog log_;
  std::array<QuarnelTrackerDelegate, 2> delegates_ = {delegate(), delegate()};
  std::string identifier_;
};

std::string eventName(int thread, int round, const char* kind) {
  return std::to_string(thread) + "-" + std::to_string(round) + kind;
}

std::vector<std::thread> startThreads(Application& application, int rounds) {
  std::vector<std::thread> threads;
  for (int thread = 0; thread < kThreads; ++thread) {
    threads.emplace_back([&application, rounds, thread] {
      for (int round = 0; round < rounds; ++round) {
        application.round(round, eventName(thread, round, "a"), eventName(thread, round, "b"));
      }
    });
  }
  return threads;
}

std::set<std::string> allEvents() {
  std::set<std::string> events;
  for (int thread = 0; thread < kThreads; ++thread) {
    for (int round = 0; round < kRounds; ++round) {
      events.insert({eventName(thread, round, "a"), eventName(thread, round, "b")});
    }
  }
  return events;
}

TEST(StressTest, EveryEventIsDeliveredKeptOrItsLossLogged) {
  initialiseOpenSsl();
  FlakyServer server;
  Application application(server);
  std::vector<std::thread> threads = startThreads(application, kRounds);
  for (std::thread& thread : threads) thread.join();
  EXPECT_TRUE(Application::tracker().drain(kPatience));
  server.beReliable();
  Application::tracker().trackEventWithValue("last", "1");
  EXPECT_TRUE(Application::tracker().drain(kPatience));

  std::set<std::string> missing = allEvents();
  missing.insert("last");
  const std::set<std::string> others = {"Launched", "qn_purchase", "qn_location_coordinates"};
  std::map<std::string, std::array<int, 2>> deliveries;  // Fresh ones and replays.
  std::map<std::string, std::string> eventOfCounter;
  for (const auto& [isReplay, report] : server.answered()) {
    const std::string event = textIn(report, "event");
    if (others.count(event) > 0) continue;
    ASSERT_GT(missing.count(event) + deliveries.count(event), 0U) << "invented: " << event;
    missing.erase(event);
    ++deliveries[event][isReplay ? 1 : 0];
    // Two reports that were built at the same time would carry the same number.
    const std::string counter = describe(*report.find("iaecounter"));
    EXPECT_EQ(eventOfCounter.try_emplace(counter, event).first->second, event);
  }
  for (const auto& [event, count] : deliveries) {
    EXPECT_LE(count[0], 1) << event;
    // A record is sent a second time when it was loaded again while its replay was in flight.
    EXPECT_LE(count[1], count[0] == 0 ? 2 : 0) << event;
  }
  for (const std::string& event : application.cachedEvents()) {
    EXPECT_EQ(deliveries.count(event), 0U) << "delivered, and yet kept: " << event;
    missing.erase(event);
  }
  EXPECT_LE(missing.size(), application.linesWith("Cache reached limit"));
  EXPECT_EQ(application.linesWith("Error writing file"), 0U);
  RecordProperty("delivered", static_cast<int>(deliveries.size()));
  RecordProperty("lost", static_cast<int>(missing.size()));
}

TEST(StressTest, TheProcessEndsInTheMidstOfIt) {
  GTEST_FLAG_SET(death_test_style, "threadsafe");
  const TemporaryDirectory directory;
  ::setenv(kParentVariable, directory.path().c_str(), 1);
  const auto endInTheMidst = [] {
    initialiseOpenSsl();
    auto& server = *new FlakyServer;
    server.beReliable();
    server.keepThreads();
    auto& application = *new Application(server);
    // More than they can do: they go on while the process ends.
    for (std::thread& thread : startThreads(application, 1'000'000)) thread.detach();
    const bool isBusy = server.requests().waitFor(20);
    std::exit(isBusy ? 7 : 1);
  };
  EXPECT_EXIT(endInTheMidst(), ::testing::ExitedWithCode(7), "");
  ::unsetenv(kParentVariable);
}

}  // namespace
}  // namespace quarnel::test
