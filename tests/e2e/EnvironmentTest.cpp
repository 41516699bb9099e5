// What applications and users do to the process that the library lives in.
#include <gtest/gtest.h>

#include <algorithm>
#include <cstdlib>
#include <fstream>
#include <iterator>
#include <set>

#include "CacheFolder.h"
#include "ReportDecoder.h"
#include "ReportServer.h"

namespace e2e {
namespace {

using Words = std::vector<std::string>;

bool matches(const std::string& text, const char* pattern) {
  return testing::Matcher<std::string>(testing::MatchesRegex(pattern)).Matches(text);
}

std::string json(const Delivery& delivery) {
  const auto report = collector::ReportDecoder(kDeveloperKey).decode(delivery.body);
  return report.json.value_or(report.error);
}

// Where LeakSanitizer is wrong: it cannot look into the threads that a forked child is without, and
// the C library keeps LOCPATH in memory. ThreadSanitizer lets each process rest for a second.
const Words kNoWorkAtExit{"ASAN_OPTIONS=detect_leaks=0",
                          "TSAN_OPTIONS=halt_on_error=1:atexit_sleep_ms=0"};

// ThreadSanitizer's own memory can be locked when other threads are forked away: then the child
// waits for it for ever.
#ifdef __SANITIZE_THREAD__
constexpr bool kCanForkBusyThreads = false;
#else
constexpr bool kCanForkBusyThreads = true;
#endif

class EnvironmentTest : public testing::Test {
 protected:
  EnvironmentTest() { server_.reportingHere(folder_.path()); }

  // `with` goes in front of the command.
  Process start(const std::string& scenario, const Words& with = {}) const {
    Words words{"-C", folder_.path()};
    words.insert(words.end(), with.begin(), with.end());
    words.insert(words.end(), {QUARNEL_ENVIRONMENT_APP, QUARNEL_ENVIRONMENT_SCENARIOS, scenario,
                               server_.address(), "issuer.pem"});
    return Process("/usr/bin/env", words);
  }
  void expectToWork(const std::string& scenario, const Words& with = {}) const {
    Process process = start(scenario, with);
    EXPECT_EQ(process.wait(), 0) << scenario << "\n"
                                 << testing::PrintToString(process.errors().all());
  }
  std::multiset<std::string> takeAnswered() {
    const auto all = server_.answeredEvents();
    std::multiset<std::string> fresh(all.begin() + static_cast<std::ptrdiff_t>(taken_), all.end());
    taken_ = all.size();
    return fresh;
  }
  // No store was given up, and nothing that is meant for people got into one.
  void expectSoundFiles() const {
    for (const auto& entry : std::filesystem::recursive_directory_iterator(folder_.path("state"))) {
      const std::string name = entry.path().filename();
      EXPECT_EQ(name.find(".corrupt-"), std::string::npos) << name;
      if (!entry.is_regular_file()) continue;
      std::ifstream file(entry.path(), std::ios::binary);
      const std::string content{std::istreambuf_iterator<char>(file), {}};
      EXPECT_EQ(content.find("-[Quarnel"), std::string::npos) << name;
    }
  }

  TemporaryFolder folder_;
  ReportServer server_;
  std::size_t taken_ = 0;
};

TEST_F(EnvironmentTest, EachReportArrivesOnceWhateverTheApplicationDoes) {
  const struct {
    std::string scenario;
    std::multiset<std::string> events;
    Words with;
  } cases[] = {
      {"fork and use", {"p0", "p1", "p2", "p3", "p4", "p5", "p6", "p7"}, kNoWorkAtExit},
      {"fork in callback", {"after", "qn_purchase"}, kNoWorkAtExit},
      {"fork and execute", {"before", "after"}, kNoWorkAtExit},
      {"track at exit", {"first", "last"}, {}},
      {"closed streams", {"a", "b", "c"}, {}},
      {"full table", {"before", "while full", "after"}, {}},
      {"moved away", {"after"}, {}},
      {"open permissions", {"e"}, {}},
      {"broken pipe", {"e"}, {}},
      {"small stack", {"small"}, {"prlimit", "--stack=262144"}},
  };
  for (const auto& each : cases) {
    if (each.scenario == "small stack" && QUARNEL_IS_SANITIZED) continue;
    if (each.scenario.rfind("fork ", 0) == 0 && !kCanForkBusyThreads) continue;
    std::filesystem::remove_all(folder_.path("state"));
    expectToWork(each.scenario, each.with);
    // Brings what lies in the cache.
    expectToWork("once");
    auto expected = each.events;
    expected.insert("e");
    EXPECT_EQ(takeAnswered(), expected) << each.scenario;
    expectSoundFiles();
    EXPECT_TRUE(cachedRecords(folder_.path("state")).empty()) << each.scenario;
  }
}

TEST_F(EnvironmentTest, WorksOnWhenItIsUnloaded) {
  Process process = start("unload");
  const auto unloaded = process.output().next(Clock::now() + kPatience);
  EXPECT_EQ(unloaded, "unloaded");
  server_.waitUntilAnswered(3);
  process.closeInput();
  EXPECT_EQ(process.wait(), 0);
}

TEST_F(EnvironmentTest, TwoProcessesAreOneInstallation) {
  {
    Process first = start("together");
    Process second = start("together");
    for (Process* const each : {&first, &second}) {
      EXPECT_EQ(each->output().next(Clock::now() + kPatience), "begun");
    }
    for (Process* const each : {&first, &second}) each->closeInput();
    EXPECT_EQ(first.wait(), 0);
    EXPECT_EQ(second.wait(), 0);
  }
  std::set<std::string> identifiers;
  std::set<int> numbers;
  for (const Delivery& delivery : server_.answered()) {
    rapidjson::Document report;
    report.Parse(json(delivery).c_str());
    identifiers.insert(report["uid"].GetString());
    EXPECT_TRUE(numbers.insert(report["iaecounter"].GetInt()).second);
  }
  EXPECT_EQ(identifiers.size(), 1U);
  EXPECT_EQ(numbers.size(), 30U);
  EXPECT_EQ(*numbers.rbegin(), 30);
  expectSoundFiles();
}

TEST_F(EnvironmentTest, NumbersAndNamesAreTheSameInEveryLocale) {
  const std::string locale = folder_.path("de_DE.UTF-8");
  Words with = kNoWorkAtExit;
  with.insert(with.end(), {"LC_ALL=de_DE.UTF-8", "LOCPATH=" + folder_.path()});
  ASSERT_EQ(std::system(("localedef -i de_DE -f UTF-8 " + locale).c_str()), 0);
  server_.behave(ReportServer::Behaviour::kDropAtAccept);
  expectToWork("locale", with);
  for (const CachedRecord& record : cachedRecords(folder_.path("state"))) {
    EXPECT_TRUE(matches(record.name, R"([0-9]+\.[0-9]{6}\.qn)")) << record.name;
  }
  server_.behave(ReportServer::Behaviour::kAnswer);
  expectToWork("locale", with);
  const auto answered = server_.answered();
  ASSERT_EQ(answered.size(), 4U);
  for (const Delivery& delivery : answered) {
    const std::string report = json(delivery);
    EXPECT_TRUE(matches(report, ".*(:1234\\.5|:2\\.5.*:48\\.25).*")) << report;
    EXPECT_TRUE(matches(report, R"(.*"timestamp":"[0-9]+\.[0-9]{6}".*)")) << report;
  }
  EXPECT_TRUE(matches(answered.back().target, R"(.*&timeincache=[0-9]+\.[0-9]{6}&.*)"));
}

}  // namespace
}  // namespace e2e
