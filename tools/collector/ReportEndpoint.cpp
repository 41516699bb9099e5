#include "ReportEndpoint.h"

#include <utility>

#include "JsonText.h"

namespace collector {
namespace {

// A registration is plain JSON; no encoded report begins with a brace.
bool readRegistration(ReceivedReport& report) {
  if (!report.request.body.starts_with('{')) return false;
  std::string error;
  auto json = compactObject(report.request.body, error);
  if (!json || JsonFields(*json).text("devicetoken").empty()) return false;
  report.json = std::move(*json);
  report.kind = Kind::kRegistration;
  return true;
}

}  // namespace

Answer ReportEndpoint::handle(ReceivedRequest request) {
  ReceivedReport report;
  report.request = std::move(request);
  if (!readRegistration(report)) {
    DecodedReport decoded = decoder_.decode(report.request.body);
    report.error = std::move(decoded.error);
    if (decoded.json) {
      report.json = std::move(*decoded.json);
      report.kind =
          JsonFields(report.json).text("event") == "Launched" ? Kind::kLaunch : Kind::kEvent;
    }
  }
  return recorder_.record(report, {200, R"({"status":"ok"})"});
}

}  // namespace collector
