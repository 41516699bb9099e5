// What the collector says on its standard output, for people or for programs.
#pragma once

#include <filesystem>
#include <memory>
#include <string>

#include "ReceivedRequest.h"
#include "RequestStore.h"
#include "inspector/WireCheck.h"

namespace collector {

// Where the collector is found, and what is needed to be let in.
struct Addresses {
  int port = 0;
  int webPort = 0;
  std::string token;
  std::filesystem::path authority;

  // The inspector's, with the token where a browser sends it to nobody.
  std::string inspector() const {
    return "http://127.0.0.1:" + std::to_string(webPort) + "/#" + token;
  }
};

// Operations may be called from any thread; each writes whole lines and flushes them.
class Printer {
 public:
  virtual ~Printer() = default;

  virtual void listening(const Addresses& addresses) = 0;
  virtual void report(const ReceivedReport& report, const Problems& problems) = 0;
  // A request that no endpoint took.
  virtual void refused(const ReceivedRequest& request, int status) = 0;
};

std::unique_ptr<Printer> makeTextPrinter();
std::unique_ptr<Printer> makeJsonPrinter();

// A table of all reports of this run.
void printSummary(RequestStore& store);

}  // namespace collector
