// Compares what arrived with what somebody expected to arrive.
#pragma once

#include <cstdint>
#include <map>
#include <optional>
#include <string>
#include <string_view>
#include <vector>

#include "Parameters.h"
#include "ReceivedRequest.h"

namespace collector {

struct Expectation {
  int line = 0;
  Kind kind = Kind::kUndecodable;
  std::map<std::string, std::string> fields;  // Their JSON; null for one that must be absent.
};

// One JSON object a line: "kind", and fields of the content or the query with their values. Empty
// lines and those that begin with "#" are skipped. Without expectations `error` says why.
std::optional<std::vector<Expectation>> readExpectations(std::string_view text, std::string& error);

struct Delivered {
  std::int64_t id = 0;
  Kind kind = Kind::kUndecodable;
  std::string json;
  std::string query;
};

struct Comparison {
  bool isMet = false;
  std::string text;  // A line for each difference, and a summary.
};

// Each expectation wants a request of its own, in whatever order. Of kinds that nobody expects
// nothing is asked; what cannot be decoded is always a difference.
Comparison compare(const std::vector<Expectation>& expected,
                   const std::vector<Delivered>& delivered);

}  // namespace collector
