// The two programs that the end-to-end tests bring together.
#pragma once

#include <rapidjson/document.h>

#include <filesystem>
#include <optional>
#include <stdexcept>
#include <string>
#include <utility>
#include <vector>

#include "Process.h"

namespace e2e {

// What a test was waiting for did not come.
struct Failure : std::runtime_error {
  using std::runtime_error::runtime_error;
};

// A folder of this test alone, removed with all that is in it.
class TemporaryFolder {
 public:
  TemporaryFolder();
  ~TemporaryFolder();
  TemporaryFolder(const TemporaryFolder&) = delete;
  TemporaryFolder& operator=(const TemporaryFolder&) = delete;

  std::string path(const std::string& name = {}) const { return (path_ / name).string(); }

 private:
  std::filesystem::path path_;
};

// The JSON text of a value, as tests compare it.
std::string jsonText(const rapidjson::Value& value);

// A JSON text literal that stands for the text.
std::string quoted(const std::string& text);

// One request that reached the collector.
class Report {
 public:
  explicit Report(const std::string& line);

  // A member of what the collector tells about the request: "kind", "path", "query", ...
  std::string about(const std::string& member) const;
  std::string header(const std::string& name) const;  // In any letter case; "" when absent.

  // The fields of the report in the order in which they were sent, values as JSON text.
  std::vector<std::pair<std::string, std::string>> fields() const;
  // One of them; absent when the report has no such field.
  std::optional<std::string> field(const std::string& name) const;

 private:
  rapidjson::Document json_;
};

inline constexpr const char* kDeveloperKey = "devkey";

class Collector {
 public:
  // Keeps its certificates and requests in the folder. Port 0: any free one.
  Collector(const std::string& folder, const std::string& developerKey = kDeveloperKey,
            int port = 0, const std::vector<std::string>& more = {});

  // The next request; throws Failure when none arrives in time.
  Report next();
  int port() const { return port_; }
  std::string address(const std::string& host = "localhost") const;
  const std::string& certificateAuthority() const { return certificateAuthority_; }

 private:
  Process process_;
  int port_ = 0;
  std::string certificateAuthority_;
};

// The options with which the host reports to the collector, for an application configured well.
std::vector<std::string> reportingTo(const Collector& collector,
                                     const std::vector<std::string>& more = {});

class Host {
 public:
  // With the options given, --state in front, and variables added to its environment.
  Host(const std::string& state, std::vector<std::string> options,
       const std::vector<std::string>& variables = {});

  void run(const std::string& command) { process_.writeLine(command); }
  // The next line of standard output; throws Failure when none comes in time.
  std::string next();
  // Waits for log lines that contain the text; throws Failure when they do not come. The log has a
  // pipe of its own: what the host has written may not have been read when it answers a command.
  void waitForLog(const std::string& text, std::size_t times = 1);
  std::vector<std::string> log() { return process_.errors().all(); }
  // Waits until nothing is queued or in flight; throws Failure when that does not come.
  void drain();

  // Ends the input and returns the exit code; throws Failure when the process does not end.
  int finish();
  // Returns the exit code of a process that ends by itself.
  int wait();
  // As the system does it: without a word.
  void kill();
  pid_t processId() const { return process_.id(); }

 private:
  Process process_;
};

}  // namespace e2e
