#include "inspector/WireCheck.h"

#include <strings.h>

#include "JsonText.h"
#include "Parameters.h"
#include "ReportDecoder.h"
#include "Text.h"
#include "inspector/FieldTable.h"

namespace collector {
namespace {

using Severity = Problem::Severity;

constexpr std::size_t kMostKeys = 16;

void checkFields(Kind kind, const rapidjson::Document& document, Problems& problems) {
  for (const Field& field : fieldsOf(kind)) {
    const auto member = document.FindMember(rapidjson::StringRef(field.name.data()));
    if (member == document.MemberEnd()) {
      if (field.presence == Presence::kAlways) {
        problems.push_back({Severity::kError, std::string(field.name), "is missing"});
      }
    } else if (!hasForm(member->value, field.form)) {
      problems.push_back({Severity::kError, std::string(field.name),
                          "should be " + std::string(describe(field.form))});
    }
  }
  for (const auto& member : document.GetObject()) {
    const std::string name(member.name.GetString(), member.name.GetStringLength());
    if (!findField(kind, name)) {
      problems.push_back({Severity::kWarning, name, "is not a known field"});
    }
  }
}

void expectParameter(const Parameters& query, const char* name, Form form, Problems& problems) {
  const auto found = query.find(name);
  if (found == query.end()) {
    problems.push_back({Severity::kError, name, "is missing in the query"});
    return;
  }
  const auto length = static_cast<rapidjson::SizeType>(found->second.size());
  const rapidjson::Value value(rapidjson::StringRef(found->second.data(), length));
  if (!hasForm(value, form)) {
    problems.push_back(
        {Severity::kError, name, "in the query should be " + std::string(describe(form))});
  }
}

void checkReplay(const Parameters& query, Problems& problems) {
  const auto cached = query.find("timeincache");
  const auto mark = query.find("isCachedRequest");
  if (cached == query.end() && mark == query.end()) return;
  if (cached == query.end() || mark == query.end() || mark->second != "true") {
    problems.push_back({Severity::kError, "isCachedRequest",
                        "a replayed report has timeincache and isCachedRequest=true"});
  } else {
    expectParameter(query, "timeincache", Form::kTimestamp, problems);
    if (cached->second.starts_with('-')) {
      problems.push_back(
          {Severity::kWarning, "timeincache", "is negative: the clock of the device was set back"});
    }
  }
}

void checkQuery(const ReceivedReport& report, Problems& problems) {
  const Parameters query = parametersOf(report.request.query);
  switch (report.kind) {
    case Kind::kLaunch:
    case Kind::kEvent:
      checkReplay(query, problems);
      [[fallthrough]];
    case Kind::kRegistration:
      expectParameter(query, "buildnumber", Form::kLibraryVersion, problems);
      [[fallthrough]];
    case Kind::kStatistics:
      expectParameter(query, "app_id", Form::kDigits, problems);
      break;
    case Kind::kValidation:
      expectParameter(query, "app_id", Form::kDigits, problems);
      expectParameter(query, "quarnel_id", Form::kIdentifier, problems);
      expectParameter(query, "dev_key", Form::kFilledText, problems);
      expectParameter(query, "sandbox", Form::kTrueOrFalse, problems);
      break;
    case Kind::kConversion:
    case Kind::kUndecodable:
      break;
  }
}

void expectHeader(const ReceivedRequest& request, const char* name, std::string_view expected,
                  Problems& problems) {
  for (const auto& [header, value] : request.headers) {
    if (strcasecmp(header.c_str(), name) == 0 && value == expected) return;
  }
  problems.push_back(
      {Severity::kWarning, name, "the header should be \"" + std::string(expected) + "\""});
}

void checkHeaders(const ReceivedReport& report, Problems& problems) {
  if (report.kind == Kind::kConversion) return;
  const bool isStatistics = report.kind == Kind::kStatistics;
  expectHeader(report.request, "Content-Type",
               isStatistics ? "application/text" : "application/json", problems);
  if (!isStatistics && report.kind != Kind::kRegistration) {
    expectHeader(report.request, "Accept", "application/json", problems);
  }
}

// The developer key that a request names in the open.
std::string keyOf(const ReceivedReport& report, const JsonFields& fields) {
  if (report.kind != Kind::kValidation) return fields.text("devkey");
  const Parameters query = parametersOf(report.request.query);
  const auto key = query.find("dev_key");
  return key == query.end() ? std::string() : key->second;
}

}  // namespace

Problems WireCheck::check(const ReceivedReport& report) {
  Problems problems;
  if (report.kind == Kind::kUndecodable) {
    checkUndecodable(report, problems);
    return problems;
  }
  if (!report.error.empty()) problems.push_back({Severity::kError, "", report.error});
  rapidjson::Document document;
  document.Parse<rapidjson::kParseIterativeFlag>(report.json.data(), report.json.size());
  if (document.IsObject()) checkFields(report.kind, document, problems);
  checkQuery(report, problems);
  checkHeaders(report, problems);
  checkKey(keyOf(report, JsonFields(report.json)), problems);
  return problems;
}

void WireCheck::checkKey(const std::string& key, Problems& problems) {
  if (key.empty() || key == validUtf8(developerKey_)) return;
  problems.push_back({Severity::kError, "devkey", "is not the developer key of this collector"});
  const std::lock_guard lock(mutex_);
  if (otherKeys_.size() < kMostKeys) otherKeys_.insert(key);
}

void WireCheck::checkUndecodable(const ReceivedReport& report, Problems& problems) const {
  problems.push_back({Severity::kError, "", report.error});
  const std::lock_guard lock(mutex_);
  for (const std::string& key : otherKeys_) {
    if (!ReportDecoder(key).decode(report.request.body).json) continue;
    problems.push_back(
        {Severity::kError, "", "the developer key \"" + key + "\" decodes the body"});
    return;
  }
}

void checkCounters(const ReportSummary& earlier, const ReportSummary& report, Problems& problems) {
  const auto compare = [&](const char* field, const std::optional<std::int64_t>& before,
                           const std::optional<std::int64_t>& now) {
    if (!before || !now || *now >= *before) return;
    problems.push_back({Severity::kWarning, field,
                        "jumps back: the report before had " + std::to_string(*before)});
  };
  compare("counter", earlier.launches, report.launches);
  compare("sessioncounter", earlier.sessions, report.sessions);
  compare("iaecounter", earlier.events, report.events);
}

}  // namespace collector
