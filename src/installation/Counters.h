#pragma once

#include <QuarnelTvOsLib/Value.h>

#include <cstdint>
#include <optional>
#include <vector>

#include "platform/UserDefaults.h"
#include "util/DebugLog.h"

namespace quarnel {

// The numbers of one report. The stored values before it tell the log lines apart.
struct ReportNumbers {
  std::optional<std::int32_t> launchesBefore;
  std::int32_t launches = 0;
  std::optional<std::int32_t> eventsBefore;
  std::int32_t events = 0;
  double timePassed = -1;  // Seconds since the report before, -1 for the first one.
};

// The persistent counters and the time since the previous report. A missing value always means
// "first time". No two reports get the same number, not even in two processes. Callable from any
// thread.
class Counters {
 public:
  Counters(UserDefaults& defaults, const DebugLog& log) : defaults_(defaults), log_(log) {}

  // Numbers reports in their order, and commits all of it as one step. A report counts as a launch
  // or as an in-app event, never as both.
  struct Numbered {
    bool isInAppEvent = false;
    Date moment;
  };
  std::vector<ReportNumbers> number(const std::vector<Numbered>& reports);

  // The log lines of a report's numbers, in the order in which the report carries them.
  void logNumbers(const ReportNumbers& numbers, bool isInAppEvent,
                  std::optional<std::int32_t> endedSessions) const;

  // Launch reports so far.
  std::int32_t getCounter() const;

  // The number of the current session, by the stored number of those that ended.
  static std::int32_t getRealLaunchCounter(std::optional<std::int32_t> endedSessions);

  // Ends a session: counted at once for all that reads it, and committed before this returns,
  // unless the store is locked for longer than limits::kSessionCommit. Then it is committed later.
  void incrementRealLaunchCounter();

 private:
  void logLaunches(const std::optional<std::int32_t>& before, bool increase,
                   std::int32_t after) const;
  void logEvents(const std::optional<std::int32_t>& before, bool increase,
                 std::int32_t after) const;

  UserDefaults& defaults_;
  const DebugLog& log_;
};

}  // namespace quarnel
