// Connections that break at every stage of an exchange, and long times without any.
#include <gtest/gtest.h>

#include <algorithm>

#include "CacheFolder.h"
#include "ReportServer.h"

namespace e2e {
namespace {

using Behaviour = ReportServer::Behaviour;
using Port = ReportServer::Port;

void track(Host& host, const std::string& event, const std::string& value = "v") {
  host.run(R"(["trackEvent:withValue:",)" + quoted(event) + "," + quoted(value) + "]");
}

std::size_t countOf(const std::vector<std::string>& log, const std::string& text) {
  return static_cast<std::size_t>(std::count_if(log.begin(), log.end(), [&](const auto& line) {
    return line.find(text) != std::string::npos;
  }));
}

struct Breakage {
  const char* name;
  Behaviour behaviour;
  Port port = Port::kOpen;
};

void PrintTo(const Breakage& breakage, std::ostream* out) { *out << breakage.name; }

class OfflineNetworkTest : public testing::TestWithParam<Breakage> {
 protected:
  TemporaryFolder folder_;
  const std::string state_ = folder_.path("state");
};

TEST_P(OfflineNetworkTest, KeepsTheReportUntilItIsAnswered) {
  ReportServer launches;
  ReportServer events(GetParam().behaviour, GetParam().port);
  Host host(state_, events.reportingHere(folder_.path(), {"--launch-host", launches.address()}));
  track(host, "kept");
  host.drain();
  const auto records = cachedRecords(state_);
  ASSERT_EQ(eventsOf(records), std::vector<std::string>{"kept"});

  // The launch gets through, the replay that it starts does not.
  host.run(R"(["trackAppLaunch"])");
  host.drain();
  EXPECT_EQ(launches.answered().size(), 1U);
  host.waitForLog("Quarnel Connection failed! Error - ", 2);
  EXPECT_EQ(countOf(host.log(), "Quarnel Connection failed! Error - "), 2U);
  EXPECT_EQ(cachedRecords(state_), records);

  events.behave(Behaviour::kAnswer);
  if (GetParam().port == Port::kClosed) events.open();
  track(host, "fresh");
  host.drain();
  EXPECT_EQ(events.answeredEvents(), (std::vector<std::string>{"fresh", "kept"}));
  EXPECT_TRUE(cachedRecords(state_).empty());
  EXPECT_EQ(host.finish(), 0);
}

INSTANTIATE_TEST_SUITE_P(Broken, OfflineNetworkTest,
                         testing::Values(Breakage{"BeforeAccept", Behaviour::kAnswer,
                                                  Port::kClosed},
                                         Breakage{"AfterAccept", Behaviour::kDropAtAccept},
                                         Breakage{"InHandshake", Behaviour::kDropInHandshake},
                                         Breakage{"AfterRequest", Behaviour::kDropAfterRequest},
                                         Breakage{"InHead", Behaviour::kDropInHead},
                                         Breakage{"AfterHead", Behaviour::kDropAfterHead},
                                         Breakage{"InBody", Behaviour::kDropInBody},
                                         Breakage{"InChunk", Behaviour::kDropInChunk}),
                         [](const auto& tested) { return std::string(tested.param.name); });

class LongOfflineTest : public OfflineNetworkTest {};

TEST_F(LongOfflineTest, KeepsTheFirstReportsOfThousandsAndItsMemory) {
  constexpr std::size_t kEvents = 3000;
  constexpr std::size_t kKept = 41;
  // If what is not kept on disk stayed in memory, that would be 40 MB and more.
  constexpr std::size_t kMemoryGrowth = std::size_t{16} << 20;
  const std::string value(10000, 'v');
  ReportServer server(Behaviour::kAnswer, Port::kClosed);
  Host host(state_, server.reportingHere(folder_.path()));
  std::vector<std::string> names;
  for (std::size_t i = 0; i < kEvents; ++i) names.push_back("e" + std::to_string(i));

  // The host's own time to come to rest is short, so not all at once.
  std::size_t memoryEarly = 0;
  for (std::size_t i = 0; i < kEvents; ++i) {
    track(host, names[i], value);
    if (i % 250 == 249) host.drain();
    if (i == 249) memoryEarly = peakMemory(host.processId());
  }
  const std::size_t growth = peakMemory(host.processId()) - memoryEarly;
  if (kIsMemoryTelling) {
    EXPECT_LT(growth, kMemoryGrowth);
  }
  const auto records = cachedRecords(state_);
  EXPECT_EQ(records.size(), kKept);
  host.waitForLog("Cache reached limit - not caching request....", kEvents - kKept);
  EXPECT_EQ(countOf(host.log(), "Cache reached limit - not caching request...."), kEvents - kKept);

  server.open();
  track(host, "fresh");
  host.drain();
  auto expected = eventsOf(records);
  expected.insert(expected.begin(), "fresh");
  EXPECT_EQ(server.answeredEvents(), expected);
  EXPECT_TRUE(cachedRecords(state_).empty());
  EXPECT_EQ(host.finish(), 0);
  RecordProperty("memoryGrowth", std::to_string(growth));
}

}  // namespace
}  // namespace e2e
