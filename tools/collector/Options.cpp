#include "Options.h"

#include <charconv>
#include <cstdlib>
#include <string_view>

namespace collector {

const char* const kUsage =
    "usage: quarnel-collector --port PORT --dev-key KEY [--web-port PORT] [--state DIR]\n"
    "                         [--jsonl | --summary] [--conversion FILE] [--receipts FILE]\n"
    "                         [--expect FILE [--within SECONDS]]\n"
    "  --port PORT    listen on this port of the loopback interface; 0 picks a free one\n"
    "  --dev-key KEY  the developer key of the applications that report\n"
    "  --web-port PORT\n"
    "                 serve the inspector, a page that shows what arrives, on this port of the\n"
    "                 loopback interface (default: a free one)\n"
    "  --state DIR    keep certificates and received reports here\n"
    "                 (default: ${XDG_STATE_HOME:-~/.local/state}/quarnel-collector)\n"
    "  --conversion FILE\n"
    "                 answer with this JSON object when asked for conversion data\n"
    "  --receipts FILE\n"
    "                 a JSON object of the receipts to accept: Base64 or \"*\" to an array of\n"
    "                 transaction identifiers\n"
    "  --expect FILE  at the end compare what arrived with this list, one JSON object a line, "
    "print\n"
    "                 the differences on standard error, and exit with 3 if there are any\n"
    "  --within SECONDS\n"
    "                 end by itself when all of it has arrived, or after this time\n"
    "  --jsonl        print one JSON object a line\n"
    "  --summary      print a table of all that was received in this run at its end\n";

namespace {

bool parsePort(std::string_view text, int& port) {
  const char* end = text.data() + text.size();
  const auto [rest, failure] = std::from_chars(text.data(), end, port);
  return failure == std::errc() && rest == end && port >= 0 && port <= 65535;
}

std::optional<std::filesystem::path> defaultState() {
  if (const char* base = std::getenv("XDG_STATE_HOME"); base && *base == '/') {
    return std::filesystem::path(base) / "quarnel-collector";
  }
  if (const char* home = std::getenv("HOME"); home && *home) {
    return std::filesystem::path(home) / ".local/state/quarnel-collector";
  }
  return std::nullopt;
}

class Parser {
 public:
  Parser(int argc, const char* const* argv, std::string& error)
      : argument_(argv + 1), end_(argv + argc), error_(error) {}

  std::optional<Options> parse() {
    while (argument_ < end_) {
      if (!parseOne(*argument_++)) return std::nullopt;
      if (options_.help) return options_;
    }
    if (!hasPort_) return fail("--port is missing");
    if (!hasKey_) return fail("--dev-key is missing");
    if (options_.jsonLines && options_.summary) {
      return fail("--jsonl and --summary exclude each other");
    }
    if (options_.withinSeconds > 0 && !options_.expect) return fail("--within needs --expect");
    if (options_.state.empty()) {
      auto state = defaultState();
      if (!state) return fail("--state is needed, for HOME is not set");
      options_.state = *state;
    }
    return options_;
  }

 private:
  bool parseOne(std::string_view name) {
    if (name == "--jsonl") return options_.jsonLines = true;
    if (name == "--summary") return options_.summary = true;
    if (name == "--help" || name == "-h") return options_.help = true;
    if (name != "--port" && name != "--dev-key" && name != "--web-port" && name != "--state" &&
        name != "--conversion" && name != "--receipts" && name != "--expect" &&
        name != "--within") {
      fail("unknown argument " + std::string(name));
      return false;
    }
    if (argument_ == end_) {
      fail(std::string(name) + " needs a value");
      return false;
    }
    return take(name, *argument_++);
  }

  bool take(std::string_view name, std::string_view value) {
    if (name == "--port") {
      hasPort_ = parsePort(value, options_.port);
      if (!hasPort_) fail("--port must be a number from 0 to 65535");
      return hasPort_;
    }
    if (name == "--web-port") {
      const bool isPort = parsePort(value, options_.webPort);
      if (!isPort) fail("--web-port must be a number from 0 to 65535");
      return isPort;
    }
    if (name == "--dev-key") {
      options_.developerKey = value;
      return hasKey_ = true;
    }
    if (name == "--conversion") {
      options_.conversion = value;
      return true;
    }
    if (name == "--expect") {
      options_.expect = value;
      return true;
    }
    if (name == "--within") {
      const char* const end = value.data() + value.size();
      const auto [rest, failure] = std::from_chars(value.data(), end, options_.withinSeconds);
      const bool isTime = failure == std::errc() && rest == end && options_.withinSeconds > 0;
      if (!isTime) fail("--within must be a number of seconds");
      return isTime;
    }
    if (name == "--receipts") {
      options_.receipts = value;
      return true;
    }
    options_.state = value;
    if (value.empty()) fail("--state must not be empty");
    return !value.empty();
  }

  std::nullopt_t fail(std::string message) {
    error_ = std::move(message);
    return std::nullopt;
  }

  const char* const* argument_;
  const char* const* end_;
  std::string& error_;
  Options options_;
  bool hasPort_ = false;
  bool hasKey_ = false;
};

}  // namespace

std::optional<Options> parseOptions(int argc, const char* const* argv, std::string& error) {
  return Parser(argc, argv, error).parse();
}

}  // namespace collector
