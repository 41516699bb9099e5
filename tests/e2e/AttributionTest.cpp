// Everything that is no launch or event report, from the application to the service and back.
#include <gtest/gtest.h>

#include <fstream>
#include <optional>

#include "Applications.h"

namespace e2e {
namespace {

void writeFile(const std::string& path, const std::string& content) {
  std::ofstream(path, std::ios::binary) << content;
}

const std::string kLoad =
    R"(["loadConversionDataWithDelegate:",["onConversionDataReceived:","onConversionDataRequestFailure:"]])";

std::string validate(const std::string& transaction) {
  return R"(["validateAndTrackInAppPurchase:price:currency:transactionId:additionalParameters:)"
         R"(success:failure:","p1",4.99,"EUR",")" +
         transaction + R"(",{"k":"v"}])";
}

TEST(AttributionTest, ConversionDataComeFreshOnceAndThenFromTheStore) {
  const TemporaryFolder folder;
  const std::string file = folder.path("conversion.json");
  writeFile(file, R"({"source":"x","nothing":null,"iscache":false})");
  Collector collector(folder.path("collector"), kDeveloperKey, 0, {"--conversion", file});
  Host host(folder.path("state"), reportingTo(collector));
  const std::string data = R"("arguments":[{"source":"x"}]})";
  host.run(kLoad);
  EXPECT_EQ(host.next(), R"({"callback":"onConversionDataReceived:","queue":"session",)" + data);
  const Report request = collector.next();
  EXPECT_EQ(request.about("kind") + " " + request.about("path"),
            "conversion /install_data/v3/id123456789");
  EXPECT_EQ(request.field("devkey"), quoted(kDeveloperKey));

  writeFile(file, "no JSON");
  host.run(kLoad);
  EXPECT_EQ(host.next(), R"({"callback":"onConversionDataReceived:","queue":"main",)" + data);
  host.run(R"(["trackAppLaunch"])");
  EXPECT_EQ(collector.next().field("installAttribution"), R"({"source":"x"})");
}

TEST(AttributionTest, ConversionFailuresArriveWhereTheyShould) {
  const TemporaryFolder folder;
  std::optional<Collector> collector(std::in_place, folder.path("collector"), "another key");
  Host host(folder.path("state"), reportingTo(*collector));
  const std::string failure = R"({"callback":"onConversionDataRequestFailure:","queue":")";
  host.run(kLoad);
  EXPECT_EQ(host.next(),
            failure +
                R"(session","arguments":[{"domain":"example.quarnel.ErrorDomain","code":403,)"
                R"("description":"Quarnel error response from server. Check your Quarnel key )"
                R"(and Apple app ID."}]})");
  host.run(R"(["set","appleAppID","1 2"])");
  host.run(kLoad);
  EXPECT_EQ(host.next(),
            failure + R"(caller","arguments":[{"domain":"example.quarnel.ErrorDomain","code":0,)"
                      R"("description":"Quarnel server data error."}]})");
  host.run(R"(["set","appleAppID","1"])");
  collector.reset();
  host.run(kLoad);
  EXPECT_EQ(host.next().rfind(failure + "main\"", 0), 0u);
}

TEST(AttributionTest, PurchasesAreValidatedAndAlwaysReported) {
  const TemporaryFolder folder;
  writeFile(folder.path("receipts.json"), R"({"cmVjZWlwdA==":["t1"]})");
  Collector collector(folder.path("collector"), kDeveloperKey, 0,
                      {"--receipts", folder.path("receipts.json")});
  const std::string receipt = folder.path("receipt");
  Host host(folder.path("state"), reportingTo(collector, {"--receipt", receipt}));
  const auto validated = [&collector] {
    const Report event = collector.next();
    EXPECT_EQ(event.field("event"), R"("qn_purchase")");
    return event.field("eventvalue").value_or("").find("qn_validated%22:%22true") !=
           std::string::npos;
  };
  host.run(validate("t1"));
  EXPECT_EQ(host.next(),
            R"({"callback":"failure","queue":"session","arguments":[{"domain":)"
            R"("example.quarnel.ErrorDomain","code":0,"description":"no store receipt"},null]})");
  EXPECT_FALSE(validated());

  writeFile(receipt, "receipt");
  const std::string answer = R"({"status":0,"receipt":{"in_app":[{"transaction_id":"t1"}]}})";
  host.run(validate("t1"));
  EXPECT_EQ(host.next(),
            R"({"callback":"success","queue":"session","arguments":[)" + answer + "]}");
  const Report request = collector.next();
  EXPECT_EQ(request.about("kind"), "validation");
  EXPECT_EQ(request.field("receipt-data"), R"("cmVjZWlwdA==")");
  EXPECT_TRUE(validated());

  host.run(validate("t2"));
  EXPECT_EQ(host.next(),
            R"({"callback":"failure","queue":"session","arguments":[null,)" + answer + "]}");
  collector.next();
  EXPECT_FALSE(validated());
}

TEST(AttributionTest, StatisticsAndRegistrationLeaveInTheBackground) {
  const TemporaryFolder folder;
  Collector collector(folder.path("collector"));
  Host host(folder.path("state"), reportingTo(collector, {"--debug"}));
  host.run(R"(["registerUninstall:",{"$data":"ff"}])");
  host.waitForLog("backgroundRegisterUninstall:] Register uninstall exception: ");
  host.run(R"(["trackAppLaunch"])");
  EXPECT_EQ(collector.next().field("sessioncounter"), "1");
  host.run(R"(["registerUninstall:",{"$data":"01abcdef02"}])");
  host.run(R"(["registerUninstall:",{"$data":"01abcdef02"}])");
  host.run(R"(["post","UIApplicationWillResignActiveNotification",null])");
  host.run(R"(["post","UIApplicationDidEnterBackgroundNotification",null])");
  const Report statistics = collector.next();
  EXPECT_EQ(statistics.about("kind"), "statistics");
  EXPECT_EQ(statistics.header("Content-Type"), "application/text");
  EXPECT_EQ(statistics.field("statType"), R"("user_closed_app")");
  EXPECT_EQ(statistics.field("launch_counter"), R"("1")");
  // The end of the input waits for the registration, which is delayed.
  EXPECT_EQ(host.finish(), 0);
  const Report registration = collector.next();
  EXPECT_EQ(registration.about("kind"), "registration");
  EXPECT_EQ(registration.about("query"), "buildnumber=1.0.0&app_id=123456789");
  EXPECT_EQ(registration.field("devicetoken"), R"("01abcdef02")");
  EXPECT_EQ(registration.field("uid"), statistics.field("uid"));

  Host next(folder.path("state"), reportingTo(collector));
  next.run(R"(["trackEvent:withValue:","e",null])");
  EXPECT_EQ(collector.next().field("sessioncounter"), "2");
}

}  // namespace
}  // namespace e2e
