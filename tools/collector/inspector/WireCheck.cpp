#include "inspector/WireCheck.h"

#include <strings.h>

#include <string_view>

#include "JsonText.h"
#include "Parameters.h"
#include "ReportDecoder.h"
#include "Text.h"
#include "inspector/FieldTable.h"

namespace collector {
namespace {

using Severity = Problem::Severity;

constexpr std::size_t kMostKeys = 16;
constexpr std::size_t kMostProblems = 100;

// What only looks odd loses nothing.
Severity severityOf(Form form) {
  return form == Form::kFilledText || form == Form::kCurrency ? Severity::kWarning
                                                              : Severity::kError;
}

void checkFields(Kind kind, const std::vector<JsonMember>& members, Problems& problems) {
  std::set<std::string_view> seen;
  for (const JsonMember& member : members) {
    const Field* const field = findField(kind, member.name);
    if (!seen.insert(member.name).second) {
      problems.push_back({Severity::kError, member.name, "stands there more than once"});
    } else if (!field) {
      problems.push_back({Severity::kWarning, member.name, "is not a known field"});
    } else if (!hasForm(*field, member)) {
      problems.push_back(
          {severityOf(field->form), member.name, "should be " + expectationOf(*field)});
    }
  }
  for (const Field& field : fieldsOf(kind)) {
    if (field.presence == Presence::kAlways && !seen.contains(field.name)) {
      problems.push_back({Severity::kError, std::string(field.name), "is missing"});
    }
  }
}

void expectParameter(const Parameters& query, const Field& field, Problems& problems) {
  const std::string name(field.name);
  const auto found = query.find(name);
  if (found == query.end()) {
    problems.push_back({Severity::kError, name, "is missing in the query"});
  } else if (!hasForm(field, {name, JsonMember::Type::kText, {}, found->second})) {
    problems.push_back({Severity::kError, name, "in the query should be " + expectationOf(field)});
  }
}

constexpr Field kAppId{"app_id", Presence::kAlways, Form::kDigits, {}};
constexpr Field kBuildNumber{"buildnumber", Presence::kAlways, Form::kConstant, {}, "1.0.0"};
constexpr Field kTimeInCache{"timeincache", Presence::kAlways, Form::kTimestamp, {}};
constexpr Field kReplayMark{"isCachedRequest", Presence::kAlways, Form::kConstant, {}, "true"};
constexpr Field kValidationQuery[] = {
    kAppId,
    {"quarnel_id", Presence::kAlways, Form::kIdentifier, {}},
    {"dev_key", Presence::kAlways, Form::kText, {}},
    {"sandbox", Presence::kAlways, Form::kTrueOrFalse, {}},
};

void checkReplay(const Parameters& query, Problems& problems) {
  if (!query.contains("timeincache") && !query.contains("isCachedRequest")) return;
  expectParameter(query, kTimeInCache, problems);
  expectParameter(query, kReplayMark, problems);
  const auto time = query.find("timeincache");
  if (time != query.end() && time->second.starts_with('-')) {
    problems.push_back(
        {Severity::kWarning, "timeincache", "is negative: the clock of the device was set back"});
  }
}

void checkConversionPath(const std::string& path, Problems& problems) {
  const auto id = path.rfind("/id");
  if (id == path.npos || !hasForm(kAppId, {"", JsonMember::Type::kText, {}, path.substr(id + 3)})) {
    problems.push_back({Severity::kError, "", "the path should end in \"id\" and digits"});
  }
}

void checkTarget(const ReceivedReport& report, Problems& problems) {
  const Parameters query = parametersOf(report.request.query);
  switch (report.kind) {
    case Kind::kLaunch:
    case Kind::kEvent:
      checkReplay(query, problems);
      [[fallthrough]];
    case Kind::kRegistration:
      expectParameter(query, kBuildNumber, problems);
      [[fallthrough]];
    case Kind::kStatistics:
      expectParameter(query, kAppId, problems);
      break;
    case Kind::kValidation:
      for (const Field& field : kValidationQuery) expectParameter(query, field, problems);
      break;
    case Kind::kConversion:
      checkConversionPath(report.request.path, problems);
      break;
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

// An event of several values always has some, unless JSON has no form for them.
void checkValues(const std::vector<JsonMember>& members, Problems& problems) {
  bool isMultiple = false;
  bool isEmpty = false;
  for (const JsonMember& member : members) {
    isMultiple |= member.name == "qn_events_api";
    isEmpty |= member.name == "eventvalue" && member.text.empty();
  }
  if (isMultiple && isEmpty) {
    problems.push_back({Severity::kError, "eventvalue",
                        "the values were not sent: they hold a date, bytes or a number that is "
                        "not finite, for which JSON has no form"});
  }
}

// The developer key that a request names in the open.
std::optional<std::string> keyOf(const ReceivedReport& report,
                                 const std::vector<JsonMember>& members) {
  if (report.kind == Kind::kValidation) {
    const Parameters query = parametersOf(report.request.query);
    const auto key = query.find("dev_key");
    return key == query.end() ? std::nullopt : std::optional(key->second);
  }
  for (const JsonMember& member : members) {
    if (member.name == "devkey") return member.text;
  }
  return std::nullopt;
}

}  // namespace

WireCheck::WireCheck(std::string_view developerKey) : developerKey_(validUtf8(developerKey)) {}

Problems WireCheck::check(const ReceivedReport& report) {
  Problems problems;
  if (report.kind == Kind::kUndecodable) {
    checkUndecodable(report, problems);
    return problems;
  }
  const auto members = membersOf(report.json);
  // A wrong key comes first: it explains what else is wrong.
  if (const auto key = keyOf(report, members)) checkKey(*key, problems);
  if (report.kind == Kind::kEvent) checkValues(members, problems);
  checkFields(report.kind, members, problems);
  checkTarget(report, problems);
  checkHeaders(report, problems);
  if (problems.size() > kMostProblems) {
    const std::size_t rest = problems.size() - kMostProblems;
    problems.resize(kMostProblems);
    problems.push_back({Severity::kError, "", std::to_string(rest) + " problems more"});
  }
  return problems;
}

void WireCheck::checkKey(const std::string& key, Problems& problems) {
  if (key == developerKey_) return;
  problems.push_back({Severity::kError, "devkey", "is not the developer key of this collector"});
  const std::lock_guard lock(mutex_);
  if (otherKeys_.size() < kMostKeys) otherKeys_.insert(key);
}

void WireCheck::checkUndecodable(const ReceivedReport& report, Problems& problems) const {
  problems.push_back({Severity::kError, "",
                      "does not decode with the developer key of this collector: " + report.error});
  std::set<std::string> keys{""};
  {
    const std::lock_guard lock(mutex_);
    keys.insert(otherKeys_.begin(), otherKeys_.end());
  }
  for (const std::string& key : keys) {
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

std::string problemsJson(const Problems& problems) {
  rapidjson::StringBuffer buffer;
  JsonWriter writer(buffer);
  writer.StartArray();
  for (const Problem& problem : problems) {
    writer.StartObject();
    writer.Key("severity");
    writer.String(problem.severity == Problem::Severity::kError ? "error" : "warning");
    writer.Key("field");
    problem.field.empty() ? writer.Null() : (writeText(writer, problem.field), true);
    writer.Key("text");
    writeText(writer, problem.text);
    writer.EndObject();
  }
  writer.EndArray();
  return std::string(view(buffer));
}

}  // namespace collector
