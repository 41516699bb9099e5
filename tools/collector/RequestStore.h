// Keeps every report in an SQLite database, so that nothing received is lost with the terminal.
#pragma once

#include <cstdint>
#include <filesystem>
#include <functional>
#include <memory>
#include <mutex>
#include <optional>
#include <string>
#include <vector>

#include "Database.h"
#include "Expectations.h"
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
    std::string trouble;  // Why requests are not kept, or were lost; empty when all is well.
  };
  Totals totals() const;

  // Begins a new database when somebody deleted or replaced the file. True when it did; never
  // throws, but tells of the trouble.
  bool reopenIfReplaced();

  struct Own {
    std::int64_t id = 0;
    Kind kind = Kind::kUndecodable;
    std::string json;
    std::string error;
    std::string query;
    bool isDropped = false;
  };
  // Visits what this process has added, in the order of arrival. Throws std::runtime_error.
  void visitOwn(const std::function<void(const Own&)>& visitor);

 private:
  // The database, and what is prepared in it.
  struct Connection {
    Database database;
    Database::Statement insert;
    Database::Statement earlier;
    std::int64_t run = 0;  // Tells this process's reports from those of others in the same folder.
  };

  void open();
  bool reopen();
  Connection& connection();
  void insert(const ReceivedReport& report, const ReportSummary& summary, const Problems& problems,
              const Answer& answer);
  std::optional<ReportSummary> earlierThan(const ReportSummary& summary);

  const std::filesystem::path file_;
  mutable std::mutex mutex_;
  std::unique_ptr<Connection> connection_;
  Totals totals_;
};

// Compares what this process has received with what was expected. Throws std::runtime_error.
Comparison compareOwn(RequestStore& store, const std::vector<Expectation>& expectations);

}  // namespace collector
