// Storage and network that fail.
#include <gtest/gtest.h>

#include <filesystem>
#include <fstream>

#include "Applications.h"

namespace e2e {
namespace {

class ResilienceTest : public testing::Test {
 protected:
  std::string state() const { return folder_.path("state"); }

  TemporaryFolder folder_;
  Collector collector_{folder_.path("collector")};
};

std::vector<std::filesystem::path> filesIn(const std::string& folder) {
  std::vector<std::filesystem::path> files;
  for (const auto& entry : std::filesystem::recursive_directory_iterator(folder)) {
    if (entry.is_regular_file()) files.push_back(entry.path());
  }
  return files;
}

TEST_F(ResilienceTest, ReportsWithoutAPlaceToStoreAnything) {
  std::ofstream(folder_.path("file")) << "a file where the folder should be";
  Host host(folder_.path("file/state"), reportingTo(collector_));
  host.run(R"(["trackAppLaunch"])");
  const Report launch = collector_.next();
  EXPECT_EQ(launch.field("counter"), "1");
  host.run(R"(["trackEvent:withValue:","e","1"])");
  const Report event = collector_.next();
  EXPECT_EQ(event.field("iaecounter"), "1");
  EXPECT_EQ(event.field("uid"), launch.field("uid"));
  EXPECT_EQ(host.finish(), 0);
}

TEST_F(ResilienceTest, StartsAfreshWhenTheDefaultsAreCorrupt) {
  std::optional<std::string> original;
  {
    Host host(state(), reportingTo(collector_));
    host.run(R"(["trackAppLaunch"])");
    original = collector_.next().field("uid");
    EXPECT_EQ(host.finish(), 0);
  }
  const auto files = filesIn(state() + "/Library");
  ASSERT_FALSE(files.empty());
  for (const auto& file : files) std::ofstream(file) << std::string(8192, '#');

  // The second start must find sound defaults again, so only the first counts as reinstallation.
  for (const std::string launches : {"1", "2"}) {
    Host host(state(), reportingTo(collector_));
    host.run(R"(["trackAppLaunch"])");
    const Report launch = collector_.next();
    EXPECT_EQ(launch.field("counter"), launches);
    EXPECT_EQ(launch.field("reinstallCounter"), "1");
    EXPECT_EQ(launch.field("originalQuarnelId"), original);
    EXPECT_EQ(host.finish(), 0);
  }
}

TEST_F(ResilienceTest, TellsNothingToAServerThatItCannotTrust) {
  Collector stranger(folder_.path("stranger"));
  const auto cached = [this] { return filesIn(state() + "/Caches/QuarnelCache"); };
  {
    // The second --ca replaces the first: the other collector's, which has not signed this one.
    Host host(state(),
              reportingTo(collector_, {"--ca", stranger.certificateAuthority(), "--debug"}));
    host.run(R"(["trackEvent:withValue:","secret","1"])");
    host.waitForLog("Quarnel Connection failed! Error - ");
    EXPECT_EQ(host.finish(), 0);
    ASSERT_EQ(cached().size(), 1U);
  }
  Host host(state(), reportingTo(collector_));
  host.run(R"(["trackEvent:withValue:","first","2"])");
  // The first request that arrives at all is this one, so nothing was delivered before.
  EXPECT_EQ(collector_.next().field("event"), "\"first\"");
  const Report replayed = collector_.next();
  EXPECT_EQ(replayed.field("event"), "\"secret\"");
  const testing::Matcher<std::string> replayQuery =
      testing::MatchesRegex(R"(app_id=123456789&buildnumber=1\.0\.0)"
                            R"(&timeincache=[0-9]+\.[0-9]{6}&isCachedRequest=true)");
  EXPECT_TRUE(replayQuery.Matches(replayed.about("query"))) << replayed.about("query");
  EXPECT_EQ(host.finish(), 0);
  EXPECT_TRUE(cached().empty());
}

}  // namespace
}  // namespace e2e
