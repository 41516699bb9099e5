// What an integration has shown so far, and what is wrong with it: a verdict on each step, with the
// requests that prove it.
#pragma once

#include <cstdint>
#include <optional>
#include <string>
#include <vector>

#include "ReceivedRequest.h"

namespace collector {

// A request as far as verdicts depend on it.
struct Evidence {
  std::int64_t id = 0;
  Kind kind = Kind::kUndecodable;
  std::string event = {};
  std::optional<std::int64_t> launches = {};
  std::optional<std::int64_t> events = {};
  bool isReplayed = false;
  int status = 200;  // 0 when the connection was dropped.
  std::string appId = {};
  bool hasWrongKey = false;
  bool hasLostValues = false;  // An event that came without the values that it was given.
  bool isDenied = false;       // What was asked for was denied.
};

struct Verdict {
  enum class State { kOpen, kGood, kBad };  // Open is what was not seen yet.

  const char* name;
  const char* title;
  State state = State::kOpen;
  std::string text;
  std::vector<std::int64_t> requests = {};  // What proves it.
};

// The requests of one installation, in the order of arrival, and those that could not be decoded. A
// mistake that later requests do not repeat counts as mended.
std::vector<Verdict> checklistOf(const std::vector<Evidence>& requests);

std::string checklistJson(const std::string& installation, const std::vector<Verdict>& verdicts);

}  // namespace collector
