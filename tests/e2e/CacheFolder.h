// What lies in the folder of the offline cache.
#pragma once

#include <sys/types.h>

#include <string>
#include <vector>

namespace e2e {

struct CachedRecord {
  std::string name;
  std::string content;
  std::string event;

  bool operator==(const CachedRecord&) const = default;
};

std::string cacheFolder(const std::string& state);

// The whole records, sorted by name. Throws Failure when something else lies there, when one is not
// whole or when somebody else could read one.
std::vector<CachedRecord> cachedRecords(const std::string& state);

std::vector<std::string> eventsOf(const std::vector<CachedRecord>& records);

// Sanitizers hold freed memory back, so that its amount tells nothing.
inline constexpr bool kIsMemoryTelling = !QUARNEL_IS_SANITIZED;

// The most memory that the process has used so far.
std::size_t peakMemory(pid_t process);

}  // namespace e2e
