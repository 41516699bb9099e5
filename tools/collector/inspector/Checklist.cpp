#include "inspector/Checklist.h"

#include <algorithm>
#include <functional>
#include <map>

#include "JsonText.h"

namespace collector {
namespace {

using State = Verdict::State;
using All = std::vector<Evidence>;
using Condition = std::function<bool(const Evidence&)>;

constexpr std::size_t kMostNamed = 8;

const Evidence* lastOf(const All& all, const Condition& condition) {
  const auto found = std::find_if(all.rbegin(), all.rend(), condition);
  return found == all.rend() ? nullptr : &*found;
}

bool isReport(const Evidence& one) { return one.kind == Kind::kLaunch || one.kind == Kind::kEvent; }

Verdict developerKey(const All& all) {
  Verdict verdict{"key", "The developer key matches", State::kOpen, "No request yet."};
  const Evidence* const last =
      lastOf(all, [](const Evidence& one) { return one.hasWrongKey || isReport(one); });
  if (!last) return verdict;
  verdict.requests = {last->id};
  verdict.state = last->hasWrongKey ? State::kBad : State::kGood;
  verdict.text = last->hasWrongKey ? "The application uses another key than this collector "
                                     "(--dev-key), so its reports cannot be read."
                                   : "Reports decode with it.";
  return verdict;
}

Verdict appId(const All& all) {
  Verdict verdict{"app-id", "The app ID is valid", State::kOpen, "No request yet."};
  const Evidence* const last =
      lastOf(all, [](const Evidence& one) { return one.kind != Kind::kUndecodable; });
  if (!last) return verdict;
  const bool isValid =
      !last->appId.empty() && last->appId.find_first_not_of("0123456789") == std::string::npos;
  verdict.requests = {last->id};
  verdict.state = isValid ? State::kGood : State::kBad;
  verdict.text = last->appId.empty() ? "It is missing."
                 : isValid           ? last->appId
                                     : "\"" + last->appId + "\" must consist of digits only.";
  return verdict;
}

Verdict firstLaunch(const All& all) {
  Verdict verdict{"launch", "The first launch arrived", State::kOpen,
                  "No launch yet: call trackAppLaunch."};
  const auto launch = std::find_if(all.begin(), all.end(), [](const Evidence& one) {
    return one.kind == Kind::kLaunch && one.status != 0;
  });
  if (launch == all.end()) return verdict;
  verdict.requests = {launch->id};
  verdict.state = State::kGood;
  verdict.text = launch->launches == 1
                     ? "It has the counter 1."
                     : "A launch arrived, but the first one was before this collector's records.";
  return verdict;
}

Verdict eventValues(const All& all) {
  Verdict verdict{"values", "Event values arrive", State::kOpen, "No event yet."};
  std::map<std::string, const Evidence*> newest;
  for (const Evidence& one : all) {
    if (one.kind == Kind::kEvent) newest[one.event] = &one;
  }
  std::string lost;
  for (const auto& [name, one] : newest) {
    if (!one->hasLostValues) continue;
    lost += (lost.empty() ? "\"" : ", \"") + name + "\"";
    verdict.requests.push_back(one->id);
  }
  if (newest.empty()) return verdict;
  verdict.state = lost.empty() ? State::kGood : State::kBad;
  verdict.text = lost.empty() ? "Every event has what it was given."
                              : lost +
                                    " came without values: they hold a date, bytes or a number "
                                    "that is not finite, for which JSON has no form.";
  if (lost.empty()) verdict.requests = {newest.begin()->second->id};
  return verdict;
}

// "4, 7 to 9" of the numbers that are missing between the first and the last.
std::string gapsOf(const std::map<std::int64_t, std::vector<std::int64_t>>& seen) {
  std::string gaps;
  std::size_t named = 0;
  std::optional<std::int64_t> before;
  for (const auto& [number, requests] : seen) {
    if (before && number - *before > 1 && named++ < kMostNamed) {
      gaps += (gaps.empty() ? "" : ", ") + std::to_string(*before + 1);
      if (number - *before > 2) gaps += " to " + std::to_string(number - 1);
    }
    before = number;
  }
  return named > kMostNamed ? gaps + " and more" : gaps;
}

void checkSequence(const All& all, Kind kind, std::optional<std::int64_t> Evidence::*counter,
                   Verdict& verdict) {
  std::map<std::int64_t, std::vector<std::int64_t>> seen;  // The requests of each number.
  for (const Evidence& one : all) {
    if (one.kind == kind && one.status != 0 && one.*counter)
      seen[*(one.*counter)].push_back(one.id);
  }
  std::string doubles;
  for (const auto& [number, requests] : seen) {
    if (requests.size() < 2) continue;
    doubles += (doubles.empty() ? "" : ", ") + std::to_string(number);
    verdict.requests.insert(verdict.requests.end(), requests.begin(), requests.end());
    if (verdict.requests.size() > kMostNamed) break;
  }
  const std::string what = kind == Kind::kLaunch ? "launch " : "event ";
  const std::string gaps = gapsOf(seen);
  if (!gaps.empty()) verdict.text += "Missing: " + what + gaps + ". ";
  if (!doubles.empty()) verdict.text += "Twice: " + what + doubles + ". ";
  if (!seen.empty() && verdict.state == State::kOpen) verdict.state = State::kGood;
  if (!gaps.empty() || !doubles.empty()) verdict.state = State::kBad;
}

Verdict counters(const All& all) {
  Verdict verdict{"counters", "Counters have no gaps or doubles", State::kOpen, ""};
  checkSequence(all, Kind::kLaunch, &Evidence::launches, verdict);
  checkSequence(all, Kind::kEvent, &Evidence::events, verdict);
  if (verdict.state == State::kOpen) verdict.text = "No report yet.";
  if (verdict.state == State::kGood) verdict.text = "Launches and events count up one by one.";
  if (!verdict.text.empty() && verdict.text.back() == ' ') verdict.text.pop_back();
  return verdict;
}

Verdict offlineReplay(const All& all) {
  Verdict verdict{"replay", "An offline report came back", State::kOpen,
                  "Not tried yet: drop the connection with Simulate faults, report, and mend it."};
  const Evidence* const replayed =
      lastOf(all, [](const Evidence& one) { return one.isReplayed && one.status != 0; });
  if (replayed) {
    return {verdict.name,
            verdict.title,
            State::kGood,
            "Kept while offline, delivered later.",
            {replayed->id}};
  }
  const Evidence* const dropped =
      lastOf(all, [](const Evidence& one) { return isReport(one) && one.status == 0; });
  if (dropped) {
    verdict.text = "A report was dropped; it comes back after the next one that is delivered.";
    verdict.requests = {dropped->id};
  }
  return verdict;
}

struct Step {
  Kind kind;
  const char* name;
  const char* title;
  const char* open;
  const char* good;
  const char* bad;
};

constexpr Step kSteps[] = {
    {Kind::kConversion, "conversion", "Conversion data were asked for and answered",
     "Not asked for yet: set a delegate with onConversionDataReceived before the launch.",
     "Answered.", "Asked for, but not answered."},
    {Kind::kValidation, "purchase", "A purchase was validated",
     "None yet: call validateAndTrackInAppPurchase.", "The receipt was accepted.",
     "The receipt was not accepted."},
    {Kind::kRegistration, "token", "A push token was registered",
     "None yet: call registerUninstall.", "Registered.", "The registration was not answered."},
};

Verdict stepVerdict(const All& all, const Step& step) {
  const Evidence* const last =
      lastOf(all, [&](const Evidence& one) { return one.kind == step.kind; });
  if (!last) return {step.name, step.title, State::kOpen, step.open};
  const bool isGood = !last->isDenied && last->status >= 200 && last->status < 300;
  return {step.name,
          step.title,
          isGood ? State::kGood : State::kBad,
          isGood ? step.good : step.bad,
          {last->id}};
}

const char* nameOf(State state) {
  return state == State::kOpen ? "open" : state == State::kGood ? "good" : "bad";
}

}  // namespace

std::vector<Verdict> checklistOf(const std::vector<Evidence>& requests) {
  std::vector<Verdict> verdicts = {developerKey(requests), appId(requests),
                                   firstLaunch(requests),  eventValues(requests),
                                   counters(requests),     offlineReplay(requests)};
  for (const Step& step : kSteps) verdicts.push_back(stepVerdict(requests, step));
  return verdicts;
}

std::string checklistJson(const std::string& installation, const std::vector<Verdict>& verdicts) {
  rapidjson::StringBuffer buffer;
  JsonWriter writer(buffer);
  writer.StartObject();
  writer.Key("installation");
  installation.empty() ? writer.Null() : (writeText(writer, installation), true);
  writer.Key("verdicts");
  writer.StartArray();
  for (const Verdict& verdict : verdicts) {
    writer.StartObject();
    writer.Key("name");
    writer.String(verdict.name);
    writer.Key("title");
    writer.String(verdict.title);
    writer.Key("state");
    writer.String(nameOf(verdict.state));
    writer.Key("text");
    writeText(writer, verdict.text);
    writer.Key("requests");
    writer.StartArray();
    for (const std::int64_t id : verdict.requests) writer.Int64(id);
    writer.EndArray();
    writer.EndObject();
  }
  writer.EndArray();
  writer.EndObject();
  return std::string(view(buffer));
}

}  // namespace collector
