// The example applications in other languages: the same life, told by each of them.
#include <gtest/gtest.h>

#include <algorithm>
#include <cstdlib>
#include <fstream>

#include "Applications.h"

namespace e2e {
namespace {

using Lines = std::vector<std::string>;

void liveAndReport(const std::string& program, const Lines& before) {
  const TemporaryFolder folder;
  std::ofstream(folder.path("conversion.json")) << R"({"campaign":"spring"})";
  std::ofstream(folder.path("receipts.json")) << R"({"cmVjZWlwdA==":["t1"]})";
  std::ofstream(folder.path("receipt")) << "receipt";
  Collector collector(
      folder.path("collector"), kDeveloperKey, 0,
      {"--conversion", folder.path("conversion.json"), "--receipts", folder.path("receipts.json")});
  Lines arguments = before;
  for (const std::string& argument : {collector.address(), collector.certificateAuthority(),
                                      folder.path("state"), folder.path("receipt")}) {
    arguments.push_back(argument);
  }
  Process application(program, arguments);
  ASSERT_EQ(application.wait(), 0);

  Lines events;
  for (int at = 0; at < 6; ++at) {
    const Report report = collector.next();
    const std::string kind = report.about("kind");
    events.push_back(kind + " " + report.field("event").value_or("") + " " +
                     report.field("eventvalue").value_or("").substr(0, 40));
    if (kind == "launch") {
      EXPECT_EQ(report.field("qn_deeplink"), quoted("cinema://film/7?qn_deeplink=spring"))
          << report.about("body");
      EXPECT_EQ(report.field("appUID"), "\"viewer-42\"") << report.about("body");
    }
  }
  std::sort(events.begin(), events.end());
  EXPECT_EQ(events, (Lines{"conversion  ", R"(event "level" "12.50")",
                           R"(event "qn_purchase" "%7B%22qn_revenue%22:4.99%2C%22qn_valida)",
                           R"(event "watched" "%7B%22film%22:%22R%C3%A4uber%22%2C%22mi)",
                           R"(launch "Launched" "")", "validation  "}));

  application.output().waitForEnd(Clock::now() + kPatience);
  Lines told = application.output().all();
  std::sort(told.begin(), told.end());
  EXPECT_EQ(told,
            (Lines{"bought: film-7", R"(came from: {"campaign":"spring"})",
                   R"(opened from: {"qn_deeplink":"spring","path":"/7","scheme":"cinema"})"}));
}

TEST(LanguagesTest, C) { liveAndReport(QUARNEL_C_EXAMPLE, {}); }

TEST(LanguagesTest, Python) {
  if (std::string(QUARNEL_LIBRARY_FILE).empty()) {
    GTEST_SKIP() << "an interpreter can load neither a static library nor a sanitizer";
  }
  setenv("QUARNEL_LIBRARY", QUARNEL_LIBRARY_FILE, 1);
  liveAndReport(QUARNEL_PYTHON, {QUARNEL_PYTHON_EXAMPLE});
}

}  // namespace
}  // namespace e2e
