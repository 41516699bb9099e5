#include "Applications.h"

#include <rapidjson/stringbuffer.h>
#include <rapidjson/writer.h>
#include <strings.h>

#include <csignal>
#include <cstdlib>

namespace e2e {
namespace {

rapidjson::Document parse(const std::string& line) {
  rapidjson::Document json;
  json.Parse<rapidjson::kParseIterativeFlag | rapidjson::kParseValidateEncodingFlag |
             rapidjson::kParseFullPrecisionFlag>(line.data(), line.size());
  if (!json.IsObject()) throw Failure("not a JSON object: " + line.substr(0, 500));
  return json;
}

std::vector<std::string> joined(std::vector<std::string> options,
                                const std::vector<std::string>& more) {
  options.insert(options.end(), more.begin(), more.end());
  return options;
}

std::vector<std::string> withState(const std::string& state, std::vector<std::string> options) {
  options.insert(options.begin(), {"--state", state});
  return options;
}

std::string lastLines(LineReader& reader) {
  std::string text;
  const auto lines = reader.all();
  for (std::size_t at = lines.size() > 20 ? lines.size() - 20 : 0; at < lines.size(); ++at) {
    text += "\n  " + lines[at].substr(0, 500);
  }
  return text;
}

}  // namespace

TemporaryFolder::TemporaryFolder() {
  std::string name = std::filesystem::temp_directory_path() / "quarnel-e2e-XXXXXX";
  if (!mkdtemp(name.data())) throw Failure("cannot make " + name);
  path_ = name;
}

TemporaryFolder::~TemporaryFolder() {
  std::error_code ignored;  // What a failing test leaves half made must not hide its failure.
  std::filesystem::remove_all(path_, ignored);
}

std::string jsonText(const rapidjson::Value& value) {
  rapidjson::StringBuffer buffer;
  rapidjson::Writer writer(buffer);
  value.Accept(writer);
  return {buffer.GetString(), buffer.GetSize()};
}

std::string quoted(const std::string& text) {
  return jsonText(rapidjson::Value(text.data(), static_cast<rapidjson::SizeType>(text.size())));
}

Report::Report(const std::string& line) : json_(parse(line)) {
  if (!json_.HasMember("body")) throw Failure("undecodable report: " + line.substr(0, 500));
}

std::string Report::about(const std::string& member) const {
  const auto found = json_.FindMember(member.c_str());
  if (found == json_.MemberEnd()) return {};
  return found->value.IsString() ? found->value.GetString() : jsonText(found->value);
}

std::string Report::header(const std::string& name) const {
  for (const auto& header : json_["headers"].GetObject()) {
    if (strcasecmp(header.name.GetString(), name.c_str()) == 0) return header.value.GetString();
  }
  return {};
}

std::vector<std::pair<std::string, std::string>> Report::fields() const {
  std::vector<std::pair<std::string, std::string>> fields;
  for (const auto& field : json_["body"].GetObject()) {
    fields.emplace_back(field.name.GetString(), jsonText(field.value));
  }
  return fields;
}

std::optional<std::string> Report::field(const std::string& name) const {
  const auto& body = json_["body"];
  const auto found = body.FindMember(name.c_str());
  if (found == body.MemberEnd()) return std::nullopt;
  return jsonText(found->value);
}

Collector::Collector(const std::string& folder, const std::string& developerKey, int port,
                     const std::vector<std::string>& more)
    : process_(QUARNEL_COLLECTOR_BINARY, joined({"--port", std::to_string(port), "--dev-key",
                                                 developerKey, "--state", folder, "--jsonl"},
                                                more)) {
  const auto line = process_.output().next(Clock::now() + kPatience);
  if (!line) throw Failure("the collector does not start:" + lastLines(process_.errors()));
  const auto json = parse(*line);
  port_ = json["listening"].GetInt();
  certificateAuthority_ = json["ca"].GetString();
}

Report Collector::next() {
  const auto line = process_.output().next(Clock::now() + kPatience);
  if (!line) throw Failure("no report arrives; the collector says:" + lastLines(process_.errors()));
  return Report(*line);
}

std::string Collector::address(const std::string& host) const {
  return host + ":" + std::to_string(port_);
}

std::vector<std::string> reportingTo(const Collector& collector,
                                     const std::vector<std::string>& more) {
  return joined({"--collector", collector.address(), "--ca", collector.certificateAuthority(),
                 "--dev-key", kDeveloperKey, "--app-id", "123456789"},
                more);
}

Host::Host(const std::string& state, std::vector<std::string> options,
           const std::vector<std::string>& variables)
    : process_("/usr/bin/env", joined(joined(variables, {QUARNEL_HOST_BINARY}),
                                      withState(state, std::move(options)))) {}

std::string Host::next() {
  auto line = process_.output().next(Clock::now() + kPatience);
  if (!line) throw Failure("the host prints nothing; its log:" + lastLines(process_.errors()));
  return *std::move(line);
}

void Host::waitForLog(const std::string& text, std::size_t times) {
  std::size_t found = 0;
  const auto isLast = [&](const std::string& line) {
    return line.find(text) != std::string::npos && ++found == times;
  };
  if (!process_.errors().waitFor(isLast, Clock::now() + kPatience)) {
    throw Failure("no log line has \"" + text + "\":" + lastLines(process_.errors()));
  }
}

void Host::drain() {
  const auto deadline = Clock::now() + kPatience;
  do {
    run(R"(["drain"])");
    if (next() == R"({"result":"drain","value":true})") return;
  } while (Clock::now() < deadline);  // The host itself waits for a while only.
  throw Failure("the host does not come to rest; its log:" + lastLines(process_.errors()));
}

int Host::finish() {
  process_.closeInput();
  return wait();
}

int Host::wait() {
  const auto status = process_.wait();
  if (!status) throw Failure("the host does not end; its log:" + lastLines(process_.errors()));
  return *status;
}

void Host::kill() {
  process_.signal(SIGKILL);
  wait();
}

}  // namespace e2e
