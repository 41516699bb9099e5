// A state folder that an earlier build has left is continued.
#include <gtest/gtest.h>

#include <filesystem>
#include <fstream>
#include <sstream>

#include "CacheFolder.h"
#include "ReportServer.h"

namespace e2e {
namespace {

namespace fs = std::filesystem;

std::string read(const fs::path& path) {
  std::ostringstream content;
  content << std::ifstream(path, std::ios::binary).rdbuf();
  return content.str();
}

// The records go to a server of this test instead of the one that was down.
void redirectRecords(const std::string& folder, const std::string& address) {
  for (const auto& entry : fs::directory_iterator(folder)) {
    std::string record = read(entry.path());
    const std::size_t host = record.find("https://") + 8;
    record.replace(host, record.find('/', host) - host, address);
    std::ofstream(entry.path(), std::ios::binary | std::ios::trunc) << record;
  }
}

TEST(FormerStateTest, IsContinued) {
  const TemporaryFolder folder;
  const std::string state = folder.path("state");
  fs::copy(QUARNEL_FORMER_STATE, state, fs::copy_options::recursive);
  const std::string preferences = state + "/Library/Preferences/";
  ASSERT_TRUE(fs::exists(preferences + "report-counters"));
  ReportServer server;
  redirectRecords(cacheFolder(state), server.address());

  Host host(state, server.reportingHere(folder.path(), {"--bundle-id", "tv.example"}));
  host.run(R"(["getQuarnelUID"])");
  EXPECT_EQ(host.next(), R"({"result":"getQuarnelUID","value":"1795523498874-2696691"})");
  host.run(R"(["trackEvent:withValue:","fresh","v"])");
  server.waitUntilAnswered(4);
  host.drain();
  host.run(R"(["diagnostics"])");
  const std::string numbers = host.next();
  for (const char* number : {R"("accepted":4)", R"("delivered":1)", R"("cached":3)",
                             R"("replayed":3)", R"("withProcess":0)", R"("storesSetAside":0)"}) {
    EXPECT_NE(numbers.find(number), std::string::npos) << number << " in " << numbers;
  }
  EXPECT_EQ(host.finish(), 0);

  const auto answered = server.answered();
  EXPECT_EQ(fieldOf(answered[0].body, "uid"), "1795523498874-2696691");
  EXPECT_EQ(fieldOf(answered[0].body, "iaecounter"), "3");
  EXPECT_EQ(fieldOf(answered[0].body, "counter"), "1");
  EXPECT_EQ(fieldOf(answered[0].body, "firstLaunchDate"), "2026-11-24_1231+0000");
  EXPECT_TRUE(fs::is_empty(cacheFolder(state)));
  EXPECT_FALSE(fs::exists(preferences + "report-counters"));
}

}  // namespace
}  // namespace e2e
