// The keychain in a real keyring, with a message bus and a keyring daemon of the test's own.
#include <fcntl.h>
#include <gtest/gtest.h>
#include <signal.h>
#include <spawn.h>
#include <sys/socket.h>
#include <sys/un.h>
#include <sys/wait.h>
#include <unistd.h>

#include <thread>

#include "KeychainSupport.h"
#include "Support.h"
#include "platform/common/MirroredKeychain.h"
#include "platform/linux/dispatch/LinuxDispatcher.h"
#include "platform/linux/keychain/SqliteKeychain.h"
#include "platform/linux/keychain/session/SecretServiceKeychain.h"

namespace quarnel::test {
namespace {

using Clock = std::chrono::steady_clock;

// A program that reads from one pipe and writes into another.
class Daemon {
 public:
  Daemon(std::vector<std::string> command, std::vector<std::string> environment) {
    int input[2];
    int output[2];
    if (::pipe2(input, O_CLOEXEC) != 0 || ::pipe2(output, O_CLOEXEC) != 0) return;
    posix_spawn_file_actions_t streams;
    ::posix_spawn_file_actions_init(&streams);
    ::posix_spawn_file_actions_adddup2(&streams, input[0], 0);
    ::posix_spawn_file_actions_adddup2(&streams, output[1], 1);
    const auto pointers = [](std::vector<std::string>& texts) {
      std::vector<char*> all;
      for (std::string& text : texts) all.push_back(text.data());
      all.push_back(nullptr);
      return all;
    };
    if (::posix_spawnp(&process_, command[0].c_str(), &streams, nullptr, pointers(command).data(),
                       pointers(environment).data()) != 0) {
      process_ = -1;
    }
    ::posix_spawn_file_actions_destroy(&streams);
    ::close(input[0]);
    ::close(output[1]);
    input_ = input[1];
    output_ = output[0];
  }
  Daemon(const Daemon&) = delete;
  Daemon& operator=(const Daemon&) = delete;
  ~Daemon() {
    ::close(input_);
    ::close(output_);
    if (process_ <= 0) return;
    ::kill(process_, SIGKILL);
    ::waitpid(process_, nullptr, 0);
  }

  void give(const std::string& input) {
    EXPECT_EQ(::write(input_, input.data(), input.size()), static_cast<ssize_t>(input.size()));
    ::close(std::exchange(input_, -1));
  }
  std::string takeLine() const {
    std::string line;
    for (char c = 0; ::read(output_, &c, 1) == 1 && c != '\n';) line.push_back(c);
    return line;
  }

 private:
  pid_t process_ = -1;
  int input_ = -1;
  int output_ = -1;
};

class SecretServiceTest : public testing::Test {
 protected:
  SecretServiceTest() {
    bus_.emplace(
        std::vector<std::string>{"dbus-daemon", "--session", "--nofork", "--print-address=1",
                                 "--address=unix:path=" + (home_ / "bus")},
        environment());
    address_ = bus_->takeLine();
    startKeyring("password\n");
  }

  std::vector<std::string> environment() const {
    return {"PATH=/usr/bin:/bin", "HOME=" + home_.path(), "XDG_RUNTIME_DIR=" + home_.path(),
            "XDG_DATA_HOME=" + home_.path(), "DBUS_SESSION_BUS_ADDRESS=" + address_};
  }

  // Without a password it stays locked.
  void startKeyring(const std::string& password) {
    keyring_.reset();
    std::vector<std::string> command{"gnome-keyring-daemon", "--foreground",
                                     "--components=secrets"};
    if (!password.empty()) command.emplace_back("--unlock");
    keyring_.emplace(std::move(command), environment());
    keyring_->give(password);
    const auto deadline = Clock::now() + kPatience;
    while (find(keychain_, item("s", "any")) != "not found" && Clock::now() < deadline) {
      std::this_thread::yield();
    }
  }

  const TemporaryDirectory home_;
  std::optional<Daemon> bus_;
  std::string address_;
  std::optional<Daemon> keyring_;
  SecretServiceKeychain keychain_{"unix:path=" + (home_ / "bus"), "com.example.app", kPatience};
};

TEST_F(SecretServiceTest, KeepsItemsInTheKeyring) {
  expectKeychain(keychain_);
  const Dictionary query = item("service", "account");
  EXPECT_EQ(keychain_.add(with(query, kSecValueData, bytes("kept"))), KeychainStatus::kSuccess);
  SecretServiceKeychain otherApplication(address_, "com.example.other", kPatience);
  EXPECT_EQ(find(otherApplication, query), "not found");
  for (const std::string& hostile : {std::string("a\0b", 3), std::string("\xff")}) {
    EXPECT_EQ(find(keychain_, item("service", hostile)), "failure");
  }

  startKeyring("");
  EXPECT_EQ(find(keychain_, query), "failure") << "locked";
  EXPECT_EQ(keychain_.add(with(item("service", "new"), kSecValueData, bytes("x"))),
            KeychainStatus::kFailure);
  startKeyring("password\n");
  EXPECT_EQ(find(keychain_, query), "kept");
}

TEST_F(SecretServiceTest, FileAndKeyringStandInForEachOther) {
  RecordingLog log;
  const std::string path = home_ / "made/keychain.db";
  const auto pending = std::make_shared<PendingWork>();
  LinuxDispatcher dispatcher({}, pending, std::make_shared<RecordingLog>());
  SqliteKeychain file(path, "com.example.app", log);
  const auto keyring =
      std::make_shared<SecretServiceKeychain>(address_, "com.example.app", kPatience);
  MirroredKeychain both(file, keyring, dispatcher.makeSerialQueue("mirror"));
  const auto settle = [&] { EXPECT_TRUE(pending->waitUntilNone(kPatience)); };
  const auto loseFile = [&] { std::filesystem::remove_all(home_ / "made"); };
  const Dictionary id = item("service", "id");
  const Dictionary counter = item("service", "counter");

  // In the file before there was a keyring.
  EXPECT_EQ(file.add(with(id, kSecValueData, bytes("A"))), KeychainStatus::kSuccess);
  EXPECT_EQ(find(both, id), "A");
  settle();
  EXPECT_EQ(find(*keyring, id), "A");

  loseFile();
  EXPECT_EQ(both.add(with(id, kSecValueData, bytes("B"))), KeychainStatus::kDuplicateItem);
  EXPECT_EQ(find(file, id), "A") << "given back";
  EXPECT_EQ(both.add(with(counter, kSecValueData, bytes("1"))), KeychainStatus::kSuccess);
  settle();
  loseFile();
  EXPECT_EQ(both.update(counter, withData("2")), KeychainStatus::kSuccess);
  settle();
  EXPECT_EQ(find(file, counter) + find(*keyring, counter), "22");

  keyring_.reset();
  EXPECT_EQ(find(both, counter), "2");
  EXPECT_EQ(both.update(counter, withData("3")), KeychainStatus::kSuccess);
  settle();
  startKeyring("password\n");
  EXPECT_EQ(find(both, counter), "3") << "the file counts";
  EXPECT_EQ(find(*keyring, counter), "2") << "until the next change";
  EXPECT_EQ(both.remove(counter), KeychainStatus::kSuccess);
  settle();
  EXPECT_EQ(find(both, counter), "not found");

  loseFile();
  writeFile(home_ / "made", "in the way");
  EXPECT_EQ(find(both, id), "A");
  EXPECT_EQ(both.update(id, withData("C")), KeychainStatus::kSuccess);
  EXPECT_EQ(find(*keyring, id), "C");
}

TEST(SilentBusTest, CostsItsTimeLimitOnce) {
  const TemporaryDirectory directory;
  const std::string path = directory / "bus";
  const int socket = ::socket(AF_UNIX, SOCK_STREAM | SOCK_CLOEXEC, 0);
  sockaddr_un name{};
  name.sun_family = AF_UNIX;
  path.copy(name.sun_path, sizeof name.sun_path - 1);
  ASSERT_EQ(::bind(socket, reinterpret_cast<const sockaddr*>(&name), sizeof name), 0);
  ASSERT_EQ(::listen(socket, 5), 0);
  constexpr std::chrono::milliseconds kLimit{200};
  SecretServiceKeychain keychain("unix:path=" + path, "com.example.app", kLimit);
  const auto timeOfUse = [&] {
    const auto start = Clock::now();
    EXPECT_EQ(find(keychain, item("s", "a")), "failure");
    return Clock::now() - start;
  };
  const auto first = timeOfUse();
  EXPECT_GE(first, kLimit);
  EXPECT_LT(first, kPatience);
  EXPECT_LT(timeOfUse(), kLimit);
  ::close(socket);
}

TEST(SessionKeychainTest, NeedsASocketOfASession) {
  const struct {
    const char* address;
    bool isUsed;
  } cases[] = {{"unix:path=/run/user/0/bus,guid=0", true},
               {"unix:abstract=/tmp/dbus", true},
               {"", false},
               {"tcp:host=localhost,port=1", false},
               {"unixexec:path=/bin/true", false},
               {"unix:path=/a;unixexec:path=/bin/true", false}};
  for (const auto& each : cases) {
    ::setenv("DBUS_SESSION_BUS_ADDRESS", each.address, 1);
    EXPECT_EQ(makeSessionKeychain("com.example.app") != nullptr, each.isUsed) << each.address;
  }
  ::unsetenv("DBUS_SESSION_BUS_ADDRESS");
  EXPECT_FALSE(makeSessionKeychain("com.example.app"));
}

}  // namespace
}  // namespace quarnel::test
