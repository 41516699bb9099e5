#include "Expectations.h"

#include <rapidjson/document.h>

#include <algorithm>
#include <set>

#include "JsonText.h"
#include "Text.h"

namespace collector {
namespace {

using Fields = std::map<std::string, std::string>;

std::string quoted(const std::string& text) {
  rapidjson::StringBuffer buffer;
  JsonWriter writer(buffer);
  writeText(writer, text);
  return std::string(view(buffer));
}

// Content and query by name, as JSON. Event values are decoded where they are JSON.
Fields fieldsOf(const Delivered& request) {
  Fields fields;
  for (const auto& [name, value] : parametersOf(request.query)) fields[name] = quoted(value);
  for (const JsonMember& member : membersOf(request.json)) {
    fields[member.name] = member.json;
    if (member.name != "eventvalue") continue;
    std::string error;
    const auto object = compactObject(decodedText(member.text), error);
    fields[member.name] = object ? *object : quoted(decodedText(member.text));
  }
  return fields;
}

bool isSameJson(const std::string& left, const std::string& right) {
  constexpr unsigned kFlags = rapidjson::kParseIterativeFlag;
  rapidjson::Document a;
  rapidjson::Document b;
  a.Parse<kFlags>(left.data(), left.size());
  b.Parse<kFlags>(right.data(), right.size());
  return !a.HasParseError() && !b.HasParseError() && a == b;
}

struct Difference {
  int count = 0;
  std::string text;
};

Difference differenceOf(const Expectation& expected, const Fields& fields) {
  Difference difference;
  for (const auto& [name, value] : expected.fields) {
    const auto found = fields.find(name);
    const std::string actual = found == fields.end() ? "null" : found->second;
    if (isSameJson(value, actual)) continue;
    ++difference.count;
    difference.text += "\n    " + printable(name, 60) + ": expected " + printable(value, 300) +
                       ", got " + (actual == "null" ? "nothing" : printable(actual, 300));
  }
  return difference;
}

std::string described(const Fields& fields) {
  std::string text;
  for (const char* name : {"event", "eventvalue", "counter", "iaecounter"}) {
    const auto found = fields.find(name);
    if (found != fields.end())
      text += " " + std::string(name) + " " + printable(found->second, 200);
  }
  return text;
}

struct Candidate {
  const Delivered* request;
  Fields fields;
  bool isTaken = false;
};

// The free request of that kind with the fewest differences; the same event counts most.
Candidate* nearest(const Expectation& expected, std::vector<Candidate>& candidates) {
  Candidate* best = nullptr;
  int fewest = 0;
  for (Candidate& candidate : candidates) {
    if (candidate.isTaken || candidate.request->kind != expected.kind) continue;
    int count = differenceOf(expected, candidate.fields).count;
    const auto event = expected.fields.find("event");
    if (event != expected.fields.end() && candidate.fields["event"] != event->second) count += 1000;
    if (!best || count < fewest) {
      best = &candidate;
      fewest = count;
    }
  }
  return fewest < 1000 ? best : nullptr;
}

}  // namespace

std::optional<std::vector<Expectation>> readExpectations(std::string_view text,
                                                         std::string& error) {
  std::vector<Expectation> expectations;
  for (int number = 1; !text.empty(); ++number) {
    const std::string_view line = text.substr(0, text.find('\n'));
    text.remove_prefix(std::min(line.size() + 1, text.size()));
    const auto first = line.find_first_not_of(" \t\r");
    if (first == line.npos || line[first] == '#') continue;
    const auto object = compactObject(line, error);
    Expectation expectation{number, Kind::kUndecodable, {}};
    for (const JsonMember& member : membersOf(object.value_or("{}"))) {
      if (member.name == "kind") {
        expectation.kind = kindOf(member.text);
      } else {
        expectation.fields[member.name] = member.json;
      }
    }
    if (object && expectation.kind == Kind::kUndecodable) {
      error = "\"kind\" must be launch, event, statistics, conversion, validation or registration";
    }
    if (!error.empty()) {
      error = "line " + std::to_string(number) + ": " + error;
      return std::nullopt;
    }
    expectations.push_back(std::move(expectation));
  }
  return expectations;
}

Comparison compare(const std::vector<Expectation>& expected,
                   const std::vector<Delivered>& delivered) {
  std::set<Kind> kinds{Kind::kUndecodable};
  for (const Expectation& one : expected) kinds.insert(one.kind);
  std::vector<Candidate> candidates;
  for (const Delivered& request : delivered) {
    if (kinds.contains(request.kind)) candidates.push_back({&request, fieldsOf(request)});
  }
  std::vector<const Expectation*> unmet;
  for (const Expectation& one : expected) {
    const auto match = std::find_if(candidates.begin(), candidates.end(), [&](const Candidate& c) {
      return !c.isTaken && c.request->kind == one.kind && differenceOf(one, c.fields).count == 0;
    });
    match == candidates.end() ? unmet.push_back(&one) : void(match->isTaken = true);
  }
  std::string text;
  for (const Expectation* one : unmet) {
    const std::string line =
        std::string(nameOf(one->kind)) + " (line " + std::to_string(one->line) + ")";
    if (Candidate* const near = nearest(*one, candidates)) {
      near->isTaken = true;
      text += "different: " + line + ", request " + std::to_string(near->request->id) +
              differenceOf(*one, near->fields).text + "\n";
    } else {
      text += "missing: " + line + described(one->fields) + "\n";
    }
  }
  std::size_t surplus = 0;
  for (const Candidate& candidate : candidates) {
    if (candidate.isTaken) continue;
    ++surplus;
    text += "not expected: " + std::string(nameOf(candidate.request->kind)) + ", request " +
            std::to_string(candidate.request->id) + described(candidate.fields) + "\n";
  }
  text += std::to_string(expected.size() - unmet.size()) + " of " +
          std::to_string(expected.size()) + " expected requests arrived, " +
          std::to_string(surplus) + " not expected\n";
  return {unmet.empty() && surplus == 0, text};
}

}  // namespace collector
