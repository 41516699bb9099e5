// Takes launch and event reports, and the registrations of push tokens, which share their path.
#pragma once

#include <string_view>

#include "Recorder.h"
#include "ReportDecoder.h"

namespace collector {

class ReportEndpoint {
 public:
  static constexpr const char* kPath = "/api/v4/iosevent";

  ReportEndpoint(std::string_view developerKey, Recorder& recorder)
      : decoder_(developerKey), recorder_(recorder) {}

  // What cannot be decoded is kept, shown and answered like anything else: the sender delivered it.
  Answer handle(ReceivedRequest request);

 private:
  ReportDecoder decoder_;
  Recorder& recorder_;
};

}  // namespace collector
