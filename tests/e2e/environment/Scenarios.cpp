// What applications do to their own process while the library works in it. Each scenario reports
// some events; the test knows which of them have to arrive.
#include <QuarnelTvOsLib/Notifications.h>
#include <QuarnelTvOsLib/QuarnelTracker.h>
#include <pthread.h>
#include <sys/resource.h>
#include <sys/stat.h>
#include <sys/wait.h>
#include <unistd.h>

#include <algorithm>
#include <atomic>
#include <clocale>
#include <cstdio>
#include <cstdlib>
#include <filesystem>
#include <functional>
#include <map>
#include <string>
#include <thread>
#include <vector>

namespace {

using namespace quarnel;

constexpr std::chrono::seconds kPatience{20};
constexpr int kStandardStreams[] = {0, 1, 2};

QuarnelTracker& tracker() { return QuarnelTracker::sharedTracker(); }

void track(const char* event) { tracker().trackEventWithValue(event, "v"); }

bool drained() { return tracker().drain(kPatience); }

// The exit code of a child that runs this, negative if a signal ended it. A deadlock is ended by
// one.
int inChild(const std::function<void()>& work) {
  const pid_t child = fork();
  if (child == 0) {
    alarm(20);
    work();
    std::exit(0);
  }
  int status = 0;
  waitpid(child, &status, 0);
  return WIFEXITED(status) ? WEXITSTATUS(status) : -WTERMSIG(status);
}

void useEverything() {
  QuarnelTracker& used = tracker();
  used.setCustomerUserID("child");
  used.setIsDebug(true);
  used.trackAppLaunch();
  track("child");
  used.trackEventWithValues("child", Dictionary{{"a", 1}});
  used.getQuarnelUID();
  used.registerUninstall({1});
  used.startConnection([](const std::function<void()>& ended) { ended(); });
  postNotification(UIApplicationDidEnterBackgroundNotification);
  used.drain(kPatience);
}

// Children that use the tracker while its threads, and other threads with it, are in full swing.
bool forkAndUse() {
  std::atomic<bool> enough = false;
  std::vector<std::thread> users;
  for (int i = 0; i < 2; ++i) {
    users.emplace_back([&enough] {
      while (!enough) {
        tracker().setCustomerUserID("parent");
        tracker().getQuarnelUID();
      }
    });
  }
  bool childrenEnded = true;
  for (const char* event : {"p0", "p1", "p2", "p3", "p4", "p5", "p6", "p7"}) {
    track(event);
    for (int i = 0; i < 4; ++i) childrenEnded = inChild(useEverything) == 0 && childrenEnded;
  }
  enough = true;
  for (std::thread& user : users) user.join();
  return childrenEnded && drained();
}

// A child that returns into the library, from a callback.
bool forkInCallback() {
  std::atomic<int> status = -1;
  tracker().validateAndTrackInAppPurchase("p", 1, "EUR", "t", std::nullopt, {},
                                          [&status](const auto&, const auto&) {
                                            const pid_t child = fork();
                                            if (child == 0) {
                                              alarm(20);
                                              return;
                                            }
                                            int ended = 0;
                                            waitpid(child, &ended, 0);
                                            status = ended;
                                          });
  track("after");
  return drained() && status == 0;
}

// A program that the application starts inherits no connection.
bool forkAndExecute() {
  constexpr char kFindConnection[] =
      "for each in /proc/$$/fd/*; do socket=$(readlink $each); socket=${socket#socket:[};"
      " grep -qF \" ${socket%]} \" /proc/net/tcp /proc/net/tcp6 && exit 1; done; exit 0";
  track("before");
  if (!drained()) return false;
  const int code = inChild([&] { execl("/bin/sh", "sh", "-c", kFindConnection, nullptr); });
  track("after");
  return drained() && code == 0;
}

// The tracker in the destructor of an object that is older than it.
struct LastWords {
  ~LastWords() {
    track("last");
    if (!drained()) std::_Exit(3);
  }
};
bool trackAtExit() {
  static const LastWords lastWords;
  track("first");
  return drained();
}

bool closeStandardStreams() {
  tracker().setIsDebug(true);
  for (const char* event : {"a", "b", "c"}) track(event);
  if (!drained()) return false;
  // What takes their place is nothing that anybody could write into or read from.
  return std::all_of(std::begin(kStandardStreams), std::end(kStandardStreams), [](int stream) {
    struct stat status {};
    return fstat(stream, &status) != 0 || S_ISCHR(status.st_mode);
  });
}

bool fillDescriptorTable() {
  track("before");
  if (!drained()) return false;
  rlimit limit{};
  getrlimit(RLIMIT_NOFILE, &limit);
  const rlimit full{3, limit.rlim_max};
  setrlimit(RLIMIT_NOFILE, &full);
  track("while full");
  const bool ended = drained();
  setrlimit(RLIMIT_NOFILE, &limit);
  track("after");
  return ended && drained();
}

bool reportInLocale() {
  if (std::setlocale(LC_ALL, "") == nullptr || *std::localeconv()->decimal_point != ',')
    return false;
  tracker().trackEventWithValues("values", Dictionary{{"price", 1234.5}});
  tracker().trackLocation(2.5, 48.25);
  return drained();
}

bool moveAway() {
  std::filesystem::create_directory("gone");
  std::filesystem::current_path("gone");
  std::filesystem::remove("../gone");
  track("after");
  return drained();
}

// Files of the library that others may read or write.
bool openUpPermissions() {
  track("e");
  if (!drained()) return false;
  const auto isPrivate = [](const auto& entry) {
    return (entry.status().permissions() & std::filesystem::perms(077)) ==
           std::filesystem::perms::none;
  };
  const std::filesystem::recursive_directory_iterator files("state");
  return std::all_of(begin(files), end(files), isPrivate);
}

bool unload() {
  for (const char* event : {"a", "b", "c"}) track(event);
  return true;
}

// With nobody left to read the log.
bool reportIntoBrokenPipe() {
  int ends[2];
  if (pipe(ends) != 0) return false;
  close(ends[0]);
  dup2(ends[1], STDERR_FILENO);
  tracker().setIsDebug(true);
  track("e");
  return drained();
}

// On a thread that has hardly any stack; the library's own have as little as the process was given.
bool useSmallStack() {
  pthread_attr_t attributes;
  pthread_attr_init(&attributes);
  pthread_attr_setstacksize(&attributes, 65536);
  pthread_t thread{};
  const auto work = [](void*) -> void* {
    Value deep("v");
    for (int i = 0; i < 400; ++i) deep = Value::Array{deep};
    tracker().trackEventWithValues("small", Dictionary{{"deep", deep}});
    tracker().getQuarnelUID();
    return nullptr;
  };
  if (pthread_create(&thread, &attributes, work, nullptr) != 0) return false;
  pthread_join(thread, nullptr);
  return drained();
}

// Both processes have begun before either goes on.
bool countTogether() {
  track("e");
  if (!drained()) return false;
  std::puts("begun");
  std::fflush(stdout);
  std::getchar();
  for (int i = 1; i < 15; ++i) track("e");
  return drained();
}

bool reportOnce() {
  track("e");
  return drained();
}

const std::map<std::string, bool (*)()>& scenarios() {
  static const std::map<std::string, bool (*)()> all = {
      {"fork and use", forkAndUse},
      {"fork in callback", forkInCallback},
      {"fork and execute", forkAndExecute},
      {"track at exit", trackAtExit},
      {"closed streams", closeStandardStreams},
      {"full table", fillDescriptorTable},
      {"locale", reportInLocale},
      {"moved away", moveAway},
      {"open permissions", openUpPermissions},
      {"unload", unload},
      {"broken pipe", reportIntoBrokenPipe},
      {"small stack", useSmallStack},
      {"together", countTogether},
      {"once", reportOnce},
  };
  return all;
}

}  // namespace

// SCENARIO HOST CA, in a working directory of its own.
extern "C" __attribute__((visibility("default"))) int run(int /*count*/, char** arguments) {
  const std::string scenario = arguments[0];
  if (scenario == "closed streams") {
    for (const int stream : kStandardStreams) close(stream);
  }
  if (scenario == "open permissions") umask(0);
  HostEnvironment environment;
  environment.setStateDirectory("state");
  environment.setKeychainFile("state/keychain.db");
  environment.setCertificateAuthorityFile(arguments[2]);
  for (const auto endpoint : {Endpoint::kLaunch, Endpoint::kEvents, Endpoint::kStats,
                              Endpoint::kConversion, Endpoint::kServices, Endpoint::kRegister}) {
    environment.setEndpointHost(endpoint, arguments[1]);
  }
  QuarnelTracker::configureSharedTracker(environment);
  tracker().setQuarnelDevKey("devkey");
  tracker().setAppleAppID("123456789");
  return scenarios().at(scenario)() ? 0 : 1;
}
