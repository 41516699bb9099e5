// One system call after the other fails, and nothing gets lost without a word.
#include <gtest/gtest.h>

#include <algorithm>
#include <atomic>
#include <cerrno>
#include <filesystem>
#include <fstream>
#include <set>
#include <thread>

#include "CacheFolder.h"
#include "ReportServer.h"

namespace e2e {
namespace {

using Behaviour = ReportServer::Behaviour;

struct Fault {
  const char* call;
  std::vector<int> errors;  // Taken in turn.
};

void PrintTo(const Fault& fault, std::ostream* stream) { *stream << fault.call; }

std::size_t linesWith(const std::vector<std::string>& lines, const std::string& text) {
  const auto count = std::count_if(lines.begin(), lines.end(), [&text](const std::string& line) {
    return line.find(text) != std::string::npos;
  });
  return static_cast<std::size_t>(count);
}

bool holds(const std::vector<std::string>& lines, const std::string& text) {
  return linesWith(lines, text) > 0;
}

// The application itself needs threads; without one it ends, and says so.
bool hasNoThread(Host& host) { return holds(host.log(), "the system has no thread to give"); }

void track(Host& host, const std::string& event) {
  host.run(R"(["trackEvent:withValue:",)" + quoted(event) + R"(,"v"])");
}

std::string identifierOf(Host& host) {
  host.run(R"(["getQuarnelUID"])");
  return host.next();
}

// One installation: a run in which one call fails, and a run after it in which none does.
class Installation {
 public:
  Installation(const Fault& fault, int number)
      : state_(folder_.path("state")),
        isDamaged_(fault.call == std::string("rename")),
        variables_{std::string("LD_PRELOAD=") + QUARNEL_FAULTS,
                   std::string("QUARNEL_FAULT_CALL=") + fault.call,
                   "QUARNEL_FAULT_NUMBER=" + std::to_string(number),
                   "QUARNEL_FAULT_ERROR=" + std::to_string(errorFor(fault, number)),
                   "QUARNEL_FAULT_FOLDER=" + state_} {
    if (isDamaged_) plantDamagedFile();
  }

  void runWithFault() {
    Host host(state_, server_.reportingHere(folder_.path()), variables_);
    try {
      identifier_ = identifierOf(host);
      track(host, "offline");
      host.drain();
      server_.behave(Behaviour::kAnswer);
      track(host, "online");
      host.drain();
      EXPECT_TRUE(host.finish() == 0 || hasNoThread(host));
    } catch (const Failure&) {
      host.finish();
      if (!hasNoThread(host)) throw;
    }
    log_ = host.log();
    EXPECT_TRUE(isDamaged_ || !holds(log_, "Set aside as")) << "a sound file is kept";
    if (hasNoThread(host)) return;
    std::size_t lost = 0;
    for (const char* const event : {"offline", "online"}) {
      lost += answered().count(event) + cached().count(event) > 0 ? 0 : 1;
    }
    EXPECT_LE(lost, linesWith(log_, "Error writing file at "));
  }

  bool hasFailed() const { return holds(log_, "Fault: "); }

  void runWithoutFault() {
    std::set<std::string> expected = cached();
    expected.insert("next");
    server_.behave(Behaviour::kAnswer);
    Host host(state_, server_.reportingHere(folder_.path()));
    const std::string identifier = identifierOf(host);
    const bool isTold = holds(log_, "the user defaults in ");
    EXPECT_TRUE(isTold || identifier_.empty() || identifier == identifier_);
    track(host, "next");
    host.drain();
    for (const std::string& event : expected) EXPECT_EQ(answered().count(event), 1U) << event;
    EXPECT_EQ(cached(), std::set<std::string>{});
    EXPECT_FALSE(holds(host.log(), "cannot be used now"));
    EXPECT_EQ(host.finish(), 0);
  }

 private:
  static int errorFor(const Fault& fault, int number) {
    return fault.errors[static_cast<std::size_t>(number) % fault.errors.size()];
  }

  void plantDamagedFile() const {
    std::filesystem::create_directories(state_ + "/Library/Preferences");
    std::ofstream(state_ + "/Library/Preferences/user-defaults.db") << std::string(4096, 'x');
  }

  std::set<std::string> answered() const {
    const auto events = server_.answeredEvents();
    return {events.begin(), events.end()};
  }

  std::set<std::string> cached() const {
    if (!std::filesystem::exists(cacheFolder(state_))) return {};
    const auto events = eventsOf(cachedRecords(state_));
    return {events.begin(), events.end()};
  }

  TemporaryFolder folder_;
  const std::string state_;
  const bool isDamaged_;  // Only a damaged file is renamed.
  const std::vector<std::string> variables_;
  ReportServer server_{Behaviour::kDropAtAccept};
  std::string identifier_;
  std::vector<std::string> log_;
};

class FaultTest : public testing::TestWithParam<Fault> {};

TEST_P(FaultTest, LosesNothingWithoutAWord) {
  constexpr int kWorkers = 4;
  std::atomic<int> next = 0;  // 0: every call fails.
  std::atomic<int> hits = 0;
  std::atomic<bool> isExhausted = false;
  const auto work = [&] {
    while (!isExhausted && !HasFailure()) {
      const int number = next++;
      SCOPED_TRACE("call number " + std::to_string(number));
      try {
        Installation installation(GetParam(), number);
        installation.runWithFault();
        isExhausted = isExhausted || !installation.hasFailed();
        hits += installation.hasFailed() ? 1 : 0;
        installation.runWithoutFault();
      } catch (const Failure& failure) {
        ADD_FAILURE() << failure.what();
      }
    }
  };
  std::vector<std::thread> workers;
  for (int i = 0; i < kWorkers; ++i) workers.emplace_back(work);
  for (std::thread& worker : workers) worker.join();
  EXPECT_GT(hits, 0) << "the call is never made";
  RecordProperty("hits", hits);
}

INSTANTIATE_TEST_SUITE_P(
    Calls, FaultTest,
    testing::Values(Fault{"open", {EMFILE, EACCES, ENOSPC}}, Fault{"openat", {EMFILE, ENOSPC}},
                    Fault{"read", {EIO}}, Fault{"pread", {EIO}}, Fault{"write", {ENOSPC, EIO}},
                    Fault{"pwrite", {ENOSPC, EIO}}, Fault{"fsync", {EIO, ENOSPC}},
                    Fault{"fdatasync", {EIO}}, Fault{"ftruncate", {ENOSPC, EIO}},
                    Fault{"mmap", {ENOMEM, EACCES}}, Fault{"rename", {EACCES, ENOSPC}},
                    Fault{"linkat", {ENOSPC, EACCES}}, Fault{"unlink", {EACCES, EIO}},
                    Fault{"mkdir", {ENOSPC, EACCES}}, Fault{"getrandom", {ENOSYS}},
                    Fault{"pthread_create", {EAGAIN}}, Fault{"socket", {EMFILE}},
                    Fault{"pipe", {EMFILE}}),
    [](const auto& instance) { return std::string(instance.param.call); });

}  // namespace
}  // namespace e2e
