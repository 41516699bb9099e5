// The offline cache and the transport that steers it, on the simulated platform.
#include <QuarnelTvOsLib/QuarnelTracker.h>
#include <QuarnelTvOsLib/testing/SimulatedPlatform.h>
#include <gtest/gtest.h>

#include <algorithm>
#include <set>

#include "transport/CacheRecordFile.h"

namespace quarnel {
namespace {

using std::chrono::milliseconds;
using std::chrono::seconds;
using testing::RecordedRequest;
using testing::ScriptedAnswer;
using testing::SimulatedPlatform;

const std::string kDirectory = "/simulated/Caches/QuarnelCache/";

class CacheTest : public ::testing::Test {
 protected:
  CacheTest() { configure(); }

  void configure() {
    platform.tracker().setQuarnelDevKey("key");
    platform.tracker().setAppleAppID("1");
    platform.tracker().setIsDebug(true);
  }
  void goOffline() { platform.setAnswer(ScriptedAnswer::failure()); }
  void goOnline() { platform.setAnswer(ScriptedAnswer::response(500, "any answer delivers")); }

  void event(const std::string& name = "e") {
    platform.tracker().trackEventWithValues(name, std::nullopt);
    platform.advance(milliseconds(1));
  }

  // The URLs of the requests since the last call, without what is the same in all.
  std::vector<std::string> sent() {
    std::vector<std::string> urls;
    for (; seen < platform.requests().size(); ++seen) {
      const std::string& url = platform.requests()[seen].url;
      urls.push_back(url.substr(url.find("buildnumber=1.0.0") + 17));
    }
    return urls;
  }

  void plant(const std::string& name, const std::string& content) {
    platform.files()[kDirectory + name] = content;
  }
  static std::string record(const std::string& tag) {
    return "version=1.0.0\nurl=https://h/api?buildnumber=1.0.0&r=" + tag + "\ndata=d";
  }

  SimulatedPlatform platform;
  std::size_t seen = 0;
};

TEST_F(CacheTest, FailedReportIsWrittenAndReplayedAfterTheNextDelivery) {
  goOffline();
  event();
  ASSERT_EQ(platform.files().size(), 1u);
  const auto [path, content] = *platform.files().begin();
  EXPECT_EQ(path, kDirectory + "478879620.000000.qn");
  EXPECT_EQ(content,
            "version=1.0.0\n"
            "url=https://events.quarnel.example/api/v4/iosevent?app_id=1&buildnumber=1.0.0\n"
            "data=" +
                platform.requests()[0].body);
  EXPECT_TRUE(
      platform.logged("onSuccess:]_block_invoke Quarnel Connection failed! Error - The "
                      "network is down. "));
  sent();

  platform.restartApplication();  // Records outlive the process.
  configure();
  goOnline();
  platform.advance(milliseconds(60'499));
  event();
  EXPECT_EQ(sent(), std::vector<std::string>{""});
  platform.advance(milliseconds(98));
  EXPECT_TRUE(sent().empty()) << "the replay starts 0.1 s after the delivery";
  platform.advance(milliseconds(2));
  EXPECT_EQ(sent(), std::vector<std::string>{"&timeincache=60.500000&isCachedRequest=true"});
  EXPECT_EQ(platform.requests().back().body, platform.requests().front().body);
  EXPECT_TRUE(platform.files().empty());
}

TEST_F(CacheTest, RecordsAreSentOneAfterAnotherAndFailedOnesStay) {
  for (const char* tag : {"3", "1", "2"}) plant(std::string(tag) + ".qn", record(tag));
  platform.setNow(Date(seconds(978307200)));  // The reference date.
  constexpr milliseconds kExchange{50};
  std::vector<Date> replayed;
  bool failSecond = true;
  platform.setAnswer([&](const RecordedRequest& request) {
    if (request.url.find("isCachedRequest") == std::string::npos) {
      return ScriptedAnswer::response(200);
    }
    replayed.push_back(platform.now());
    const bool fails = failSecond && request.url.find("r=2") != std::string::npos;
    return (fails ? ScriptedAnswer::failure() : ScriptedAnswer::response(200)).after(kExchange);
  });
  event();
  platform.advance(milliseconds(170));
  event("a delivery while records remain");
  platform.advance(seconds(1));
  ASSERT_EQ(replayed.size(), 3u);
  EXPECT_EQ(replayed[1] - replayed[0], kExchange) << "one request in flight at a time";
  EXPECT_EQ(replayed[2] - replayed[1], kExchange);
  EXPECT_EQ(platform.files().size(), 1u);
  EXPECT_EQ(platform.files().count(kDirectory + "2.qn"), 1u);
  std::vector<std::string> order = sent();
  EXPECT_EQ(std::count(order.begin(), order.end(), ""), 2);
  std::erase(order, "");
  for (std::string& url : order) url = url.substr(0, 4);
  EXPECT_EQ(order, (std::vector<std::string>{"&r=1", "&r=2", "&r=3"}));

  failSecond = false;
  event();
  platform.advance(seconds(1));
  EXPECT_TRUE(platform.files().empty());
}

// While the last record is in flight the list is empty, and a delivery loads its file again.
TEST_F(CacheTest, LastRecordInFlightMayBeSentTwiceButNeverAtOnce) {
  plant("1.qn", record("1"));
  platform.setAnswer([](const RecordedRequest& request) {
    const bool isReplay = request.url.find("isCachedRequest") != std::string::npos;
    return ScriptedAnswer::response(200).after(isReplay ? seconds(1) : seconds(0));
  });
  event();
  platform.advance(milliseconds(200));
  sent();
  event();
  platform.advance(milliseconds(700));
  EXPECT_EQ(sent().size(), 1u) << "one replayed request in flight at a time";
  platform.advance(seconds(5));
  EXPECT_EQ(sent().size(), 1u);
  EXPECT_TRUE(platform.files().empty());
  EXPECT_TRUE(platform.logged("-[QuarnelRequestCache deleteRequest:] Error deleting file at "));
}

TEST_F(CacheTest, LimitCountsEveryEntry) {
  for (int i = 0; i < 40; ++i) plant("stray" + std::to_string(i), "no record");
  goOffline();
  event();
  EXPECT_EQ(platform.files().size(), 41u);
  EXPECT_TRUE(platform.logged("Caching request...(cache size: 40)"));
  event();
  EXPECT_EQ(platform.files().size(), 41u);
  EXPECT_TRUE(platform.logged(
      "-[QuarnelRequestCache cacheRequest:] Cache reached limit - not caching request...."));
  goOnline();
  event();
  platform.advance(seconds(1));
  EXPECT_EQ(platform.files().size(), 40u) << "strays are never deleted";
}

TEST_F(CacheTest, NamesAreNeverReused) {
  goOffline();
  for (int i = 0; i < 5; ++i) platform.tracker().trackEventWithValues("e", std::nullopt);
  const Date before = platform.now();
  platform.advance(milliseconds(0));
  EXPECT_EQ(platform.files().size(), 5u);
  platform.setNow(before);
  event();
  EXPECT_EQ(platform.files().size(), 6u);
  std::set<std::string> bodies;
  for (const auto& [path, content] : platform.files()) bodies.insert(content);
  EXPECT_EQ(bodies.size(), 6u);
}

TEST_F(CacheTest, AClockThatIsSetCostsNoRecord) {
  using std::chrono::sys_days;
  using std::chrono::year;
  const struct {
    int writtenIn, sentIn;
    const char* seconds;
  } cases[] = {{1970, 2016, "1451606400"},  // A device before it has asked for the time.
               {2016, 2030, "441849600"},
               {2030, 2016, "-441849600"}};
  for (const auto& each : cases) {
    goOffline();
    platform.setNow(sys_days(year(each.writtenIn) / 1 / 1));
    event();
    ASSERT_EQ(platform.files().size(), 1u);
    platform.restartApplication();
    configure();
    platform.setNow(sys_days(year(each.sentIn) / 1 / 1));
    goOnline();
    sent();
    event();
    platform.advance(seconds(1));
    const std::vector<std::string> expected = {
        "", "&timeincache=" + std::string(each.seconds) + ".000000&isCachedRequest=true"};
    EXPECT_EQ(sent(), expected);
    EXPECT_TRUE(platform.files().empty());
  }
  EXPECT_EQ(*platform.reports("key").end()[-2].find("iaecounter")->integer(), 6);
}

TEST_F(CacheTest, HostileFilesAreSkippedOrSetAside) {
  plant("no number.qn", record("a"));
  plant("noextension", record("b"));
  plant("crlf.qn", "url= \t https://h/?buildnumber=1.0.0&r=c \r\ndata=x\r\nurl=");
  plant("only.qn", "data=x\nurl=https://h/?buildnumber=1.0.0&r=d");
  plant("plain.qn", "url=http://h/?buildnumber=1.0.0&r=e\ndata=x");
  plant("z-nodata.qn", "version=1.0.0\nurl=https://h/?r=f");
  plant("z-notutf8.qn", record("\xff"));
  plant("z-empty.qn", "");
  plant("z-separator.qn",
        "url=https://h/?buildnumber=1.0.0&r=g\xE2\x80\xA8"
        "data=x\xC2\x85junk");
  goOnline();
  platform.setNow(Date(seconds(978307200 + 5)));
  event();
  platform.advance(seconds(1));
  auto urls = sent();
  urls.erase(urls.begin());  // The delivery.
  const std::string tail = "&timeincache=5.000000&isCachedRequest=true";
  EXPECT_EQ(urls,
            (std::vector<std::string>{"&r=a" + tail, "&r=b" + tail, "&r=d" + tail, "&r=g" + tail}));
  std::vector<std::string> left;
  for (const auto& [path, content] : platform.files())
    left.push_back(path.substr(path.find("QuarnelCache")));
  // A record whose last "url=" line is empty and one without TLS can never be sent.
  EXPECT_EQ(left,
            (std::vector<std::string>{"QuarnelCache/z-empty.qn", "QuarnelCache/z-nodata.qn",
                                      "QuarnelCache/z-notutf8.qn", "QuarnelCacheUnusable/crlf.qn",
                                      "QuarnelCacheUnusable/plain.qn"}));
  EXPECT_EQ(platform.tracker().diagnostics().lost.unreadableRecords, 5U);
}

TEST_F(CacheTest, LineBreaksInTheAppIDCannotForgeARecord) {
  platform.tracker().setAppleAppID("1\r\ndata=forged\xE2\x80\xA8version=9");
  goOffline();
  event();
  const auto& [path, content] = *platform.files().begin();
  const auto record = parseCacheFile("0.qn", content, platform.now());
  ASSERT_TRUE(record);
  EXPECT_EQ(record->sdkVersion, "1.0.0");
  EXPECT_EQ(record->postData, platform.requests()[0].body);
  EXPECT_EQ(platform.requests()[0].url.find_first_of("\r\n"), std::string::npos);
}

TEST_F(CacheTest, WriteFailureIsLoggedAndTheNextReportWorks) {
  goOffline();
  platform.failWrites("No space left on device");
  event();
  EXPECT_TRUE(platform.files().empty());
  EXPECT_TRUE(platform.logged("No space left on device"));
  platform.failWrites("");
  event();
  EXPECT_EQ(platform.files().size(), 1u);
}

TEST_F(CacheTest, EmptyCacheIsLookedAtAfterEveryDelivery) {
  goOnline();
  for (int i = 0; i < 3; ++i) {
    platform.log().clear();
    event();
    EXPECT_TRUE(platform.logged("-[QuarnelRequestCache processCache] Cache size 0"));
    platform.advance(seconds(1));
  }
  EXPECT_EQ(sent().size(), 3u);
}

}  // namespace
}  // namespace quarnel
