#include "CacheFolder.h"

#include <algorithm>
#include <filesystem>
#include <fstream>
#include <iterator>
#include <sstream>

#include "ReportServer.h"

namespace e2e {
namespace {

void require(bool condition, const std::string& what, const std::string& about) {
  if (!condition) throw Failure(what + ": " + about);
}

// What a killed process was still writing, where the file system has no files without a name.
bool isUnfinished(const std::string& name) {
  return name.starts_with('.') && name.find(".qn.tmp-") != name.npos;
}

CachedRecord readRecord(const std::filesystem::path& path) {
  using std::filesystem::perms;
  const auto status = std::filesystem::symlink_status(path);
  require(std::filesystem::is_regular_file(status), "not a file", path);
  require(status.permissions() == (perms::owner_read | perms::owner_write), "mode", path);
  CachedRecord record{.name = path.filename(), .content = {}, .event = {}};
  require(path.extension() == ".qn" && record.name.front() != '.', "not a record", path);
  std::ifstream file(path, std::ios::binary);
  record.content.assign(std::istreambuf_iterator<char>(file), {});
  std::istringstream lines(record.content);
  std::string version;
  std::string url;
  std::string data;
  std::getline(std::getline(std::getline(lines, version), url), data);
  require(version == "version=1.0.0" && url.starts_with("url=https://localhost:") &&
              data.starts_with("data=") && lines.eof(),
          "not whole", record.content);
  record.event = eventOf(data.substr(5));
  return record;
}

}  // namespace

std::string cacheFolder(const std::string& state) { return state + "/Caches/QuarnelCache"; }

std::vector<CachedRecord> cachedRecords(const std::string& state) {
  std::vector<CachedRecord> records;
  const std::filesystem::path folder = cacheFolder(state);
  if (!std::filesystem::exists(folder)) return records;
  require(std::filesystem::status(folder).permissions() == std::filesystem::perms::owner_all,
          "mode", folder);
  for (const auto& entry : std::filesystem::directory_iterator(folder)) {
    if (!isUnfinished(entry.path().filename())) records.push_back(readRecord(entry.path()));
  }
  std::sort(records.begin(), records.end(),
            [](const auto& left, const auto& right) { return left.name < right.name; });
  return records;
}

std::vector<std::string> eventsOf(const std::vector<CachedRecord>& records) {
  std::vector<std::string> events;
  events.reserve(records.size());
  for (const CachedRecord& record : records) events.push_back(record.event);
  return events;
}

std::size_t peakMemory(pid_t process) {
  std::ifstream status("/proc/" + std::to_string(process) + "/status");
  for (std::string line; std::getline(status, line);) {
    std::istringstream words(line);
    std::string name;
    std::size_t kilobytes = 0;
    if (words >> name >> kilobytes && name == "VmHWM:") return kilobytes << 10;
  }
  throw Failure("the process tells nothing of its memory");
}

}  // namespace e2e
