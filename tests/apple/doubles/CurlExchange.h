#pragma once

#include <string>
#include <utility>
#include <vector>

namespace doubles {

struct Request {
  std::string method;
  std::string url;
  std::vector<std::string> headers;  // "Name: value"
  std::string body;
};

struct Answer {
  int status = 0;
  std::string body;
  std::string error;  // Empty: there is an answer.
};

// One request over real HTTPS, on the calling thread.
Answer exchange(const Request& request);

}  // namespace doubles
