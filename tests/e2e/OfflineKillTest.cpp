// The process is killed at any moment: no record is lost or half written, and none comes twice but
// the one whose answer the killed process did not live to see.
#include <gtest/gtest.h>

#include <algorithm>
#include <map>
#include <random>
#include <set>
#include <thread>

#include "CacheFolder.h"
#include "ReportServer.h"

namespace e2e {
namespace {

using Records = std::vector<CachedRecord>;
using Behaviour = ReportServer::Behaviour;

constexpr int kRounds = 12;
constexpr int kEventsARound = 20;
// Writing a record has to take its time, to be cut off in the middle.
constexpr std::size_t kValueSize = 20000;

bool contains(const Records& records, const CachedRecord& record) {
  return std::find(records.begin(), records.end(), record) != records.end();
}

template <typename Container>
std::set<std::string> asSet(const Container& events) {
  return {events.begin(), events.end()};
}

class OfflineKillTest : public testing::Test {
 protected:
  OfflineKillTest() {
    const int given = GTEST_FLAG_GET(random_seed);
    seed_ = given != 0 ? static_cast<unsigned>(given) : std::random_device()() % 99999 + 1;
    random_.seed(seed_);
  }

  int randomUpTo(int most) { return std::uniform_int_distribution(0, most)(random_); }

  // From a microsecond to four milliseconds. The moment has to be any at all, so this is no waiting
  // for something.
  void letAnyTimePass() {
    std::this_thread::sleep_for(std::chrono::microseconds(1 << randomUpTo(12)));
  }

  static void track(Host& host, const std::string& event) {
    const std::string value(kValueSize, 'v');
    host.run(R"(["trackEvent:withValue:",)" + quoted(event) + "," + quoted(value) + "]");
  }

  Host start() { return Host(state_, server_.reportingHere(folder_.path())); }

  void killWhileWriting(int round);
  void killWhileReplaying(int round);

  TemporaryFolder folder_;
  const std::string state_ = folder_.path("state");
  ReportServer server_;
  unsigned seed_ = 0;
  std::mt19937 random_;
  std::set<std::string> seen_;  // The events of all records that ever lay on disk.
  int partlyWritten_ = 0;       // Rounds that were cut off in the middle of their work.
  int partlyReplayed_ = 0;
};

void OfflineKillTest::killWhileWriting(int round) {
  const Records before = cachedRecords(state_);
  server_.behave(Behaviour::kDropAtAccept);
  std::set<std::string> tracked;
  {
    Host host = start();
    for (int i = 0; i < kEventsARound; ++i) {
      const std::string event = "w" + std::to_string(round) + "-" + std::to_string(i);
      tracked.insert(event);
      track(host, event);
    }
    const std::size_t countAtDeath = before.size() + static_cast<std::size_t>(randomUpTo(15));
    host.waitForLog("Caching request...(cache size: " + std::to_string(countAtDeath) + ")");
    letAnyTimePass();
    host.kill();
  }
  const Records after = cachedRecords(state_);
  for (const CachedRecord& record : before) EXPECT_TRUE(contains(after, record)) << record.name;
  std::set<std::string> written;
  for (const CachedRecord& record : after) {
    if (contains(before, record)) continue;
    EXPECT_TRUE(tracked.contains(record.event)) << record.event;
    EXPECT_TRUE(written.insert(record.event).second) << record.event << " is there twice";
  }
  if (!written.empty() && written.size() < tracked.size()) ++partlyWritten_;
  seen_.merge(written);
}

void OfflineKillTest::killWhileReplaying(int round) {
  const Records before = cachedRecords(state_);
  const std::size_t answeredBefore = server_.answered().size();
  server_.behave(Behaviour::kAnswer);
  const std::string fresh = "f" + std::to_string(round);
  {
    Host host = start();
    track(host, fresh);
    // One more than the fresh report means one record.
    const int records = static_cast<int>(before.size());
    server_.waitUntilAnswered(answeredBefore + static_cast<std::size_t>(randomUpTo(records)));
    letAnyTimePass();
    host.kill();
  }
  const Records after = cachedRecords(state_);
  auto events = server_.answeredEvents();
  events.erase(events.begin(), events.begin() + static_cast<std::ptrdiff_t>(answeredBefore));
  const std::set<std::string> answered = asSet(events);
  EXPECT_EQ(answered.size(), events.size()) << "one life, one delivery";
  int answeredButKept = 0;
  for (const CachedRecord& record : before) {
    const bool isKept = contains(after, record);
    if (isKept) answeredButKept += answered.contains(record.event);
    EXPECT_TRUE(isKept || answered.contains(record.event)) << record.event << " is lost";
  }
  EXPECT_LE(answeredButKept, 1);
  for (const CachedRecord& record : after) {
    EXPECT_TRUE(contains(before, record)) << record.event << " has reached the server";
  }
  if (after.size() < before.size() && !after.empty()) ++partlyReplayed_;
}

TEST_F(OfflineKillTest, LosesNothingAndRepeatsOnlyWhatWasInFlight) {
  SCOPED_TRACE("again with --gtest_random_seed=" + std::to_string(seed_));
  for (int round = 0; round < kRounds; ++round) {
    SCOPED_TRACE("round " + std::to_string(round));
    // A replay seldom gets through before it is killed, so that the folder would fill up.
    if (cachedRecords(state_).size() <= 20) killWhileWriting(round);
    killWhileReplaying(round);
  }
  EXPECT_GT(partlyWritten_, 0);
  EXPECT_GT(partlyReplayed_, 0);

  const std::vector<std::string> left = eventsOf(cachedRecords(state_));
  const std::size_t answeredBefore = server_.answered().size();
  Host host = start();
  track(host, "last");
  host.drain();
  EXPECT_EQ(host.finish(), 0);
  const auto events = server_.answeredEvents();
  std::vector<std::string> expected{"last"};
  expected.insert(expected.end(), left.begin(), left.end());
  EXPECT_EQ(std::vector<std::string>(events.begin() + static_cast<std::ptrdiff_t>(answeredBefore),
                                     events.end()),
            expected);
  EXPECT_TRUE(cachedRecords(state_).empty());

  const std::set<std::string> delivered = asSet(events);
  for (const std::string& event : seen_) EXPECT_TRUE(delivered.contains(event)) << event;
  EXPECT_LE(events.size() - delivered.size(), static_cast<std::size_t>(kRounds))
      << "at most one repetition a kill";
}

}  // namespace
}  // namespace e2e
