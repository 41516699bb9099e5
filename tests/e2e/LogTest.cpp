// What the library logs.
#include <gtest/gtest.h>

#include "Applications.h"

namespace e2e {
namespace {

// Cuts off what differs from run to run: the text behind these words.
std::string generalised(const std::string& line) {
  for (const std::string words :
       {"date1= ", "date2= ", "date3= ", "first launch date: ", "data: "}) {
    const auto found = line.find(words);
    if (found != std::string::npos) return line.substr(0, found + words.size()) + "...";
  }
  return line;
}

TEST(LogTest, FirstLaunchIsToldStepByStep) {
  const TemporaryFolder folder;
  Collector collector(folder.path("collector"));
  const std::string tracker = "Quarnel: -[QuarnelTracker ";
  const std::string builder =
      tracker + "callServerWithEventName:value:withDictionary:isEvent:isNewAPI:] ";
  const std::string server =
      "Quarnel: +[QuarnelServerHandler "
      "sendRequestEventToServer:isRequestFromCache:appID:isDebug:onSuccess:] ";
  const std::string answer = server.substr(0, server.size() - 1) + "_block_invoke ";
  const std::string expected[] = {
      "Quarnel SDK version 1.0.0 started build",
      tracker +
          "setIsDebug:] * * * Quarnel is set to debug mode. This should only be used in "
          "development enviornment!!!! * * *",
      tracker + "trackAppLaunch] Launch",
      builder + "(1.0.0): entered callServerWithEventName.",
      builder + "dev key: devkey",
      builder + "First time = 1 (null) QuarnelInstallTimestamp",
      builder + "Get install receipt",
      tracker + "getCounter:] increase=1",
      tracker + "getCounter:] 1st lanunch",
      tracker + "getCounter:] save counter 1",
      tracker + "getInAppCounter:] increase=0",
      tracker + "getInAppCounter:] no in-app yet",
      tracker + "getInAppCounter:] save in-app counter 0",
      tracker + "getInstallDate:] first installDate detected",
      builder + "Looking for previous version date.",
      tracker + "getVersionUpdateDate:currentUpdateDate:] saved version: (null)",
      tracker + "getVersionUpdateDate:currentUpdateDate:] new version detected",
      builder + "date1= ...",
      builder + "date2= ...",
      builder + "date3= ...",
      tracker + "getCounter:] increase=0",
      tracker + "getCounter:] lanunch number 1",
      tracker + "getFirstLanuchDate:] first launch detected",
      tracker + "getFirstLanuchDate:] first launch date: ...",
      builder + "check network",
      server + "quarnel URL: https://" + collector.address() +
          "/api/v4/iosevent?app_id=123456789&buildnumber=1.0.0",
      "data: ...",
      server + "Quarnel: sending request to server ",
      answer + "Quarnel: sent information to server",
      "Quarnel: -[QuarnelRequestCache getCacheDirectoryPath] cache dir: " +
          folder.path("state/Caches/QuarnelCache"),
      "Quarnel: -[QuarnelRequestCache processCache] Cache size 0",
  };

  Host host(folder.path("state"), reportingTo(collector, {"--debug"}));
  host.run(R"(["trackAppLaunch"])");
  host.waitForLog("Cache size");
  EXPECT_EQ(host.finish(), 0);
  std::string actualText;
  for (const std::string& line : host.log()) actualText += generalised(line) + '\n';
  std::string expectedText;
  for (const std::string& line : expected) expectedText += line + '\n';
  EXPECT_EQ(actualText, expectedText);
}

}  // namespace
}  // namespace e2e
