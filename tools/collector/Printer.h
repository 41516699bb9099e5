// What the collector says on its standard output, for people or for programs.
#pragma once

#include <filesystem>
#include <memory>
#include <string>

#include "ReceivedRequest.h"
#include "RequestStore.h"
#include "inspector/WireCheck.h"

namespace collector {

// Operations may be called from any thread; each writes whole lines and flushes them.
class Printer {
 public:
  virtual ~Printer() = default;

  virtual void listening(int port, int webPort, const std::filesystem::path& ca) = 0;
  virtual void report(const ReceivedReport& report, const Problems& problems) = 0;
  // A request that no endpoint took.
  virtual void refused(const ReceivedRequest& request, int status) = 0;
};

std::unique_ptr<Printer> makeTextPrinter();
std::unique_ptr<Printer> makeJsonPrinter();

// A table of all reports of this run.
void printSummary(RequestStore& store);

}  // namespace collector
