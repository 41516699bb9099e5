// A request as it came in, and what was made of it.
#pragma once

#include <chrono>
#include <optional>
#include <string>
#include <utility>
#include <vector>

namespace collector {

struct ReceivedRequest {
  std::chrono::system_clock::time_point time;
  std::string method;
  std::string host;
  std::string path;
  std::string query;  // As it stood in the request line.
  std::vector<std::pair<std::string, std::string>> headers;
  std::string body;
};

enum class Kind { kLaunch, kEvent, kUndecodable };

const char* nameOf(Kind kind);

struct ReceivedReport {
  ReceivedRequest request;
  Kind kind = Kind::kUndecodable;
  std::string json;   // The report, one line of JSON; empty when the body could not be decoded.
  std::string error;  // Why it could not.
};

struct Answer {
  int status = 200;
  std::string json;
};

}  // namespace collector
