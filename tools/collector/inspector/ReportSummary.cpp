#include "inspector/ReportSummary.h"

#include <charconv>
#include <cmath>
#include <system_error>

#include "JsonText.h"
#include "Parameters.h"

namespace collector {
namespace {

template <typename Number>
std::optional<Number> numberIn(const std::string& text) {
  Number number{};
  const char* const end = text.data() + text.size();
  const auto [rest, failure] = std::from_chars(text.data(), end, number);
  if (failure != std::errc() || rest != end) return std::nullopt;
  if constexpr (std::is_floating_point_v<Number>) {
    if (!std::isfinite(number)) return std::nullopt;
  }
  return number;
}

std::string installationOf(const ReceivedReport& report, const JsonFields& fields,
                           const Parameters& query) {
  if (report.kind == Kind::kConversion) return fields.text("device_id");
  if (report.kind != Kind::kValidation) return fields.text("uid");
  const auto installation = query.find("quarnel_id");
  return installation == query.end() ? std::string() : installation->second;
}

}  // namespace

ReportSummary summarize(const ReceivedReport& report) {
  const JsonFields fields(report.json);
  const Parameters query = parametersOf(report.request.query);
  const bool isReport = report.kind == Kind::kLaunch || report.kind == Kind::kEvent;
  ReportSummary summary;
  summary.installation = installationOf(report, fields, query);
  summary.launches = numberIn<std::int64_t>(fields.text(isReport ? "counter" : "launch_counter"));
  if (isReport) {
    summary.event = fields.text("event");
    summary.events = numberIn<std::int64_t>(fields.text("iaecounter"));
    summary.sessions = numberIn<std::int64_t>(fields.text("sessioncounter"));
    summary.builtAt = numberIn<double>(fields.text("timestamp"));
  }
  if (const auto cached = query.find("timeincache"); cached != query.end()) {
    summary.cachedSeconds = numberIn<double>(cached->second).value_or(0);
  } else if (query.contains("isCachedRequest")) {
    summary.cachedSeconds = 0;
  }
  return summary;
}

}  // namespace collector
