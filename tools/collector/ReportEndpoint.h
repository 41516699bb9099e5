// Takes launch and event reports.
#pragma once

#include <string_view>

#include "Printer.h"
#include "ReceivedRequest.h"
#include "ReportDecoder.h"
#include "RequestStore.h"

namespace collector {

class ReportEndpoint {
 public:
  static constexpr const char* kPath = "/api/v4/iosevent";

  ReportEndpoint(std::string_view developerKey, RequestStore& store, Printer& printer)
      : decoder_(developerKey), store_(store), printer_(printer) {}

  // What cannot be decoded is kept, shown and answered like anything else: the sender delivered it.
  Answer handle(ReceivedRequest request);

 private:
  ReportDecoder decoder_;
  RequestStore& store_;
  Printer& printer_;
};

}  // namespace collector
