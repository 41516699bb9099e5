// What happens to every request that an endpoint took.
#pragma once

#include "Printer.h"
#include "ReceivedRequest.h"
#include "RequestStore.h"

namespace collector {

class Recorder {
 public:
  Recorder(RequestStore& store, Printer& printer) : store_(store), printer_(printer) {}

  // Keeps and shows the request, and returns the answer; an error when it could not be kept.
  Answer record(const ReceivedReport& report, Answer answer);

 private:
  RequestStore& store_;
  Printer& printer_;
};

}  // namespace collector
