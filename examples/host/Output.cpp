#include "Output.h"

#include <QuarnelTvOsLib/Json.h>

#include <cstdio>
#include <string>
#include <utility>

namespace host {
namespace {

void printLine(const quarnel::Dictionary& object) {
  const std::string line = quarnel::toJson(object) + '\n';
  // One call a line: the C library locks the stream for each, so lines of two threads never mix.
  std::fwrite(line.data(), 1, line.size(), stdout);
  std::fflush(stdout);
}

}  // namespace

void printResult(std::string_view operation, quarnel::Value value) {
  printLine({{"result", operation}, {"value", std::move(value)}});
}

void printCallback(std::string_view operation, std::string_view queue,
                   quarnel::Value::Array arguments) {
  printLine({{"callback", operation}, {"queue", queue}, {"arguments", std::move(arguments)}});
}

void printError(std::string_view message) { printLine({{"error", message}}); }

}  // namespace host
