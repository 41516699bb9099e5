// Finds stored requests and puts them into JSON, page by page.
#pragma once

#include <cstdint>
#include <filesystem>
#include <mutex>
#include <optional>
#include <string>
#include <vector>

#include "Database.h"

namespace collector {

struct RequestFilter {
  std::vector<std::string> kinds;  // None stands for all.
  std::string installation;
  std::string event;
  std::string search;  // Somewhere in the content, the path or the query.
  bool onlyProblems = false;
};

struct RequestPage {
  std::optional<std::int64_t> before;  // Only requests that are older than this one.
  std::optional<std::int64_t> after;   // Only requests that are newer.
  int limit = 100;
};

// Reads by a connection of its own, so that nobody who writes has to wait. Thread-safe; throws
// std::runtime_error.
class RequestReader {
 public:
  explicit RequestReader(const std::filesystem::path& file);

  // Newest first.
  std::string list(const RequestFilter& filter, const RequestPage& page);

  // Nothing when there is no such request.
  std::optional<std::string> detail(std::int64_t id);

  // Verdicts on what an installation has sent; empty stands for the one that came last.
  std::string checklist(const std::string& installation);

  // The installations, with what they run on, and the event names that came last.
  std::string facets();

  // Some of the requests after the given one, oldest first, each as a line of JSON; returns the
  // last one's number, or nothing when there are no more.
  std::optional<std::int64_t> exportLines(const RequestFilter& filter, std::int64_t after,
                                          std::string& lines);

 private:
  Database& database();

  const std::filesystem::path file_;
  std::mutex mutex_;
  std::optional<Database> database_;
};

}  // namespace collector
