// The command line of the collector.
#pragma once

#include <filesystem>
#include <optional>
#include <string>

namespace collector {

struct Options {
  int port = 0;     // 0 picks a free one.
  int webPort = 0;  // The same.
  std::string developerKey;
  std::filesystem::path state;
  std::optional<std::filesystem::path> conversion;
  std::optional<std::filesystem::path> receipts;
  std::optional<std::filesystem::path> expect;
  int withinSeconds = 0;  // 0 waits for a signal.
  bool jsonLines = false;
  bool summary = false;
  bool help = false;
};

extern const char* const kUsage;

// Without options, `error` says what is wrong with the command line.
std::optional<Options> parseOptions(int argc, const char* const* argv, std::string& error);

}  // namespace collector
