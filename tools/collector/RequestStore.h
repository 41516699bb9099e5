// Keeps every report in an SQLite database, so that nothing received is lost with the terminal.
#pragma once

#include <cstdint>
#include <filesystem>
#include <functional>
#include <mutex>
#include <optional>

#include "Database.h"
#include "ReceivedRequest.h"
#include "inspector/ReportSummary.h"
#include "inspector/WireCheck.h"

namespace collector {

class RequestStore {
 public:
  // A database that an earlier version made is brought up to date. Throws std::runtime_error when
  // the database cannot be opened.
  explicit RequestStore(const std::filesystem::path& file);

  // Adds what its counters tell, beside those of the same installation, to the problems. Throws
  // std::runtime_error when the report could not be kept.
  void add(const ReceivedReport& report, const ReportSummary& summary, Problems& problems,
           const Answer& answer);

  // Forgets all reports, those of earlier runs too. Throws std::runtime_error.
  void clear();

  struct Totals {
    std::int64_t newest = 0;  // Identifies the request that was added last; 0 when there is none.
    std::int64_t count = 0;
  };
  Totals totals() const;

  // Visits what this process has added, in the order of arrival.
  void visitOwn(
      const std::function<void(Kind, const std::string& json, const std::string& error)>& visitor);

 private:
  void prepareTables();
  std::optional<ReportSummary> earlierThan(const ReportSummary& summary);

  mutable std::mutex mutex_;
  Database database_;
  Database::Statement insert_;
  Database::Statement earlier_;
  Totals totals_;
  std::int64_t run_ = 0;  // Tells this process's reports from those of others in the same folder.
};

}  // namespace collector
