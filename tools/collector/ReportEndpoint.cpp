#include "ReportEndpoint.h"

#include <exception>
#include <iostream>
#include <utility>

#include "JsonText.h"

namespace collector {

Answer ReportEndpoint::handle(ReceivedRequest request) {
  ReceivedReport report;
  report.request = std::move(request);
  DecodedReport decoded = decoder_.decode(report.request.body);
  report.error = std::move(decoded.error);
  if (decoded.json) {
    report.json = std::move(*decoded.json);
    report.kind =
        JsonFields(report.json).text("event") == "Launched" ? Kind::kLaunch : Kind::kEvent;
  }
  Answer answer{200, R"({"status":"ok"})"};
  try {
    store_.add(report);
  } catch (const std::exception& failure) {
    std::cerr << "quarnel-collector: a report was not kept: " << failure.what() << std::endl;
    answer = {500, R"({"status":"not kept"})"};
  }
  printer_.report(report);
  return answer;
}

}  // namespace collector
