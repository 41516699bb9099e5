#include "ReceivedRequest.h"

#include <array>

namespace collector {
namespace {

constexpr std::array<std::pair<Kind, const char*>, 7> kNames = {{
    {Kind::kLaunch, "launch"},
    {Kind::kEvent, "event"},
    {Kind::kStatistics, "statistics"},
    {Kind::kConversion, "conversion"},
    {Kind::kValidation, "validation"},
    {Kind::kRegistration, "registration"},
    {Kind::kUndecodable, "undecodable"},
}};

}  // namespace

const char* nameOf(Kind kind) { return kNames[static_cast<std::size_t>(kind)].second; }

Kind kindOf(std::string_view name) {
  for (const auto& [kind, known] : kNames) {
    if (name == known) return kind;
  }
  return Kind::kUndecodable;
}

}  // namespace collector
