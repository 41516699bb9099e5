#include "ReportServer.h"

#include "ReportDecoder.h"

namespace e2e {
namespace {

using quarnel::test::Certificate;

const Certificate& authority() {
  static const Certificate* const made = new Certificate("Test authority", nullptr);
  return *made;
}

const Certificate& localhost() {
  static const Certificate* const made = new Certificate("localhost", &authority());
  return *made;
}

// As much of a response as the client gets to see.
std::string response(ReportServer::Behaviour behaviour) {
  using Behaviour = ReportServer::Behaviour;
  switch (behaviour) {
    case Behaviour::kAnswer:
      return "HTTP/1.1 200 OK\r\nContent-Length: 2\r\n\r\n{}";
    case Behaviour::kDropInHead:
      return "HTTP/1.1 200 OK\r\nContent-Length: 0\r\n";
    case Behaviour::kDropAfterHead:
      return "HTTP/1.1 200 OK\r\nContent-Length: 100\r\n\r\n";
    case Behaviour::kDropInBody:
      return "HTTP/1.1 200 OK\r\nContent-Length: 100\r\n\r\n{\"status\"";
    case Behaviour::kDropInChunk:
      return "HTTP/1.1 200 OK\r\nTransfer-Encoding: chunked\r\n\r\n64\r\n{\"status\"";
    default:
      return {};
  }
}

}  // namespace

std::string fieldOf(const std::string& encodedBody, const char* name) {
  const collector::DecodedReport report =
      collector::ReportDecoder(kDeveloperKey).decode(encodedBody);
  if (!report.json) throw Failure(report.error + ": " + encodedBody.substr(0, 500));
  rapidjson::Document json;
  json.Parse(report.json->data(), report.json->size());
  if (!json.HasMember(name)) throw Failure(std::string("no ") + name + ": " + *report.json);
  const rapidjson::Value& value = json[name];
  return value.IsString() ? value.GetString() : std::to_string(value.GetInt());
}

std::string eventOf(const std::string& encodedBody) { return fieldOf(encodedBody, "event"); }

Delivery::Delivery(const std::string& request)
    : target(request.substr(5, request.find(' ', 5) - 5)),  // Behind "POST ".
      body(request.substr(request.find("\r\n\r\n") + 4)) {}

ReportServer::ReportServer(Behaviour behaviour, Port port)
    : behaviour_(behaviour),
      server_(
          localhost(), [this](auto& connection) { serve(connection); }, port) {}

std::vector<std::string> ReportServer::reportingHere(const std::string& folder,
                                                     const std::vector<std::string>& more) const {
  const std::string file = folder + "/issuer.pem";
  authority().writePem(file);
  std::vector<std::string> options{"--collector", address(),  "--ca",      file,     "--dev-key",
                                   kDeveloperKey, "--app-id", "123456789", "--debug"};
  options.insert(options.end(), more.begin(), more.end());
  return options;
}

std::vector<Delivery> ReportServer::answered() const {
  const std::lock_guard lock(mutex_);
  return answered_;
}

std::vector<std::string> ReportServer::answeredEvents() const {
  std::vector<std::string> events;
  for (const Delivery& delivery : answered()) events.push_back(eventOf(delivery.body));
  return events;
}

void ReportServer::waitUntilAnswered(std::size_t count) {
  std::unique_lock lock(mutex_);
  if (!changed_.wait_for(lock, kPatience, [&] { return answered_.size() >= count; })) {
    throw Failure("only " + std::to_string(answered_.size()) + " reports have arrived");
  }
}

void ReportServer::serve(quarnel::test::Connection& connection) {
  if (behaviour_ == Behaviour::kDropAtAccept) return;
  if (behaviour_ == Behaviour::kDropInHandshake) {
    connection.receiveRawByte();
    return;
  }
  if (!connection.handshake()) return;
  while (const auto request = connection.readRequest()) {
    const Behaviour behaviour = behaviour_;
    if (behaviour == Behaviour::kAnswer) {
      // Noted before it is sent: what the client knows to be answered is never missing here.
      const std::lock_guard lock(mutex_);
      answered_.emplace_back(*request);
      changed_.notify_all();
    }
    const std::string text = response(behaviour);
    if (!text.empty()) connection.send(text);
    if (behaviour != Behaviour::kAnswer) {
      connection.breakOff();
      return;
    }
  }
}

}  // namespace e2e
