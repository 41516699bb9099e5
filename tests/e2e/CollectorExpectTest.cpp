// The collector as a judge of a run: what it expects, its exit status and what it says.
#include <gtest/gtest.h>

#include <csignal>
#include <fstream>

#include "Applications.h"
#include "RunningCollector.h"

namespace e2e {
namespace {

TEST(CollectorExpectTest, EndsWithAStatusAndAReadableDifference) {
  const std::string launch = R"({"event":"Launched","counter":1})";
  const std::string purchase =
      R"({"event":"purchase","iaecounter":1,"eventvalue":"%7B%22price%22:9.990%2C%22film%22:%22R%C3%A4uber%22%7D"})";
  const std::string level = R"({"event":"level","eventvalue":"12.50"})";
  const struct {
    const char* name;
    std::string expected;
    std::vector<std::string> sent;
    int status;
    std::vector<std::string> said;
  } cases[] = {
      {"all of it, in another order",
       "# a "
       "run\n\n{\"kind\":\"event\",\"event\":\"purchase\",\"eventvalue\":{\"film\":\"Räuber\","
       "\"price\":9.99}}\n"
       "{\"kind\":\"launch\",\"counter\":1,\"app_id\":\"1\",\"timeincache\":null}",
       {launch, purchase},
       0,
       {"2 of 2 expected requests arrived, 0 not expected"}},
      {"kinds that nobody named",
       R"({"kind":"launch"})",
       {launch, purchase},
       0,
       {"1 of 1 expected requests arrived, 0 not expected"}},
      {"another value",
       R"({"kind":"event","event":"purchase","eventvalue":{"film":"Räuber","price":9.98},"appUID":"u"})",
       {purchase},
       3,
       {"different: event (line 1), request 1", R"(    appUID: expected "u", got nothing)",
        R"(    eventvalue: expected {"film":"Räuber","price":9.98}, got {"price":9.990,"film":"Räuber"})",
        "0 of 1 expected requests arrived, 0 not expected"}},
      {"one missing, one too many",
       "{\"kind\":\"event\",\"event\":\"level\",\"eventvalue\":\"12.50\"}\n{\"kind\":\"event\","
       "\"event\":\"gone\"}",
       {level, level},
       3,
       {R"(missing: event (line 2) event "gone")",
        R"(not expected: event, request 2 event "level" eventvalue "12.50")",
        "1 of 2 expected requests arrived, 1 not expected"}},
      {"what cannot be decoded",
       R"({"kind":"launch"})",
       {launch, ""},
       3,
       {"not expected: undecodable, request 2",
        "1 of 1 expected requests arrived, 1 not expected"}},
  };
  const TemporaryFolder folder;
  const std::string file = folder.path("expected");
  for (const auto& [name, expected, sent, status, said] : cases) {
    std::ofstream(file) << expected;
    RunningCollector collector(folder.path("state"), "", {"--jsonl", "--expect", file});
    const auto first = collector.ask("api/requests")["newest"].GetInt();
    for (const std::string& report : sent) {
      ASSERT_EQ(collector.send(report.empty() ? "?" : encoded(report)).status, 200);
    }
    const auto asked = collector.inspect("POST", "api/expect", expected);
    EXPECT_NE(asked.content.find(status == 0 ? R"("met":true)" : R"("met":false)"),
              asked.content.npos);
    EXPECT_EQ(collector.end(), status) << name;
    collector.process().errors().waitForEnd(Clock::now() + kPatience);
    auto lines = said;
    // Requests are numbered on over the runs of a folder.
    for (std::string& line : lines) {
      if (const auto at = line.find("request "); at != line.npos && std::isdigit(line[at + 8])) {
        line = line.substr(0, at + 8) + std::to_string(first + line[at + 8] - '0') +
               line.substr(at + 9);
      }
    }
    EXPECT_EQ(collector.process().errors().all(), lines) << name;
  }
  std::ofstream(file) << R"({"kind":"launch"})";
  RunningCollector soon(folder.path("state"), "", {"--jsonl", "--expect", file, "--within", "600"});
  EXPECT_EQ(soon.send(encoded(launch)).status, 200);
  EXPECT_EQ(soon.process().wait(), 0);  // By itself.
  for (const char* senseless : {"[]", "{\"kind\":\"launch\"}\n{\"kind\":\"dinner\"}", "{"}) {
    std::ofstream(file) << senseless;
    Process process(QUARNEL_COLLECTOR_BINARY, {"--port", "0", "--dev-key", "k", "--state",
                                               folder.path("state"), "--expect", file});
    EXPECT_EQ(process.wait(), 1) << senseless;
  }
}

}  // namespace
}  // namespace e2e
