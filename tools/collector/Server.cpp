#include "Server.h"

#include <httplib.h>
#include <sys/socket.h>

#include <atomic>
#include <cerrno>
#include <chrono>
#include <iostream>
#include <stdexcept>
#include <system_error>
#include <thread>
#include <utility>

#include "ConnectionThreads.h"
#include "OpenConnections.h"

namespace collector {
namespace {

constexpr std::size_t kMaximalBody = std::size_t{64} << 20;
constexpr std::chrono::seconds kClientTimeout{60};
constexpr std::size_t kMostConnections = 4096;
constexpr std::size_t kRequestsPerConnection = 1'000'000;

// How long the end waits for answers that are being written.
constexpr std::chrono::seconds kEndTime{2};

thread_local bool isAnswering = false;

using HandlerResponse = httplib::Server::HandlerResponse;

// Marks the answers of endpoints, whatever their status.
constexpr const char* kTaken = "X-Collector";

ReceivedRequest received(const httplib::Request& request) {
  ReceivedRequest result;
  result.time = std::chrono::system_clock::now();
  result.method = request.method;
  result.host = request.get_header_value("Host");
  const auto mark = request.target.find('?');
  result.path = request.target.substr(0, mark);
  if (mark != std::string::npos) result.query = request.target.substr(mark + 1);
  for (const auto& [name, value] : request.headers) {
    // The HTTP library puts the addresses of the connection among the headers.
    if (name.starts_with("REMOTE_") || name.starts_with("LOCAL_")) continue;
    result.headers.emplace_back(name, value);
  }
  return result;
}

// False when the body is too long or did not arrive whole; the HTTP library answers then.
bool readBody(const httplib::Request& request, const httplib::ContentReader& reader,
              std::string& body) {
  const auto append = [&](const char* data, std::size_t size) {
    body.append(data, size);
    return body.size() <= kMaximalBody;
  };
  // Without either header there is no body, which the HTTP library would wait for all the same.
  if (!request.has_header("Content-Length") && !request.has_header("Transfer-Encoding"))
    return true;
  // The HTTP library hands out the contents of the parts only.
  if (request.is_multipart_form_data()) {
    return reader([](const httplib::MultipartFormData&) { return true; }, append);
  }
  return reader(append);
}

}  // namespace

class Server::Implementation {
 public:
  Implementation(const Certificates& certificates, RefusalHandler refusal)
      : http_(certificates.server().c_str(), certificates.serverKey().c_str()) {
    if (!http_.is_valid()) throw std::runtime_error("cannot use the server certificate");
    SSL_CTX_set_min_proto_version(http_.ssl_context(), TLS1_2_VERSION);
    connections_.watch(http_.ssl_context());
    http_.new_task_queue = [] { return new ConnectionThreads(kMostConnections); };
    http_.set_payload_max_length(kMaximalBody);
    http_.set_keep_alive_max_count(kRequestsPerConnection);
    http_.set_keep_alive_timeout(kClientTimeout.count());
    http_.set_read_timeout(kClientTimeout);
    http_.set_write_timeout(kClientTimeout);
    http_.set_tcp_nodelay(true);
    // The default would let two collectors share a port.
    http_.set_socket_options([this](socket_t socket) {
      const int on = 1;
      setsockopt(socket, SOL_SOCKET, SO_REUSEADDR, &on, sizeof on);
      listener_ = socket;
    });
    http_.set_pre_routing_handler([](const httplib::Request&, httplib::Response& response) {
      OpenConnections::headIsRead();
      if (!OpenConnections::isThisThreadsClosed()) return HandlerResponse::Unhandled;
      response.status = 400;
      return HandlerResponse::Handled;
    });
    http_.set_logger(
        [this, refusal](const httplib::Request& request, const httplib::Response& response) {
          OpenConnections::requestIsRead();
          endAnswer();
          if (response.has_header(kTaken) || OpenConnections::isThisThreadsClosed()) return;
          refusal(received(request), response.status);
          // The rest of what was refused must not be taken for a request.
          OpenConnections::closeThisThreads();
        });
    http_.set_exception_handler(
        [](const auto&, httplib::Response& response, std::exception_ptr exception) {
          response.status = 500;
          try {
            std::rethrow_exception(exception);
          } catch (const std::exception& failure) {
            std::cerr << "quarnel-collector: a request failed: " << failure.what() << std::endl;
          }
        });
  }

  ~Implementation() { stop(); }

  void post(const std::string& path, Handler handler) {
    http_.Post(path, [this, handler](const httplib::Request& request, httplib::Response& response,
                                     const httplib::ContentReader& reader) {
      ReceivedRequest incoming = received(request);
      if (!readBody(request, reader, incoming.body)) return;
      beginAnswer();
      respond(response, handler(std::move(incoming)));
    });
  }

  void get(const std::string& path, Handler handler) {
    http_.Get(path, [this, handler](const httplib::Request& request, httplib::Response& response) {
      beginAnswer();
      respond(response, handler(received(request)));
    });
  }

  // What was taken is answered, also at the end.
  void beginAnswer() {
    isAnswering = true;
    ++answering_;
  }

  void endAnswer() {
    if (isAnswering) --answering_;
    isAnswering = false;
  }

  void respond(httplib::Response& response, const Answer& answer) {
    connections_.waitUnlessEnding(answer.delay);
    // The answer that follows meets a closed connection.
    if (answer.drop) OpenConnections::closeThisThreads();
    response.status = answer.status;
    response.set_header(kTaken, "taken");
    response.set_content(answer.json, "application/json");
  }

  int start(int port) {
    const char* loopback = "127.0.0.1";
    const int bound = port == 0 ? http_.bind_to_any_port(loopback)
                                : (http_.bind_to_port(loopback, port) ? port : -1);
    if (bound < 0) {
      throw std::runtime_error("cannot listen on port " + std::to_string(port) + ": " +
                               std::generic_category().message(errno));
    }
    // The HTTP library's own backlog is too short for a burst of connections.
    ::listen(listener_, SOMAXCONN);
    thread_ = std::thread([this] { http_.listen_after_bind(); });
    while (!http_.is_running()) std::this_thread::yield();
    return bound;
  }

  void stop() {
    if (!thread_.joinable()) return;
    http_.stop();
    connections_.endDelays();
    const auto deadline = std::chrono::steady_clock::now() + kEndTime;
    while (answering_ > 0 && std::chrono::steady_clock::now() < deadline) {
      std::this_thread::sleep_for(std::chrono::milliseconds(1));
    }
    connections_.endInput();
    thread_.join();
  }

 private:
  OpenConnections connections_;
  std::atomic<int> answering_ = 0;
  httplib::SSLServer http_;
  socket_t listener_ = INVALID_SOCKET;
  std::thread thread_;
};

Server::Server(const Certificates& certificates, RefusalHandler refusal)
    : implementation_(std::make_unique<Implementation>(certificates, std::move(refusal))) {}

Server::~Server() = default;

void Server::get(const std::string& path, Handler handler) {
  implementation_->get(path, std::move(handler));
}

void Server::post(const std::string& path, Handler handler) {
  implementation_->post(path, std::move(handler));
}

int Server::start(int port) { return implementation_->start(port); }

void Server::stop() { implementation_->stop(); }

}  // namespace collector
