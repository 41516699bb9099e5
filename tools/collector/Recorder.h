// What happens to every request that an endpoint took.
#pragma once

#include "Printer.h"
#include "ReceivedRequest.h"
#include "RequestStore.h"
#include "inspector/Controls.h"
#include "inspector/LiveFeed.h"
#include "inspector/WireCheck.h"

namespace collector {

class Recorder {
 public:
  Recorder(RequestStore& store, Printer& printer, WireCheck& check, const Controls& controls,
           LiveFeed& feed)
      : store_(store), printer_(printer), check_(check), controls_(controls), feed_(feed) {}

  // Checks, keeps and shows the request, and returns the answer, made as bad as the controls ask
  // for; an error when it could not be kept.
  Answer record(const ReceivedReport& report, Answer answer);

 private:
  RequestStore& store_;
  Printer& printer_;
  WireCheck& check_;
  const Controls& controls_;
  LiveFeed& feed_;
};

}  // namespace collector
