// Takes session statistics, whose body is written like a query.
#pragma once

#include "Recorder.h"

namespace collector {

class StatisticsEndpoint {
 public:
  static constexpr const char* kPath = "/stats";

  explicit StatisticsEndpoint(Recorder& recorder) : recorder_(recorder) {}

  Answer handle(ReceivedRequest request);

 private:
  Recorder& recorder_;
};

}  // namespace collector
