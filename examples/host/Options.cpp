#include "Options.h"

#include <QuarnelTvOsLib/Json.h>

#include <map>
#include <string_view>
#include <utility>

#include "Arguments.h"
#include "BadInput.h"
#include "JsonText.h"

namespace host {
namespace {

using quarnel::Endpoint;
using quarnel::HostEnvironment;
using quarnel::Value;

// The values of the options by name; "" for a flag.
using Given = std::map<std::string_view, std::string>;

struct EndpointOption {
  std::string_view name;
  Endpoint endpoint;
};

constexpr EndpointOption kEndpoints[] = {
    {"--launch-host", Endpoint::kLaunch},     {"--events-host", Endpoint::kEvents},
    {"--stats-host", Endpoint::kStats},       {"--conversion-host", Endpoint::kConversion},
    {"--services-host", Endpoint::kServices}, {"--register-host", Endpoint::kRegister},
};

constexpr std::string_view kWithValue[] = {
    "--state",       "--dev-key",    "--app-id",          "--collector",     "--launch-host",
    "--events-host", "--stats-host", "--conversion-host", "--services-host", "--register-host",
    "--ca",          "--keychain",   "--receipt",         "--bundle-id",     "--bundle-version",
    "--device",
};

bool takesValue(std::string_view name) {
  for (const std::string_view each : kWithValue) {
    if (each == name) return true;
  }
  return false;
}

Given collect(int argumentCount, const char* const* arguments) {
  Given given;
  for (int at = 1; at < argumentCount; ++at) {
    const std::string_view name = arguments[at];
    if (name == "--debug") {
      given[name] = "";
    } else if (!takesValue(name)) {
      throw BadInput("unknown option " + std::string(name));
    } else if (++at == argumentCount) {
      throw BadInput(std::string(name) + " takes a value");
    } else {
      given[name] = arguments[at];
    }
  }
  return given;
}

std::optional<std::string> find(const Given& given, std::string_view name) {
  const auto found = given.find(name);
  if (found == given.end()) return std::nullopt;
  return found->second;
}

void setHosts(HostEnvironment& environment, const Given& given) {
  const auto collector = find(given, "--collector");
  for (const auto& [name, endpoint] : kEndpoints) {
    const auto own = find(given, name);
    if (own || collector) environment.setEndpointHost(endpoint, own ? *own : *collector);
  }
}

void setBundle(HostEnvironment& environment, const Given& given) {
  const std::string version = find(given, "--bundle-version").value_or("1.0");
  environment.setBundleIdentifier(find(given, "--bundle-id").value_or("example.quarnel.host"));
  environment.setBundle(version, "quarnel-host", version);
}

// A device fact is text; numbers and booleans may be written as such.
std::optional<std::string> factText(const std::string& field, const Value& value) {
  if (value.boolean() || value.integer() || value.number()) return quarnel::toJson(value);
  return optionalText(value, field);
}

void setDeviceFacts(HostEnvironment& environment, const std::string& json) {
  for (const auto& [field, value] : requiredDictionary(readJson(json), "--device")) {
    if (!environment.setDeviceFact(field, factText(field, value))) {
      throw BadInput("--device: there is no device fact " + field);
    }
  }
}

}  // namespace

const char* const kUsage =
    "usage: quarnel-host --state DIR [--dev-key KEY] [--app-id ID] [--collector HOST:PORT]\n"
    "                    [--launch-host H] [--events-host H] [--stats-host H]\n"
    "                    [--conversion-host H] [--services-host H] [--register-host H]\n"
    "                    [--ca FILE] [--keychain FILE] [--receipt FILE] [--bundle-id ID]\n"
    "                    [--bundle-version V] [--device JSON] [--debug]\n"
    "       quarnel-host --help\n"
    "It reads one JSON array a line: an operation's name, then its arguments.\n"
    "  [\"set\", \"customerUserID\", \"u-1\"]   [\"wait\", 0.5]   [\"drain\"]   [\"quit\"]\n"
    "  [\"trackEvent:withValues:\", \"purchase\", {\"qn_revenue\": 9.99}]\n"
    "  [\"delegate\", [\"onConversionDataReceived:\", \"onAppOpenAttribution:\"]]\n"
    "  [\"post\", \"UIApplicationDidFinishLaunchingNotification\", null]\n"
    "Every callback and result is one JSON line on standard output; the log is on standard "
    "error.\n";

Options readOptions(int argumentCount, const char* const* arguments) {
  const Given given = collect(argumentCount, arguments);
  const auto state = find(given, "--state");
  if (!state) throw BadInput("--state is missing");

  Options options;
  HostEnvironment& environment = options.environment;
  environment.setStateDirectory(*state);
  environment.setKeychainFile(find(given, "--keychain").value_or(*state + "/keychain.db"));
  if (const auto file = find(given, "--ca")) environment.setCertificateAuthorityFile(*file);
  if (const auto file = find(given, "--receipt")) environment.setReceiptFile(*file);
  setHosts(environment, given);
  setBundle(environment, given);
  if (const auto facts = find(given, "--device")) setDeviceFacts(environment, *facts);

  options.developerKey = find(given, "--dev-key");
  options.appID = find(given, "--app-id");
  options.isDebug = given.count("--debug") != 0;
  return options;
}

}  // namespace host
