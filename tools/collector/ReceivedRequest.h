// A request as it came in, and what was made of it.
#pragma once

#include <chrono>
#include <optional>
#include <string>
#include <string_view>
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

enum class Kind {
  kLaunch,
  kEvent,
  kStatistics,
  kConversion,
  kValidation,
  kRegistration,
  kUndecodable,
};

const char* nameOf(Kind kind);
Kind kindOf(std::string_view name);  // kUndecodable for any other name.

struct ReceivedReport {
  ReceivedRequest request;
  Kind kind = Kind::kUndecodable;
  // The content, one line of JSON: the decoded body, or the query of a request without one. Empty
  // when the body could not be decoded.
  std::string json;
  std::string error;  // Why it could not, or why what was asked for was denied.
};

struct Answer {
  int status = 200;
  std::string json;
  std::chrono::milliseconds delay{0};  // How long to wait before answering.
  bool drop = false;                   // Close the connection instead.
};

}  // namespace collector
