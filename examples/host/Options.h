// The command line.
#pragma once

#include <QuarnelTvOsLib/HostEnvironment.h>

#include <optional>
#include <string>

namespace host {

struct Options {
  quarnel::HostEnvironment environment;
  std::optional<std::string> developerKey;
  std::optional<std::string> appID;
  bool isDebug = false;
};

extern const char* const kUsage;

// Throws BadInput on a command line that makes no sense.
Options readOptions(int argumentCount, const char* const* arguments);

}  // namespace host
