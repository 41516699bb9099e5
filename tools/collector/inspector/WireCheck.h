// Finds what is wrong with a request, measured by what the services expect.
#pragma once

#include <mutex>
#include <optional>
#include <set>
#include <string>
#include <string_view>
#include <vector>

#include "ReceivedRequest.h"
#include "inspector/ReportSummary.h"

namespace collector {

struct Problem {
  enum class Severity { kWarning, kError };  // An error loses data, a warning looks wrong.

  Severity severity;
  std::string field;  // Empty when it concerns the request as a whole.
  std::string text;
};

using Problems = std::vector<Problem>;

// Thread-safe.
class WireCheck {
 public:
  explicit WireCheck(std::string_view developerKey);

  Problems check(const ReceivedReport& report);

 private:
  void checkKey(const std::string& key, Problems& problems);
  void checkUndecodable(const ReceivedReport& report, Problems& problems) const;

  const std::string developerKey_;
  mutable std::mutex mutex_;
  // Keys that requests named in the open: they may be what a body is encoded with.
  std::set<std::string> otherKeys_;
};

// Compares a report with the one that the same installation made before it.
void checkCounters(const ReportSummary& earlier, const ReportSummary& report, Problems& problems);

// An array of objects.
std::string problemsJson(const Problems& problems);

}  // namespace collector
