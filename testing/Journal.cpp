#include "Journal.h"

#include "util/NumberText.h"
#include "util/Text.h"

namespace quarnel::testing {
namespace {

const char* nameOf(Journal::Kind kind) {
  switch (kind) {
    case Journal::Kind::kLog:
      return "log";
    case Journal::Kind::kCallback:
      return "callback";
    case Journal::Kind::kHttp:
      return "http";
    case Journal::Kind::kStore:
      return "store";
  }
  return "";
}

}  // namespace

std::string describe(const Journal::Entry& entry) {
  const std::chrono::duration<double> at = entry.at;
  return fixed(at.count(), 6) + ' ' + entry.queue + ": " + nameOf(entry.kind) + ' ' + entry.text;
}

}  // namespace quarnel::testing
