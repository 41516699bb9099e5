// The roads of reports as a whole: what is stored, sent, told and logged, in order.
#include <QuarnelTvOsLib/Notifications.h>

#include "Scenario.h"

namespace quarnel {
namespace {

using std::chrono::milliseconds;
using std::chrono::seconds;
using testing::Scenario;
using testing::ScriptedAnswer;

TEST(RoadTest, FirstLaunchAndEvents) {
  Scenario scenario;
  scenario.tracker().setIsDebug(true);
  scenario.tracker().setDelegate(&scenario.delegate);
  scenario.tracker().trackAppLaunch();
  EXPECT_EQ(scenario.after(seconds(1)),
            R"(0.000000 caller: log Quarnel SDK version 1.0.0 started build
0.000000 caller: log {setIsDebug:] * * * Quarnel is set to debug mode. This should only be used in development enviornment!!!! * * *
0.000000 caller: log {trackAppLaunch] Launch
0.100000 reports: store set QuarnelCounter = 1
0.100000 reports: store set QuarnelTimePassedSincePrevLaunch = 1457186820.1
0.100000 reports: store synchronize
0.100000 reports: log {build} (1.0.0): entered callServerWithEventName.
0.100000 reports: log {build} dev key: k&y
0.100000 reports: log {build} First time = 1 (null) QuarnelInstallTimestamp
0.100000 reports: log {build} Get install receipt
0.100000 reports: store set QuarnelInstallTimestamp = "1457186820.100000"
0.100000 reports: log {getCounter:] increase=1
0.100000 reports: log {getCounter:] 1st lanunch
0.100000 reports: log {getCounter:] save counter 1
0.100000 reports: log {getInAppCounter:] increase=0
0.100000 reports: log {getInAppCounter:] no in-app yet
0.100000 reports: log {getInAppCounter:] save in-app counter 0
0.100000 reports: store set QuarnelUserId = "1456333559346-1"
0.100000 reports: store synchronize
0.100000 reports: store keychain copy {KCQuarnelId,<service>,<one>}
0.100000 reports: log {getInstallDate:] first installDate detected
0.100000 reports: store set QuarnelInstallDate = "2016-02-24_1705+0000"
0.100000 reports: log {build} Looking for previous version date.
0.100000 reports: log {getVersionUpdateDate:currentUpdateDate:] saved version: (null)
0.100000 reports: log {getVersionUpdateDate:currentUpdateDate:] new version detected
0.100000 reports: store set QuarnelLastVersion = "42"
0.100000 reports: store set QuarnelDate3 = "2016-02-28_2105+0000"
0.100000 reports: store remove QuarnelConversionDataRequestRetries
0.100000 reports: log {build} date1= 2016-02-24_1705+0000
0.100000 reports: log {build} date2= 2016-02-28_2105+0000
0.100000 reports: log {build} date3= 2016-02-28_2105+0000
0.100000 reports: log {getCounter:] increase=0
0.100000 reports: log {getCounter:] lanunch number 1
0.100000 reports: log {getFirstLanuchDate:] first launch detected
0.100000 reports: store set QuarnelFirstLaunchDate = "2016-03-05_1407+0000"
0.100000 reports: store synchronize
0.100000 reports: log {getFirstLanuchDate:] first launch date: 2016-03-05_1407+0000
0.100000 reports: log {build} check network
0.100000 reports: store synchronize
0.100000 reports: log {send} quarnel URL: <launches>
data: <body>
0.100000 reports: log {send} Quarnel: sending request to server 
0.100000 reports: http POST <launches>
  Accept: application/json
  Content-Type: application/json
  report Launched
0.100000 session: http 200 POST <launches>
0.100000 session: log {send}_block_invoke Quarnel: sent information to server
0.100000 session: log {build}_block_invoke Quarnel: loading attribution data
0.100000 session: log {getConversionData] calling URL (conversion data): https://conversions.quarnel.example/install_data/v3/id1?devkey=k&y&device_id=1456333559346-1
0.100000 session: http GET https://conversions.quarnel.example/install_data/v3/id1?devkey=k&y&device_id=1456333559346-1
0.100000 cache: store create <cache>
0.100000 cache: log {cache getCacheDirectoryPath] cache dir: <cache>
0.100000 cache: log {cache processCache] Cache size 0
0.100000 session: http 200 GET https://conversions.quarnel.example/install_data/v3/id1?devkey=k&y&device_id=1456333559346-1
0.100000 session: log {getConversionData]_block_invoke conversion response from server: 
 <HTTP response, status 200>
0.100000 session: store set QuarnelGetConversionDataTiming = 0
0.100000 session: store remove QuarnelConversionDataRequestRetries
0.100000 session: store synchronize
0.100000 session: log {getConversionData]_block_invoke 0
0.100000 session: callback failure example.quarnel.ErrorDomain 1 Quarnel Empty response from server.
0.200000 example.qn.sdk: store keychain add {KCQuarnelId,<service>,"v_Data":{"$data":"313435363333333535393334362d31"}}
)");
  scenario.expectReport({});
  scenario.tracker().setDelegate(nullptr);
  scenario.tracker().trackEventWithValue("level", "1.5-");
  EXPECT_EQ(
      scenario.after(seconds(1)),
      R"(0.000000 caller: log {trackEvent:withValue:] Quarnel: numeric value '1.5-' for event 'level' will be categorized as a revenue event.
0.001000 reports: store set QuarnelCounter = 1
0.001000 reports: store set QuarnelInAppCounter = 1
0.001000 reports: store set QuarnelTimePassedSincePrevLaunch = 1457186821.001
0.001000 reports: store synchronize
0.001000 reports: log {build} (1.0.0): entered callServerWithEventName.
0.001000 reports: log {build} dev key: k&y
0.001000 reports: log {build} First time = 0 1457186820.100000 QuarnelInstallTimestamp
0.001000 reports: log {getCounter:] increase=0
0.001000 reports: log {getCounter:] lanunch number 1
0.001000 reports: log {getInAppCounter:] increase=1
0.001000 reports: log {getInAppCounter:] no in-app yet
0.001000 reports: log {getInAppCounter:] save in-app counter 1
0.001000 reports: log {build} Looking for previous version date.
0.001000 reports: log {getVersionUpdateDate:currentUpdateDate:] saved version: 42
0.001000 reports: log {getVersionUpdateDate:currentUpdateDate:] use date3 from storage
0.001000 reports: log {build} date1= 2016-02-24_1705+0000
0.001000 reports: log {build} date2= 2016-02-28_2105+0000
0.001000 reports: log {build} date3= 2016-02-28_2105+0000
0.001000 reports: log {getFirstLanuchDate:] first launch date: 2016-03-05_1407+0000
0.001000 reports: log {build} check network
0.001000 reports: store synchronize
0.001000 reports: log {send} quarnel URL: <events>
data: <body>
0.001000 reports: log {send} Quarnel: sending request to server 
0.001000 reports: http POST <events>
  Accept: application/json
  Content-Type: application/json
  report level
0.001000 session: http 200 POST <events>
0.001000 session: log {send}_block_invoke Quarnel: sent information to server
0.001000 cache: log {cache processCache] Cache size 0
)");
  scenario.expectReport({{"iaecounter", "1"},
                         {"timepassedsincelastlaunch", "0.901"},
                         {"timestamp", R"("1457186821.001000")"},
                         {"event", R"("level")"},
                         {"eventvalue", R"("1.5-")"}});
}

TEST(RoadTest, EventsWithoutALog) {
  Scenario scenario;
  scenario.platform.userDefaults()["QuarnelCounter"] = 3;
  scenario.tracker().trackEventWithValue("one", std::nullopt);
  scenario.tracker().trackEventWithValues("several", Dictionary{{"a", "x,y"}});
  EXPECT_EQ(scenario.after(seconds(1)),
            R"(0.000000 caller: log Quarnel SDK version 1.0.0 started build
0.000000 reports: store set QuarnelCounter = 3
0.000000 reports: store set QuarnelInAppCounter = 1
0.000000 reports: store set QuarnelTimePassedSincePrevLaunch = 1457186820
0.000000 reports: store synchronize
0.000000 reports: store set QuarnelInstallTimestamp = "1457186820.000000"
0.000000 reports: store set QuarnelUserId = "1456333559346-1"
0.000000 reports: store synchronize
0.000000 reports: store keychain copy {KCQuarnelId,<service>,<one>}
0.000000 reports: store set QuarnelInstallDate = "2016-02-24_1705+0000"
0.000000 reports: store set QuarnelLastVersion = "42"
0.000000 reports: store set QuarnelDate3 = "2016-02-28_2105+0000"
0.000000 reports: store remove QuarnelConversionDataRequestRetries
0.000000 reports: store set QuarnelFirstLaunchDate = ""
0.000000 reports: store synchronize
0.000000 reports: store synchronize
0.000000 reports: http POST <events>
  Accept: application/json
  Content-Type: application/json
  report several
0.000000 session: http 200 POST <events>
0.000000 cache: store create <cache>
0.001000 reports: store set QuarnelCounter = 3
0.001000 reports: store set QuarnelInAppCounter = 2
0.001000 reports: store set QuarnelTimePassedSincePrevLaunch = 1457186820.001
0.001000 reports: store synchronize
0.001000 reports: store synchronize
0.001000 reports: http POST <events>
  Accept: application/json
  Content-Type: application/json
  report one
0.001000 session: http 200 POST <events>
0.100000 example.qn.sdk: store keychain add {KCQuarnelId,<service>,"v_Data":{"$data":"313435363333333535393334362d31"}}
)");
  scenario.tracker().trackLocation(1.5, -2);
  scenario.tracker().trackEventWithValue(std::nullopt, "v");
  EXPECT_EQ(scenario.after(seconds(1)), R"(0.000000 reports: store set QuarnelCounter = 3
0.000000 reports: store set QuarnelInAppCounter = 3
0.000000 reports: store set QuarnelTimePassedSincePrevLaunch = 1457186821
0.000000 reports: store synchronize
0.000000 reports: store synchronize
0.000000 reports: http POST <events>
  Accept: application/json
  Content-Type: application/json
  report qn_location_coordinates
0.000000 session: http 200 POST <events>
0.001000 reports: store set QuarnelCounter = 4
0.001000 reports: store set QuarnelInAppCounter = 3
0.001000 reports: store set QuarnelTimePassedSincePrevLaunch = 1457186821.001
0.001000 reports: store synchronize
0.001000 reports: store synchronize
0.001000 reports: http POST <events>
  Accept: application/json
  Content-Type: application/json
  report 
0.001000 session: http 200 POST <events>
)");
}

TEST(RoadTest, OfflineEventsAndTheirReplay) {
  Scenario scenario;
  scenario.platform.setAnswer(ScriptedAnswer::failure());
  scenario.tracker().trackEventWithValues("first", std::nullopt);
  scenario.now();
  scenario.tracker().setIsDebug(true);
  scenario.after(milliseconds(250));
  scenario.tracker().trackEventWithValues("second", std::nullopt);
  EXPECT_EQ(scenario.after(milliseconds(250)),
            R"(0.000000 reports: store set QuarnelInAppCounter = 2
0.000000 reports: store set QuarnelTimePassedSincePrevLaunch = 1457186820.25
0.000000 reports: store synchronize
0.000000 reports: log {build} (1.0.0): entered callServerWithEventName.
0.000000 reports: log {build} dev key: k&y
0.000000 reports: log {build} First time = 0 1457186820.000000 QuarnelInstallTimestamp
0.000000 reports: log {getCounter:] increase=0
0.000000 reports: log {getCounter:] 1st lanunch
0.000000 reports: log {getInAppCounter:] increase=1
0.000000 reports: log {getInAppCounter:] in-app counter 1
0.000000 reports: log {getInAppCounter:] save in-app counter 2
0.000000 reports: log {build} Looking for previous version date.
0.000000 reports: log {getVersionUpdateDate:currentUpdateDate:] saved version: 42
0.000000 reports: log {getVersionUpdateDate:currentUpdateDate:] use date3 from storage
0.000000 reports: log {build} date1= 2016-02-24_1705+0000
0.000000 reports: log {build} date2= 2016-02-28_2105+0000
0.000000 reports: log {build} date3= 2016-02-28_2105+0000
0.000000 reports: log {getFirstLanuchDate:] first launch date: 2016-03-05_1407+0000
0.000000 reports: log {build} check network
0.000000 reports: store synchronize
0.000000 reports: log {send} quarnel URL: <events>
data: <body>
0.000000 reports: log {send} Quarnel: sending request to server 
0.000000 reports: http POST <events>
  Accept: application/json
  Content-Type: application/json
  report second
0.000000 session: http failure POST <events>
0.000000 session: log {send}_block_invoke Quarnel Connection failed! Error - The network is down. 
0.000000 cache: log {cache cacheRequest:] Caching request...(cache size: 1)
0.000000 cache: store write <cache>/478879620.250000.qn
)");
  scenario.tracker().setIsDebug(false);
  scenario.platform.setAnswer(ScriptedAnswer::response(500));
  scenario.tracker().trackEventWithValues("third", std::nullopt);
  scenario.now();
  scenario.tracker().setIsDebug(true);
  EXPECT_EQ(
      scenario.after(seconds(1)),
      R"(0.000000 caller: log {setIsDebug:] * * * Quarnel is set to debug mode. This should only be used in development enviornment!!!! * * *
0.100000 cache: log {send} quarnel URL: <events>&timeincache=0.500000&isCachedRequest=true
data: <body>
0.100000 cache: log {send} Quarnel: sending request to server 
0.100000 cache: http POST <events>&timeincache=0.500000&isCachedRequest=true
  Accept: application/json
  Content-Type: application/json
  report first
0.100000 session: http 500 POST <events>&timeincache=0.500000&isCachedRequest=true
0.100000 session: log {send}_block_invoke Quarnel: sent information to server
0.100000 cache: store delete <cache>/478879620.000000.qn
0.100000 cache: log {send} quarnel URL: <events>&timeincache=0.250000&isCachedRequest=true
data: <body>
0.100000 cache: log {send} Quarnel: sending request to server 
0.100000 cache: http POST <events>&timeincache=0.250000&isCachedRequest=true
  Accept: application/json
  Content-Type: application/json
  report second
0.100000 session: http 500 POST <events>&timeincache=0.250000&isCachedRequest=true
0.100000 session: log {send}_block_invoke Quarnel: sent information to server
0.100000 cache: store delete <cache>/478879620.250000.qn
)");
}

TEST(RoadTest, LifecycleAndStatistics) {
  Scenario scenario;
  scenario.tracker().setIsDebug(true);
  scenario.platform.userDefaults()["QuarnelGetConversionDataTiming"] = 0.25;
  scenario.platform.userDefaults()["QuarnelUserId"] = "id";
  scenario.platform.userDefaults()["QuarnelCounter"] = 4;
  scenario.now();
  scenario.platform.post(UIApplicationWillResignActiveNotification);
  scenario.platform.post(UIApplicationDidEnterBackgroundNotification);
  EXPECT_EQ(scenario.after(seconds(5)), R"(0.000000 caller: store set QuarnelRealLaunchCounter = 1
0.000000 caller: store synchronize
0.000000 caller: log {incrementRealLaunchCounter] incrementRealLaunchCounter real lanunch counter after increment = 1
0.000000 reports: log {backgroundstatCall] entered background 0.000000
0.000000 reports: log {backgroundstatCall] calling URL (move to background): https://stats.quarnel.example/stats?app_id=1
0.000000 reports: log {getCounter:] increase=0
0.000000 reports: log {getCounter:] lanunch number 4
0.000000 reports: log {backgroundstatCall] sending stat to server https://stats.quarnel.example/stats?app_id=1:
app_id=1&devkey=k&y&uid=id&time_in_app=0&statType=user_closed_app&launch_counter=4&platform=iOS&gcd_conversion_data_timing=0.250000
0.000000 reports: http POST https://stats.quarnel.example/stats?app_id=1
  Content-Type: application/text
  app_id=1&devkey=k&y&uid=id&time_in_app=0&statType=user_closed_app&launch_counter=4&platform=iOS&gcd_conversion_data_timing=0.250000
0.000000 background session: http 200 POST https://stats.quarnel.example/stats?app_id=1
0.000000 background session: log {URLSession:downloadTask:didFinishDownloadingToURL:] Response 200 ok.
)");
  scenario.tracker().trackAppLaunch();
  EXPECT_EQ(scenario.after(milliseconds(1)), R"(0.000000 caller: log {trackAppLaunch] Launch
)");
  EXPECT_EQ(scenario.after(seconds(2)), R"(0.099000 reports: store set QuarnelCounter = 5
0.099000 reports: store set QuarnelTimePassedSincePrevLaunch = 1457186825.1
0.099000 reports: store synchronize
0.099000 reports: log {build} (1.0.0): entered callServerWithEventName.
0.099000 reports: log {build} dev key: k&y
0.099000 reports: log {build} First time = 1 (null) QuarnelInstallTimestamp
0.099000 reports: log {build} Get install receipt
0.099000 reports: store set QuarnelInstallTimestamp = "1457186825.100000"
0.099000 reports: log {getCounter:] increase=1
0.099000 reports: log {getCounter:] lanunch number 4
0.099000 reports: log {getCounter:] save counter 5
0.099000 reports: log {getRealLaunchCounter] getRealLaunchCounter real lanunch number 1
0.099000 reports: log {getInAppCounter:] increase=0
0.099000 reports: log {getInAppCounter:] no in-app yet
0.099000 reports: log {getInAppCounter:] save in-app counter 0
0.099000 reports: log {getInstallDate:] first installDate detected
0.099000 reports: store set QuarnelInstallDate = "2016-02-24_1705+0000"
0.099000 reports: log {build} Looking for previous version date.
0.099000 reports: log {getVersionUpdateDate:currentUpdateDate:] saved version: (null)
0.099000 reports: log {getVersionUpdateDate:currentUpdateDate:] new version detected
0.099000 reports: store set QuarnelLastVersion = "42"
0.099000 reports: store set QuarnelDate3 = "2016-02-28_2105+0000"
0.099000 reports: store remove QuarnelConversionDataRequestRetries
0.099000 reports: log {build} date1= 2016-02-24_1705+0000
0.099000 reports: log {build} date2= 2016-02-28_2105+0000
0.099000 reports: log {build} date3= 2016-02-28_2105+0000
0.099000 reports: log {getCounter:] increase=0
0.099000 reports: log {getCounter:] lanunch number 5
0.099000 reports: store set QuarnelFirstLaunchDate = ""
0.099000 reports: store synchronize
0.099000 reports: log {getFirstLanuchDate:] first launch date: 
0.099000 reports: log {build} check network
0.099000 reports: store synchronize
0.099000 reports: log {send} quarnel URL: <launches>
data: <body>
0.099000 reports: log {send} Quarnel: sending request to server 
0.099000 reports: http POST <launches>
  Accept: application/json
  Content-Type: application/json
  report Launched
0.099000 session: http 200 POST <launches>
0.099000 session: log {send}_block_invoke Quarnel: sent information to server
0.099000 cache: store create <cache>
0.099000 cache: log {cache getCacheDirectoryPath] cache dir: <cache>
0.099000 cache: log {cache processCache] Cache size 0
)");
  scenario.platform.post(
      UIApplicationDidFinishLaunchingNotification,
      Dictionary{{std::string(UIApplicationLaunchOptionsURLKey), "app://l"},
                 {std::string(UIApplicationLaunchOptionsSourceApplicationKey), "com.source"}});
  scenario.platform.setAnswer(ScriptedAnswer::failure());
  scenario.platform.setDeviceFact("systemversion", "7.1");
  scenario.platform.post(UIApplicationDidEnterBackgroundNotification);
  EXPECT_EQ(
      scenario.after(seconds(1)),
      R"(0.000000 caller: log {handleDidFinishLaunch:] handleDidFinishLaunch source app = com.source
0.000000 caller: log {handleDidFinishLaunch:] URL Key = app://l
0.000000 caller: store set QuarnelRealLaunchCounter = 2
0.000000 caller: store synchronize
0.000000 caller: log {incrementRealLaunchCounter] incrementRealLaunchCounter real lanunch counter after increment = 2
0.000000 reports: log {backgroundstatCall] entered background 1.901000
0.000000 reports: log {backgroundstatCall] calling URL (move to background): https://stats.quarnel.example/stats?app_id=1
0.000000 reports: log {getCounter:] increase=0
0.000000 reports: log {getCounter:] lanunch number 5
0.000000 reports: log {backgroundstatCall] sending stat to server https://stats.quarnel.example/stats?app_id=1:
app_id=1&devkey=k&y&uid=id&time_in_app=2&statType=user_closed_app&launch_counter=5&platform=iOS&gcd_conversion_data_timing=0.250000
0.000000 reports: http POST https://stats.quarnel.example/stats?app_id=1
  Content-Type: application/text
  app_id=1&devkey=k&y&uid=id&time_in_app=2&statType=user_closed_app&launch_counter=5&platform=iOS&gcd_conversion_data_timing=0.250000
0.000000 background session: http failure POST https://stats.quarnel.example/stats?app_id=1
0.000000 background session: log {URLSession:task:didCompleteWithError:] task POST https://stats.quarnel.example/stats?app_id=1 completed with error: The network is down.
)");
}

TEST(RoadTest, IdentityOfANewInstallation) {
  Scenario scenario;
  scenario.platform.setRandomNumbers({41});
  scenario.platform.setUtcOffset(seconds(90));
  scenario.tracker().getQuarnelUID();
  EXPECT_EQ(scenario.after(seconds(1)),
            R"(0.000000 caller: log Quarnel SDK version 1.0.0 started build
0.000000 caller: store set QuarnelUserId = "1456333649346-42"
0.000000 caller: store synchronize
0.000000 caller: store keychain copy {KCQuarnelId,<service>,<one>}
0.100000 example.qn.sdk: store keychain add {KCQuarnelId,<service>,"v_Data":{"$data":"313435363333333634393334362d3432"}}
)");
  scenario.restart();
  scenario.platform.userDefaults().clear();
  scenario.tracker().getQuarnelUID();
  EXPECT_EQ(scenario.after(seconds(1)),
            R"(0.000000 caller: log Quarnel SDK version 1.0.0 started build
0.000000 caller: store set QuarnelUserId = "1456333649346-1"
0.000000 caller: store synchronize
0.000000 caller: store keychain copy {KCQuarnelId,<service>,<one>}
0.000000 caller: store set QuarnelOriginalUserId = "1456333649346-42"
0.000000 caller: store keychain copy {KCQuarnelRICounter,<service>,<one>}
0.000000 caller: store set QuarnelReInstallCounter = 1
0.000000 caller: store synchronize
0.000000 caller: store keychain add {KCQuarnelRICounter,<service>,"v_Data":{"$data":"31"}}
)");
  scenario.restart();
  scenario.platform.userDefaults().clear();
  scenario.platform.keychain()["KCQuarnelId"] = "\xff";
  scenario.tracker().getQuarnelUID();
  EXPECT_EQ(scenario.after(seconds(1)),
            R"(0.000000 caller: log Quarnel SDK version 1.0.0 started build
0.000000 caller: store set QuarnelUserId = "1456333649346-1"
0.000000 caller: store synchronize
0.000000 caller: store keychain copy {KCQuarnelId,<service>,<one>}
0.100000 example.qn.sdk: store keychain add {KCQuarnelId,<service>,"v_Data":{"$data":"313435363333333634393334362d31"}}
)");
}

TEST(RoadTest, UninstallRegistration) {
  Scenario scenario;
  scenario.platform.userDefaults()["QuarnelUserId"] = "id";
  scenario.tracker().trackAppLaunch();
  scenario.after(seconds(1));
  scenario.tracker().setIsDebug(true);
  scenario.platform.userDefaults()["QuarnelOriginalUserId"] = "original";
  scenario.platform.userDefaults()["QuarnelReInstallCounter"] = 2;
  scenario.now();
  scenario.tracker().registerUninstall({0x01, 0xab, 0xcd, 0xef, 0x02});
  EXPECT_EQ(scenario.after(seconds(4)),
            R"(0.000000 caller: store set QuarnelDeviceToken = "<01abcdef 02>"
3.500000 example.qn.sdk: log {backgroundRegisterUninstall:] calling register Uninstall: https://register.quarnel.example/api/v4/iosevent?buildnumber=1.0.0&app_id=1
3.500000 example.qn.sdk: log {getCounter:] increase=0
3.500000 example.qn.sdk: log {getCounter:] lanunch number 1
3.500000 example.qn.sdk: http POST https://register.quarnel.example/api/v4/iosevent?buildnumber=1.0.0&app_id=1
  Content-Type: application/json
  {"devkey":"k&y","uid":"id","devicetoken":"01abcdef02","launch_counter":"1","topic":"example.quarnel.simulated","install_date":"2016-02-24_1705+0000","advertiserId":"","OriginalQuarnelId":"original","reInstallCounter":2,"sdk_version":"1.0.0"}
3.500000 background session: http 200 POST https://register.quarnel.example/api/v4/iosevent?buildnumber=1.0.0&app_id=1
3.500000 background session: log {URLSession:downloadTask:didFinishDownloadingToURL:] Response 200 ok.
)");
  scenario.tracker().registerUninstall({0x01, 0xab, 0xcd, 0xef, 0x02});
  scenario.tracker().setQuarnelDevKey(std::nullopt);
  scenario.tracker().registerUninstall({0x02});
  EXPECT_EQ(scenario.after(seconds(4)), R"(0.000000 caller: store set QuarnelDeviceToken = "<02>"
3.500000 example.qn.sdk: log {backgroundRegisterUninstall:] calling register Uninstall: https://register.quarnel.example/api/v4/iosevent?buildnumber=1.0.0&app_id=1
3.500000 example.qn.sdk: log {backgroundRegisterUninstall:] Register uninstall exception: no value for devkey
)");
}

}  // namespace
}  // namespace quarnel
