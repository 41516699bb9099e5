#include <QuarnelTvOsLib/HostEnvironment.h>
#include <fcntl.h>
#include <gtest/gtest.h>
#include <unistd.h>

#include <csignal>
#include <set>
#include <thread>

#include "Support.h"
#include "TlsServer.h"
#include "platform/Dispatcher.h"
#include "platform/FileSystem.h"
#include "platform/HostServices.h"
#include "platform/HttpSession.h"
#include "platform/Keychain.h"
#include "platform/LogSink.h"
#include "platform/PlatformFactory.h"
#include "platform/UserDefaults.h"
#include "platform/common/LocalNotificationCenter.h"
#include "platform/linux/device/LinuxDevice.h"
#include "platform/linux/device/OpenSsl.h"
#include "platform/linux/device/SystemClock.h"
#include "platform/linux/device/SystemNetworkInterfaces.h"
#include "platform/linux/device/SystemRandom.h"
#include "platform/linux/process/LogSinks.h"

namespace quarnel::test {
namespace {

TEST(LogSinkTest, WritesWholeLinesAndSurvivesAClosedPipe) {
  int ends[2];
  ASSERT_EQ(::pipe2(ends, O_CLOEXEC | O_NONBLOCK), 0);
  DescriptorLogSink log(ends[1]);
  const std::string large(300000, 'x');  // More than the pipe takes at once.
  std::vector<std::thread> writers;
  for (int i = 0; i < 3; ++i) writers.emplace_back([&] { log.write("two\n" + large); });
  std::string got;
  std::vector<char> buffer(65536);
  while (got.size() < 3 * (large.size() + 5)) {
    const ssize_t count = ::read(ends[0], buffer.data(), buffer.size());
    if (count > 0) got.append(buffer.data(), static_cast<std::size_t>(count));
  }
  for (std::thread& writer : writers) writer.join();
  const std::string line = "two\n" + large + "\n";
  EXPECT_TRUE(got == line + line + line);
  ::close(ends[0]);
  log.write("to nobody");
  sigset_t pending;
  ::sigpending(&pending);
  EXPECT_FALSE(::sigismember(&pending, SIGPIPE));
  ::close(ends[1]);
}

TEST(SystemTest, ClockFollowsTheTimeZone) {
  const SystemClock clock;
  const Date before = clock.now();
  EXPECT_LT(std::chrono::system_clock::now() - before, std::chrono::minutes(1));
  for (const int hours : {5, -3}) {
    ::setenv("TZ", ("XST" + std::to_string(-hours) + ":30").c_str(), 1);
    const std::chrono::minutes half(hours < 0 ? -30 : 30);
    EXPECT_EQ(clock.utcOffset(before), std::chrono::hours(hours) + half);
  }
  // 32-bit seconds would take this day of July 2060 for one in May 1924.
  ::setenv("TZ", "CET-1CEST,M7.1.0,M8.5.0", 1);
  EXPECT_EQ(clock.utcOffset(Date(std::chrono::seconds(2'856'900'000))), std::chrono::hours(2));
  ::unsetenv("TZ");
}

TEST(SystemTest, RandomReachesTheWholeRangeAndNothingElse) {
  SystemRandom random;
  std::set<std::uint32_t> seen;
  for (int i = 0; i < 1000; ++i) seen.insert(random.uniform(5));
  EXPECT_EQ(seen, (std::set<std::uint32_t>{0, 1, 2, 3, 4}));
  EXPECT_EQ(random.uniform(1), 0U);
  EXPECT_EQ(random.uniform(0), 0U);
}

TEST(SystemTest, WifiIsAsTheHostApplicationSays) {
  const auto count = [](std::optional<bool> wifi) {
    const auto interfaces = SystemNetworkInterfaces(wifi).list();
    EXPECT_TRUE(interfaces);
    return std::count_if(interfaces->begin(), interfaces->end(), [](const auto& each) {
      return each.name == "en0" && each.isIPv4 && !each.isLoopback;
    });
  };
  EXPECT_EQ(count(true), 1);
  EXPECT_EQ(count(false), 0);
}

TEST(DeviceTest, LocaleNames) {
  const struct {
    const char* name;
    const char* tag;
    std::optional<std::string> country;
  } cases[] = {
      {"en_US.UTF-8", "en-US", "US"},
      {"de_AT@euro", "de-AT", "AT"},
      {"es_419", "es-419", "419"},
      {"fr.UTF-8", "fr", {}},
      {"C", "en", {}},
      {"C.UTF-8", "en", {}},
      {"POSIX", "en", {}},
      {"", "en", {}},
      {"de_../x", "de", {}},
      {"../../etc", "en", {}},
  };
  for (const auto& each : cases) {
    const Locale locale = parseLocale(each.name);
    EXPECT_EQ(locale.languageTag, each.tag) << each.name;
    EXPECT_EQ(locale.countryCode, each.country) << each.name;
  }
}

TEST(DeviceTest, FactsComeFromTheSystemsFiles) {
  const TemporaryDirectory root;
  for (const char* folder : {"etc", "usr/lib", "sys/class/dmi/id", "proc/device-tree"}) {
    std::filesystem::create_directories(root / folder);
  }
  const std::string machine = "0123456789abcdef0123456789abcdef";
  writeFile(root / "usr/lib/os-release",
            "# NAME=comment\nPRETTY_NAME=no\nNAME=\"TV \\\"OS\\\"\"\nVERSION_ID='9.2'\n");
  std::filesystem::create_symlink("../usr/lib/os-release", root / "etc/os-release");
  writeFile(root / "proc/device-tree/model", std::string("Box 4\0", 6));
  writeFile(root / "etc/machine-id", machine + "\n");
  const DeviceFacts facts = readDeviceFacts(root.path());
  EXPECT_EQ(facts.systemName, "TV \"OS\"");
  EXPECT_EQ(facts.systemVersion, "9.2");
  EXPECT_EQ(facts.model, "Box 4");
  const auto vendorOf = [&](const char* bundle) {
    return readIdentifierForVendor(root.path(), bundle);
  };
  const auto vendor = vendorOf("com.example.app");
  ASSERT_TRUE(vendor);
  EXPECT_EQ(vendor->size(), 36U);
  EXPECT_EQ(vendorOf("com.example.other"), vendor);
  EXPECT_NE(vendorOf("com.another.app"), vendor);
  writeFile(root / "etc/machine-id", "uninitialized\n");
  EXPECT_FALSE(vendorOf("com.example.app"));
  writeFile(root / "sys/class/dmi/id/product_name", " \n");
  EXPECT_EQ(readDeviceFacts(root.path()).model, "Box 4") << "a blank name is none";
  const DeviceFacts bare = readDeviceFacts(root / "nothing");
  EXPECT_FALSE(bare.systemVersion || bare.model);
  EXPECT_FALSE(readIdentifierForVendor(root / "nothing", {}));
}

TEST(PlatformTest, HostEnvironmentReachesThePorts) {
  const TemporaryDirectory directory;
  std::vector<std::string> lines;
  HostEnvironment environment;
  environment.setStateDirectory(directory.path());
  environment.setKeychainFile(directory / "keychain.db");
  environment.setLogSink([&](std::string_view line) { lines.emplace_back(line); });
  environment.addKnownClass("Engine");
  environment.setAdvertisingIdentifierProvider(
      []() -> std::optional<AdvertisingIdentity> { throw std::runtime_error("broken"); });
  EXPECT_TRUE(environment.setDeviceFact("systemversion", "9.2"));
  EXPECT_TRUE(environment.setDeviceFact("name", std::nullopt));
  EXPECT_TRUE(environment.setDeviceFact("wifi", "true"));
  EXPECT_FALSE(environment.setDeviceFact("colour", "red"));
  environment.setEndpointHost(Endpoint::kRegister, "register.test");
  const HostEnvironment copy = environment;
  EXPECT_EQ(copy.options().services.registerHost, "register.test");
  EXPECT_EQ(copy.options().wifi, true);

  const auto platform = makePlatform(copy.options());
  EXPECT_EQ(platform->device().currentDevice().systemVersion, "9.2");
  EXPECT_FALSE(platform->device().currentDevice().name);
  EXPECT_TRUE(platform->hostServices().classExists("Engine"));
  EXPECT_FALSE(platform->hostServices().classExists("Other"));
  EXPECT_FALSE(platform->hostServices().hasCloudIdentity());
  EXPECT_FALSE(platform->hostServices().sharedAdClient());
  EXPECT_FALSE(platform->hostServices().advertisingIdentity());
  EXPECT_EQ(lines.size(), 0U) << "without debug mode";
  platform->setDebugMode(true);
  EXPECT_FALSE(platform->hostServices().advertisingIdentity());
  ASSERT_EQ(lines.size(), 1U);
  EXPECT_NE(lines[0].find("broken"), std::string::npos);

  platform->userDefaults().set("key", 1);
  EXPECT_TRUE(platform->drain(std::chrono::milliseconds(0)));
  EXPECT_EQ(makePlatform(copy.options())->userDefaults().get("key"), Value(1));
}

TEST(PlatformTest, ObserversMayUseTheNotificationCenter) {
  LocalNotificationCenter center;
  std::vector<int> calls;
  center.addObserver("n", [&](const Value& info) {
    calls.push_back(static_cast<int>(*info.integer()));
    if (calls.size() == 1) {
      center.addObserver("n", [&](const Value&) { calls.push_back(-1); });
      center.post("n", 2);
    }
  });
  center.post("other", 0);
  center.post("n", 1);
  EXPECT_EQ(calls, (std::vector<int>{1, 2, -1}));
}

TEST(PlatformTest, TheProcessEndsWithWorkInFlight) {
  GTEST_FLAG_SET(death_test_style, "threadsafe");
  const auto endWithWorkInFlight = [] {
    initialiseOpenSsl();  // As the first user of OpenSSL in the process, before the server here.
    const Certificate authority("Authority", nullptr);
    const Certificate certificate("localhost", &authority);
    const TemporaryDirectory directory;
    authority.writePem(directory / "ca.pem");
    Counter asked;
    const auto answer = answering([&asked](const std::string&) {
      asked.add();
      return "HTTP/1.1 204 Gone on\r\n\r\n";
    });
    // Nobody joins the server's threads, so they must not end before the process does.
    auto* server = new TlsServer(certificate, [answer](Connection& connection) {
      answer(connection);
      for (;;) ::pause();
    });
    HostOptions options;
    options.stateDirectory = directory.path();
    options.certificateAuthorityFile = directory / "ca.pem";
    Platform* const platform = makePlatform(options).release();
    std::function<void()> ask = [&] {
      platform->network().sharedSession().startDataTask({"POST", server->url("/"), {}, "x"},
                                                        [&](const HttpResult&) { ask(); });
    };
    for (int i = 0; i < 8; ++i) ask();
    std::function<void()> busy = [&] { platform->dispatcher().mainQueue().post(busy); };
    busy();
    const bool inFlight = asked.waitFor(20);
    std::filesystem::remove_all(directory.path());
    std::exit(inFlight ? 7 : 1);
  };
  EXPECT_EXIT(endWithWorkInFlight(), testing::ExitedWithCode(7), "");
}

}  // namespace
}  // namespace quarnel::test
