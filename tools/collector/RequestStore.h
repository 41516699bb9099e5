// Keeps every report in an SQLite database, so that nothing received is lost with the terminal.
#pragma once

#include <cstdint>
#include <filesystem>
#include <functional>
#include <memory>
#include <mutex>

#include "ReceivedRequest.h"

struct sqlite3;
struct sqlite3_stmt;

namespace collector {

class RequestStore {
 public:
  // Throws std::runtime_error when the database cannot be opened.
  explicit RequestStore(const std::filesystem::path& file);

  // Throws std::runtime_error when the report could not be kept.
  void add(const ReceivedReport& report);

  // Visits what this process has added, in the order of arrival.
  void visitOwn(
      const std::function<void(Kind, const std::string& json, const std::string& error)>& visitor);

 private:
  struct Closer {
    void operator()(sqlite3* database) const;
    void operator()(sqlite3_stmt* statement) const;
  };
  using Statement = std::unique_ptr<sqlite3_stmt, Closer>;

  void execute(const char* sql);
  Statement prepare(const char* sql);
  [[noreturn]] void fail() const;

  std::mutex mutex_;
  std::unique_ptr<sqlite3, Closer> database_;
  Statement insert_;
  std::int64_t run_ = 0;  // Tells this process's reports from those of others in the same folder.
};

}  // namespace collector
