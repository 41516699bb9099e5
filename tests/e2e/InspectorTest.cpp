// What the collector finds wrong with requests.
#include <gtest/gtest.h>

#include <fstream>
#include <set>

#include "Applications.h"
#include "RunningCollector.h"

namespace e2e {
namespace {

using Commands = std::vector<std::string>;

TEST(InspectorTest, FindsNothingWrongWithWhatTheLibrarySends) {
  const std::string launch = R"(["trackAppLaunch"])";
  const std::string pause = R"(["wait", 0.3])";  // The launch comes with a delay.
  const std::string event = R"(["trackEvent:withValue:", "level", "12.50"])";
  const std::string background = R"(["post", "UIApplicationDidEnterBackgroundNotification"])";
  const std::string purchase =
      R"(["validateAndTrackInAppPurchase:price:currency:transactionId:additionalParameters:success:failure:", "p1", 4.99, "EUR", "demo-transaction", {"x": "y"}])";
  const struct {
    std::string state;
    std::string device;
    bool isOffline;  // Events meet a connection that is dropped.
    Commands commands;
  } runs[] = {
      {"a", "{}", false, {launch, pause, R"(["registerUninstall:", {"$data": "01abcdef"}])"}},
      {"b",
       R"({"systemversion": "6.1", "vendorId": null, "platform": null})",
       false,
       {event, launch, pause, background, R"(["set", "shouldCollectDeviceName", false])",
        R"(["setUserEmails:withCryptType:", ["a@b.c"], 0])", event}},
      {"c",
       R"({"systemversion": "7.0", "name": null})",
       true,
       {R"(["set", "customerUserID", "viewer"])", R"(["set", "currencyCode", "EUR"])",
        R"(["set", "deviceTrackingDisabled", true])",
        R"(["set", "useReceiptValidationSandbox", true])",
        R"(["setAdditionalData:", {"plan": ["gold", null, 1e300]}])",
        R"(["setUserEmails:withCryptType:", ["a@b.c", "d@e.f"], 2])",
        R"(["advertising", {"identifier": "6D92078A-8246-4BA4-AE5B-76104861E7DC", "enabled": true}])",
        R"(["adClient", {"operations": ["requestAttributionDetailsWithBlock:", "lookupAdConversionDetails:"], "after": 0, "purchaseDate": 1457186820, "impressionDate": 1457100000}])",
        R"(["handleOpenURL:sourceApplication:withAnnotation:", "app://x?qn_deeplink=1", "com.other", null])",
        R"(["loadConversionDataWithDelegate:", ["onConversionDataReceived:"]])", launch, pause,
        event, R"(["trackEvent:withValues:", "purchase", {"qn_revenue": 9.99}])"}},
      {"c",
       R"({"systemversion": "9.2"})",
       false,
       {R"(["handlePushNotification:", {"qn": {"c": "push"}}])", launch, pause,
        R"(["trackLocation:latitude:", 2.35, 48.85])", purchase, event, background}},
  };
  const TemporaryFolder folder;
  RunningCollector collector(folder.path("collector"), "k", {"--jsonl"});
  const std::string receipt = folder.path("receipt");
  std::ofstream(receipt) << "a receipt";
  for (const auto& run : runs) {
    collector.control(run.isOffline ? R"({"faults":{"event":{"drop":true}}})" : "{}");
    Host host(folder.path(run.state),
              {"--dev-key", "k", "--app-id", "1", "--ca", collector.ca(), "--collector",
               "localhost:" + collector.port(), "--device", run.device, "--receipt", receipt,
               "--keychain", folder.path("keychain.db")});
    for (const std::string& command : run.commands) host.run(command);
    host.drain();
    ASSERT_EQ(host.finish(), 0);
  }
  std::set<std::string> seen;
  const auto all = collector.ask("api/requests?limit=500");
  for (const auto& request : all["requests"].GetArray()) {
    seen.insert(request["kind"].GetString());
    if (request["cachedSeconds"].IsNumber()) seen.insert("replayed");
  }
  EXPECT_EQ(seen, (std::set<std::string>{"conversion", "event", "launch", "registration",
                                         "replayed", "statistics", "validation"}));
  EXPECT_EQ(collector.get("api/export?problems=1").content, "");
}

// A report with every field that is always there; `change` replaces what stands between the bars.
std::string reportWith(const std::string& from, const std::string& to) {
  std::string json =
      R"({"uid":"1457194020000-4","serverApiVersion":"4","systemname":"tvOS","systemversion":"9.2",)"
      R"("model":"","localizedmodel":"","platform":"","platformextension":"iOS_Native","counter":7,)"
      R"("sessioncounter":3,"iaecounter":9,"timepassedsincelastlaunch":1.5,"advertiserId":"",)"
      R"("advertiserIdEnabled":false,"bundleIdentifier":"a","date1":"2016-03-05_1607+0200",)"
      R"("date2":"","date3":"","firstLaunchDate":"","currentLanguage":"en","currentCountrycode":"US",)"
      R"("timestamp":"1457186820.100000","event":"e","eventvalue":"","wifi":true})";
  const auto at = json.find(from);
  if (at == json.npos) throw Failure("no " + from);
  return json.replace(at, from.size(), to);
}

TEST(InspectorTest, TellsWhatIsWrong) {
  const std::string ordinary = reportWith("uid", "uid");
  const std::string replayed = std::string(kPath) + "&timeincache=";
  const struct {
    std::string json;
    std::string target;
    std::string problem;  // None for a sound report.
  } cases[] = {
      {ordinary, kPath, ""},
      {ordinary, replayed + "60.500000&isCachedRequest=true", ""},
      {ordinary, replayed + "60.500000", "isCachedRequest"},
      {ordinary, replayed + "60.5&isCachedRequest=true", "seconds with six decimals"},
      {ordinary, replayed + "-5.000000&isCachedRequest=true", "clock"},
      {ordinary, "/api/v4/iosevent?app_id=x1&buildnumber=1.0.0",
       R"("app_id","text":"in the query)"},
      {ordinary, "/api/v4/iosevent?app_id=1", R"("buildnumber","text":"is missing)"},
      {reportWith(R"("wifi":true)", R"("wifi":"yes")"), kPath, R"("wifi","text":"should be true)"},
      {reportWith(R"(,"wifi":true)", ""), kPath, R"("wifi","text":"is missing)"},
      {reportWith("1457194020000-4", "x"), kPath, R"("uid","text":"should be milli)"},
      {reportWith("2016-03-05_1607+0200", "2016-03-05"), kPath,
       R"("date1","text":"should be a date)"},
      {reportWith("{", R"({"wi-fi":1,)"), kPath, R"("wi-fi","text":"is not a known field)"},
      // Made earlier and overtaken by the others, it has lower counters by right.
      {reportWith(R"("iaecounter":9,"time)", R"("iaecounter":8,"time)")
           .replace(ordinary.find("1457186820"), 10, "1457186819"),
       kPath, ""},
      // So has a replayed one: the clock may have been changed meanwhile.
      {reportWith(R"("iaecounter":9,"time)", R"("iaecounter":8,"time)")
           .replace(ordinary.find("1457186820"), 10, "1457186822"),
       replayed + "60.500000&isCachedRequest=true", ""},
      {reportWith(R"("iaecounter":9,"time)", R"("iaecounter":8,"time)")
           .replace(ordinary.find("1457186820"), 10, "1457186821"),
       kPath, R"("iaecounter","text":"jumps back)"},
  };
  const TemporaryFolder folder;
  RunningCollector collector(folder.path("state"), "", {"--jsonl"});
  const std::vector<std::string> headers = {"Accept: application/json",
                                            "Content-Type: application/json"};
  for (const auto& [json, target, problem] : cases) {
    ASSERT_EQ(collector.send(encoded(json), target, headers).status, 200);
    const std::string found = jsonText(collector.json()["problems"]);
    if (problem.empty()) {
      EXPECT_EQ(found, "[]") << json << target;
    } else {
      EXPECT_NE(found.find(problem), found.npos) << found << " lacks " << problem;
      EXPECT_EQ(found.find("severity"), found.rfind("severity"))
          << found << " is more than " << problem;
    }
  }
  ASSERT_EQ(collector.send(encoded(ordinary), kPath).status, 200);
  EXPECT_NE(jsonText(collector.json()["problems"]).find("Content-Type"), std::string::npos);
}

TEST(InspectorTest, TellsWhichOtherKeyDecodesABody) {
  const TemporaryFolder folder;
  RunningCollector collector(folder.path("collector"), "k", {"--jsonl"});
  Host host(folder.path("state"), {"--dev-key", "mistyped", "--app-id", "1", "--ca", collector.ca(),
                                   "--collector", "localhost:" + collector.port()});
  const std::pair<std::string, std::string> steps[] = {
      {R"(["trackAppLaunch"])", "does not decode with the developer key"},
      {R"(["post", "UIApplicationDidEnterBackgroundNotification"])", "is not the developer key"},
      {R"(["trackEvent:withValue:", "e", null])", R"(\"mistyped\" decodes)"},
  };
  for (const auto& [command, problem] : steps) {
    host.run(command);
    const std::string problems = jsonText(collector.json()["problems"]);
    EXPECT_NE(problems.find(problem), std::string::npos) << problems;
  }
}

}  // namespace
}  // namespace e2e
