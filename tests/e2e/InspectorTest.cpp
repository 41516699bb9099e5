// What the collector finds wrong with requests, and what its inspector's page is given.
#include <gtest/gtest.h>
#include <sqlite3.h>

#include <fstream>
#include <memory>
#include <set>

#include "Applications.h"
#include "RunningCollector.h"

namespace e2e {
namespace {

using Commands = std::vector<std::string>;

TEST(InspectorTest, FindsNothingWrongWithWhatTheLibrarySends) {
  const Commands everything = {
      R"(["set", "customerUserID", "viewer"])",
      R"(["set", "currencyCode", "EUR"])",
      R"(["set", "deviceTrackingDisabled", true])",
      R"(["setAdditionalData:", {"plan": ["gold", null, 1e300]}])",
      R"(["setUserEmails:withCryptType:", ["a@b.c", "d@e.f"], 2])",
      R"(["handleOpenURL:sourceApplication:withAnnotation:", "app://x?qn_deeplink=1", "com.other", null])",
      R"(["adClient", {"operations": ["requestAttributionDetailsWithBlock:", "lookupAdConversionDetails:"], "after": 0, "purchaseDate": 1457186820, "impressionDate": 1457100000}])",
      R"(["trackAppLaunch"])",
      R"(["wait", 0.3])",
      R"(["trackEvent:withValue:", "level", "12.50"])",
      R"(["trackEvent:withValues:", "purchase", {"qn_revenue": 9.99}])",
      R"(["trackLocation:latitude:", 2.35, 48.85])",
      R"(["validateAndTrackInAppPurchase:price:currency:transactionId:additionalParameters:success:failure:", "p1", 4.99, "EUR", "demo-transaction", null])",
      R"(["registerUninstall:", {"$data": "01abcdef"}])",
      R"(["loadConversionDataWithDelegate:", ["onConversionDataReceived:"]])",
      R"(["post", "UIApplicationDidEnterBackgroundNotification"])",
      R"(["drain"])",
      R"(["trackAppLaunch"])",
      R"(["wait", 0.3])",
  };
  const std::vector<std::string> devices = {R"({})",
                                            R"({"systemversion": "6.1", "vendorId": null})",
                                            R"({"systemversion": "9.2", "name": null})"};
  const TemporaryFolder folder;
  RunningCollector collector(folder.path("collector"), "k", {"--jsonl"});
  const std::string receipt = folder.path("receipt");
  std::ofstream(receipt) << "a receipt";
  for (std::size_t i = 0; i < devices.size(); ++i) {
    Host host(folder.path("state" + std::to_string(i)),
              {"--dev-key", "k", "--app-id", "1", "--ca", collector.ca(), "--collector",
               "localhost:" + collector.port(), "--device", devices[i], "--receipt", receipt,
               "--keychain", folder.path("keychain.db")});
    for (const std::string& command : everything) host.run(command);
    ASSERT_EQ(host.finish(), 0);
  }
  rapidjson::Document all;
  all.Parse(get(collector.inspector() + "api/requests?limit=500").content.c_str());
  std::set<std::string> kinds;
  for (const auto& request : all["requests"].GetArray()) kinds.insert(request["kind"].GetString());
  EXPECT_EQ(kinds.size(), 6U);
  EXPECT_EQ(get(collector.inspector() + "api/requests?problems=1").content.find("\"id\""),
            std::string::npos)
      << get(collector.inspector() + "api/export?problems=1").content;
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

void execute(const std::string& database, const std::string& sql) {
  sqlite3* handle = nullptr;
  ASSERT_EQ(sqlite3_open(database.c_str(), &handle), SQLITE_OK);
  EXPECT_EQ(sqlite3_exec(handle, sql.c_str(), nullptr, nullptr, nullptr), SQLITE_OK)
      << sqlite3_errmsg(handle);
  sqlite3_close(handle);
}

std::string idsOf(const std::string& list) {
  rapidjson::Document document;
  document.Parse(list.data(), list.size());
  std::string ids;
  for (const auto& request : document["requests"].GetArray()) {
    ids += std::to_string(request["id"].GetInt()) + " ";
  }
  return ids + (document["more"].GetBool() ? "more" : "end");
}

TEST(InspectorTest, PagesAndFiltersAHundredThousandRequests) {
  const TemporaryFolder folder;
  ASSERT_EQ(RunningCollector(folder.path("state"), "k", {"--jsonl"}).end(), 0);
  execute(folder.path("state") + "/reports.db", R"(
    WITH RECURSIVE n(i) AS (SELECT 1 UNION ALL SELECT i + 1 FROM n WHERE i < 100000)
    INSERT INTO request (id, run, received_ms, method, kind, host, path, query, headers, body, size,
                         report, installation, event, status, answer, errors, warnings, problems)
    SELECT i, 1, i, 'POST', iif(i % 1000 = 0, 'launch', 'event'), 'h', '/p', 'q', '[]', 'b', 1,
           json_object('eventvalue', 'Value ' || i), (i % 7) || '-1', 'e' || (i % 10), 200, '{}',
           i % 50000 = 0, 0, '[]' FROM n)");
  RunningCollector collector(folder.path("state"), "k", {"--jsonl"});
  const std::pair<std::string, std::string> cases[] = {
      {"limit=2", "100000 99999 more"},
      {"limit=2&before=99999", "99998 99997 more"},
      {"limit=2&after=99999", "100000 end"},
      {"limit=3&kind=launch&before=3000", "2000 1000 end"},
      {"limit=2&kind=launch&kind=event&installation=0-1&event=e3", "99953 99883 more"},
      {"problems=1", "100000 50000 end"},
      {"search=vALUE%2077777", "77777 end"},
      {"limit=1&search=/p%3FQ", "100000 more"},
      {"search=%25", "end"},
  };
  for (const auto& [query, ids] : cases) {
    const Outcome outcome = get(collector.inspector() + "api/requests?" + query);
    ASSERT_EQ(outcome.status, 200) << query << outcome.content;
    EXPECT_EQ(idsOf(outcome.content), ids) << query;
  }
  for (const char* senseless :
       {"kind=%27", "limit=0", "limit=501", "before=x", "after=-1", "problems=yes", "sort=1"}) {
    EXPECT_EQ(get(collector.inspector() + "api/requests?" + senseless).status, 400) << senseless;
  }
  const std::string lines = get(collector.inspector() + "api/export?kind=launch").content;
  EXPECT_EQ(std::count(lines.begin(), lines.end(), '\n'), 100);
  EXPECT_EQ(get(collector.inspector() + "api/requests/100001").status, 404);
}

}  // namespace
}  // namespace e2e
