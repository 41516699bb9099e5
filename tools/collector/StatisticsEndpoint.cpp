#include "StatisticsEndpoint.h"

#include <utility>

#include "Parameters.h"

namespace collector {

Answer StatisticsEndpoint::handle(ReceivedRequest request) {
  ReceivedReport report;
  report.request = std::move(request);
  report.kind = Kind::kStatistics;
  report.json = jsonObject(plainParametersOf(report.request.body));
  return recorder_.record(report, {200, R"({"status":"ok"})"});
}

}  // namespace collector
