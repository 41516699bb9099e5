#include "inspector/InspectorServer.h"

#include <httplib.h>

#include <charconv>
#include <iostream>
#include <optional>
#include <stdexcept>
#include <system_error>
#include <thread>

#include "ConnectionThreads.h"
#include "JsonText.h"
#include "Parameters.h"
#include "Text.h"
#include "inspector/EventStream.h"
#include "inspector/OneRequestServer.h"
#include "inspector/PageGuard.h"
#include "inspector/WebAssets.h"

namespace collector {
namespace {

constexpr int kLongestPage = 500;
constexpr std::size_t kMostKinds = 7;
// More than a browser opens for pages of other sites, so that these do not keep out the own page.
constexpr std::size_t kMostConnections = 1024;
constexpr const char* kJson = "application/json";

constexpr const char* kContentSecurityPolicy =
    "default-src 'none'; script-src 'self'; style-src 'self'; img-src 'self'; connect-src 'self'; "
    "form-action 'none'; base-uri 'none'; frame-ancestors 'none'";

void refuse(httplib::Response& response, int status, const std::string& error) {
  response.status = status;
  response.set_content(jsonObject({{"error", error}}), kJson);
}

// What a request for stored requests asks for.
struct Query {
  RequestFilter filter;
  RequestPage page;
};

template <typename Number>
bool readNumber(const std::string& text, Number& number) {
  const char* const end = text.data() + text.size();
  const auto [rest, failure] = std::from_chars(text.data(), end, number);
  return failure == std::errc() && rest == end && number >= 0;
}

bool readParameter(const std::string& name, const std::string& value, Query& query) {
  auto& [filter, page] = query;
  if (name == "kind") {
    filter.kinds.push_back(value);
    return filter.kinds.size() <= kMostKinds && value == nameOf(kindOf(value));
  }
  if (name == "installation" || name == "event" || name == "search") {
    auto& text = name == "event"          ? filter.event
                 : name == "installation" ? filter.installation
                                          : filter.search;
    text = value;
    return true;
  }
  if (name == "problems") {
    filter.onlyProblems = value == "1";
    return value == "1" || value == "0";
  }
  if (name == "before") return readNumber(value, page.before.emplace());
  if (name == "after") return readNumber(value, page.after.emplace());
  return name == "limit" && readNumber(value, page.limit) && page.limit > 0 &&
         page.limit <= kLongestPage;
}

// Absent, and refused, when a parameter is unknown or makes no sense.
std::optional<Query> queryOf(const httplib::Request& request, httplib::Response& response) {
  Query query;
  for (const auto& [name, value] : request.params) {
    if (readParameter(name, value, query)) continue;
    refuse(response, 400, "the parameter \"" + validUtf8(name) + "\" cannot be used like that");
    return std::nullopt;
  }
  return query;
}

}  // namespace

class InspectorServer::Implementation {
 public:
  Implementation(std::string token, ConnectionFacts facts, RequestStore& store,
                 RequestReader& reader, Controls& controls, LiveFeed& feed)
      : store_(store),
        reader_(reader),
        controls_(controls),
        feed_(feed),
        streams_(feed, store, controls),
        token_(std::move(token)),
        facts_(std::move(facts)) {
    http_.new_task_queue = [] { return new ConnectionThreads(kMostConnections); };
    http_.set_payload_max_length(OneRequestServer::kMaximalBody);
    http_.set_tcp_nodelay(true);
    http_.set_default_headers({{"Content-Security-Policy", kContentSecurityPolicy},
                               {"X-Content-Type-Options", "nosniff"},
                               {"Referrer-Policy", "no-referrer"},
                               {"Cross-Origin-Resource-Policy", "same-origin"},
                               {"Cache-Control", "no-store"}});
    http_.set_socket_options([](socket_t socket) {
      const int on = 1;
      setsockopt(socket, SOL_SOCKET, SO_REUSEADDR, &on, sizeof on);
    });
    http_.set_pre_routing_handler([this](const auto& request, auto& response) {
      return isAllowed(request, response) ? httplib::Server::HandlerResponse::Unhandled
                                          : httplib::Server::HandlerResponse::Handled;
    });
    http_.set_exception_handler([](const auto&, auto& response, std::exception_ptr exception) {
      try {
        std::rethrow_exception(exception);
      } catch (const std::exception& failure) {
        refuse(response, 500, failure.what());
      }
    });
    addAssets();
    addRequests();
    addControls();
    addHelp();
  }

  ~Implementation() { stop(); }

  int start(int port) {
    const char* loopback = "127.0.0.1";
    const int bound = port == 0 ? http_.bind_to_any_port(loopback)
                                : (http_.bind_to_port(loopback, port) ? port : -1);
    if (bound < 0) {
      throw std::runtime_error("cannot listen on web port " + std::to_string(port) + ": " +
                               std::generic_category().message(errno));
    }
    guard_.emplace(token_, bound);
    thread_ = std::thread([this] { http_.listen_after_bind(); });
    while (!http_.is_running()) std::this_thread::yield();
    return bound;
  }

  void stop() {
    if (!thread_.joinable()) return;
    feed_.end();
    http_.stop();
    thread_.join();
  }

 private:
  bool isAllowed(const httplib::Request& request, httplib::Response& response) {
    const PageGuard::Refusal refusal = guard_->examine(request);
    if (refusal.status != 0) {
      refuse(response, refusal.status, refusal.reason);
      return false;
    }
    // A page that asks learns of a deleted database as well as an application that reports.
    if (request.path.starts_with("/api/") && store_.reopenIfReplaced()) feed_.cleared();
    return true;
  }

  void addAssets() {
    for (const WebAsset& asset : webAssets()) {
      http_.Get(std::string(asset.path), [asset](const auto&, auto& response) {
        response.set_content(asset.content.data(), asset.content.size(), std::string(asset.type));
      });
    }
  }

  void addRequests() {
    http_.Get("/api/requests", [this](const auto& request, auto& response) {
      const auto query = queryOf(request, response);
      if (query) response.set_content(reader_.list(query->filter, query->page), kJson);
    });
    http_.Get(R"(/api/requests/(\d{1,18}))", [this](const auto& request, auto& response) {
      const auto detail = reader_.detail(std::stoll(request.matches[1].str()));
      detail ? response.set_content(*detail, kJson) : refuse(response, 404, "no such request");
    });
    http_.Delete("/api/requests", [this](const httplib::Request&, httplib::Response& response) {
      store_.clear();
      feed_.cleared();
      response.status = 204;
    });
    http_.Get("/api/facets", [this](const auto&, auto& response) {
      response.set_content(reader_.facets(), kJson);
    });
    http_.Get("/api/export", [this](const auto& request, auto& response) {
      const auto query = queryOf(request, response);
      if (query) exportAll(query->filter, response);
    });
    http_.Get("/api/stream", [this](const auto&, auto& response) {
      if (!streams_.open(response)) {
        refuse(response, 503, "too many pages are open");
      }
    });
  }

  void addControls() {
    http_.Get("/api/controls", [this](const auto&, auto& response) {
      response.set_content(controls_.json(), kJson);
    });
    http_.Put("/api/controls", [this](const auto& request, auto& response) {
      std::string error;
      if (!controls_.set(request.body, error)) return refuse(response, 400, error);
      feed_.controlsChanged();
      response.set_content(controls_.json(), kJson);
    });
  }

  // What helps to integrate an application.
  void addHelp() {
    http_.Get("/api/connection", [this](const auto&, auto& response) {
      response.set_content(jsonObject({{"host", "localhost:" + std::to_string(facts_.port)},
                                       {"developerKey", validUtf8(facts_.developerKey)},
                                       {"authority", validUtf8(facts_.authority.native())}}),
                           kJson);
    });
    http_.Get("/api/checklist", [this](const auto& request, auto& response) {
      response.set_content(reader_.checklist(request.get_param_value("installation")), kJson);
    });
    http_.Post("/api/expect", [this](const httplib::Request& request, httplib::Response& response) {
      std::string error;
      const auto expectations = readExpectations(request.body, error);
      if (!expectations) return refuse(response, 400, error);
      const Comparison outcome = compareOwn(store_, *expectations);
      response.set_content("{\"met\":" + std::string(outcome.isMet ? "true" : "false") + "," +
                               jsonObject({{"differences", outcome.text}}).substr(1),
                           kJson);
    });
  }

  // The first lines are read before the answer begins, so that a database that cannot be read is
  // an error; one that fails later breaks the answer off.
  void exportAll(const RequestFilter& filter, httplib::Response& response) {
    auto lines = std::make_shared<std::string>();
    auto last =
        std::make_shared<std::optional<std::int64_t>>(reader_.exportLines(filter, 0, *lines));
    response.set_header("Content-Disposition", "attachment; filename=\"requests.jsonl\"");
    response.set_chunked_content_provider(
        "application/x-ndjson", [this, filter, last, lines](std::size_t, httplib::DataSink& sink) {
          if (!*last) {
            sink.done();
            return true;
          }
          if (!sink.write(lines->data(), lines->size())) return false;
          lines->clear();
          try {
            *last = reader_.exportLines(filter, **last, *lines);
          } catch (const std::exception& failure) {
            std::cerr << "quarnel-collector: an export failed: " << failure.what() << std::endl;
            return false;
          }
          return true;
        });
  }

  RequestStore& store_;
  RequestReader& reader_;
  Controls& controls_;
  LiveFeed& feed_;
  EventStreams streams_;
  OneRequestServer http_;
  const std::string token_;
  const ConnectionFacts facts_;
  std::optional<PageGuard> guard_;
  std::thread thread_;
};

InspectorServer::InspectorServer(std::string token, ConnectionFacts facts, RequestStore& store,
                                 RequestReader& reader, Controls& controls, LiveFeed& feed)
    : implementation_(std::make_unique<Implementation>(std::move(token), std::move(facts), store,
                                                       reader, controls, feed)) {}

InspectorServer::~InspectorServer() = default;

int InspectorServer::start(int port) { return implementation_->start(port); }

void InspectorServer::stop() { implementation_->stop(); }

}  // namespace collector
