#include "Scenario.h"

#include <map>
#include <sstream>

#include "util/Json.h"
#include "util/Text.h"

namespace quarnel::testing {
namespace {

constexpr const char* kKey = "k&y";

// The fields of a first launch, as JSON.
std::map<std::string, std::string> firstLaunch() {
  return {{"uid", R"("1456333559346-1")"},
          {"serverApiVersion", R"("4")"},
          {"name", R"("Living Room")"},
          {"systemname", R"("tvOS")"},
          {"systemversion", R"("9.2")"},
          {"model", R"("Apple TV")"},
          {"localizedmodel", R"("Apple TV 4")"},
          {"platform", R"("AppleTV5;3;1")"},
          {"platformextension", R"("iOS_Native")"},
          {"counter", "1"},
          {"sessioncounter", "1"},
          {"iaecounter", "0"},
          {"timepassedsincelastlaunch", "-1"},
          {"advertiserId", R"("")"},
          {"advertiserIdEnabled", "false"},
          {"bundleIdentifier", R"("example.quarnel.simulated")"},
          {"vendorId", R"("0D0F1E4C-5A0B-4E62-9E0B-2F9C9F6C1D11")"},
          {"bundleversion", R"("42")"},
          {"bundlename", R"("Simulated")"},
          {"shortbundleversion", R"("1.2")"},
          {"date1", R"("2016-02-24_1705+0000")"},
          {"date2", R"("2016-02-28_2105+0000")"},
          {"date3", R"("2016-02-28_2105+0000")"},
          {"firstLaunchDate", R"("2016-03-05_1407+0000")"},
          {"currentLanguage", R"("en-US")"},
          {"currentCountrycode", R"("US")"},
          {"timestamp", R"("1457186820.100000")"},
          {"event", R"("Launched")"},
          {"eventvalue", R"("")"},
          {"wifi", "true"}};
}

const std::pair<const char*, const char*> kShortNames[] = {
    {"Quarnel: -[QuarnelTracker callServerWithEventName:value:withDictionary:isEvent:isNewAPI:]",
     "{build}"},
    {"Quarnel: +[QuarnelServerHandler "
     "sendRequestEventToServer:isRequestFromCache:appID:isDebug:onSuccess:]",
     "{send}"},
    {"Quarnel: -[QuarnelTracker validateAndTrackInAppPurchase:price:currency:transactionId:"
     "additionalParameters:success:failure:]",
     "{validate}"},
    {"Quarnel: -[QuarnelTracker ", "{"},
    {"Quarnel: -[QuarnelRequestCache ", "{cache "},
    {"Quarnel: +[QuarnelServerHandler ", "{handler "},
    {"https://launches.quarnel.example/api/v4/iosevent?app_id=1&buildnumber=1.0.0", "<launches>"},
    {"https://events.quarnel.example/api/v4/iosevent?app_id=1&buildnumber=1.0.0", "<events>"},
    {"example.quarnel.QuarnelReports", "reports"},
    {"example.quarnel.QuarnelCache", "cache"},
    {"/simulated/Caches/QuarnelCache", "<cache>"},
    {R"("class":"genp","gena":{"$data":"4b43517561726e656c4964"},)"
     R"("acct":{"$data":"4b43517561726e656c4964"})",
     "KCQuarnelId"},
    {R"("class":"genp","gena":{"$data":"4b43517561726e656c5249436f756e746572"},)"
     R"("acct":{"$data":"4b43517561726e656c5249436f756e746572"})",
     "KCQuarnelRICounter"},
    {R"("svce":"example.Quarnel.sdk","pdmn":"dku")", "<service>"},
    {R"("m_Limit":"m_LimitOne","r_Data":true)", "<one>"},
};

std::string shortened(std::string text) {
  for (const auto& [name, brief] : kShortNames) {
    for (auto at = text.find(name); at != std::string::npos; at = text.find(name)) {
      text.replace(at, std::string(name).size(), brief);
    }
  }
  return text;
}

}  // namespace

Scenario::Scenario(HostEnvironment environment) : platform(environment) {
  platform.setDeviceFact("localizedmodel", "Apple TV 4");
  platform.setDeviceFact("platform", "AppleTV5,3,1");
  delegate.onConversionDataReceived = [this](const Dictionary& data) {
    call("data " + *writeJson(data));
  };
  delegate.onConversionDataRequestFailure = [this](const Error& error) {
    call("failure " + error.domain + " " + std::to_string(error.code) + " " + error.description);
  };
  delegate.onAppOpenAttribution = [this](const Dictionary& data) {
    call("opened " + *writeJson(data));
  };
  configure();
}

void Scenario::configure() {
  tracker().setQuarnelDevKey(kKey);
  tracker().setAppleAppID("1");
}

void Scenario::restart() {
  platform.restartApplication();
  configure();
}

std::string Scenario::after(std::chrono::nanoseconds time) {
  auto& dispatcher = ports().simulatedDispatcher;
  platform.advance(time);
  std::string text;
  for (Journal::Entry entry : dispatcher.journal().entries()) {
    entry.at -= passed_;
    text += shortened(withoutBody(describe(entry))) + "\n";
    const bool isStart = entry.kind == Journal::Kind::kHttp &&
                         (entry.text.rfind("GET", 0) == 0 || entry.text.rfind("POST", 0) == 0);
    if (isStart) text += requestText(platform.requests().at(requests_++));
  }
  dispatcher.clearJournal();
  passed_ += time;
  return text;
}

// The body of a report in a log line is the one that is sent next.
std::string Scenario::withoutBody(std::string line) const {
  const auto at = line.find("\ndata: ");
  if (at == std::string::npos || requests_ == platform.requests().size()) return line;
  const bool isSent = line.substr(at + 7) == platform.requests()[requests_].body;
  return isSent ? line.substr(0, at + 7) + "<body>" : line;
}

std::string Scenario::callbacks(std::chrono::nanoseconds time) {
  std::istringstream all(after(time));
  std::string called, line;
  while (std::getline(all, line)) {
    if (line.find(": callback ") != std::string::npos) called += line + "\n";
  }
  return called;
}

std::string Scenario::requestText(const RecordedRequest& request) {
  std::string text;
  for (const auto& [name, value] : request.headers) text += "  " + name + ": " + value + "\n";
  const auto report = SimulatedPlatform::decodeReport(request, kKey);
  if (report) return text + "  report " + *report->find("event")->text() + "\n";
  return request.body.empty() ? text : text + "  " + request.body + "\n";
}

void Scenario::expectReport(const Changes& changes) {
  std::map<std::string, std::string> expected = firstLaunch();
  for (const auto& [field, text] : changes) {
    if (text.empty()) {
      expected.erase(field);
    } else {
      expected[field] = text;
    }
  }
  const auto reports = platform.reports(kKey);
  ASSERT_FALSE(reports.empty());
  std::map<std::string, std::string> actual;
  for (const auto& [field, value] : reports.back()) actual[field] = *writeJson(value);
  EXPECT_EQ(actual, expected);
}

}  // namespace quarnel::testing
