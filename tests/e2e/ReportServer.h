// A server of the test's own, in place of the collector: it can drop connections wherever the test
// wants, and knows which reports it has answered.
#pragma once

#include <atomic>
#include <condition_variable>
#include <mutex>
#include <string>
#include <vector>

#include "Applications.h"
#include "TlsServer.h"

namespace e2e {

// What the report in an encoded body tells about; throws Failure when it cannot be decoded.
// A field of a report, a text or a whole number. Both throw Failure when there is none.
std::string fieldOf(const std::string& encodedBody, const char* name);
std::string eventOf(const std::string& encodedBody);

struct Delivery {
  explicit Delivery(const std::string& request);

  std::string target;  // The path and the query.
  std::string body;
};

class ReportServer {
 public:
  enum class Behaviour {
    kAnswer,
    kDropAtAccept,
    kDropInHandshake,
    kDropAfterRequest,
    kDropInHead,
    kDropAfterHead,
    kDropInBody,
    kDropInChunk,
  };
  using Port = quarnel::test::TlsServer::Port;

  // A closed port refuses connections until open(). Every server's certificate has one issuer.
  explicit ReportServer(Behaviour behaviour = Behaviour::kAnswer, Port port = Port::kOpen);

  void behave(Behaviour behaviour) { behaviour_ = behaviour; }
  void open() { server_.open(); }
  std::string address() const { return "localhost:" + std::to_string(server_.port()); }

  // The options with which a host reports here. The issuer's certificate is put into the folder.
  std::vector<std::string> reportingHere(const std::string& folder,
                                         const std::vector<std::string>& more = {}) const;

  // The reports that were answered, in order.
  std::vector<Delivery> answered() const;
  std::vector<std::string> answeredEvents() const;
  // Throws Failure when it does not come to that many.
  void waitUntilAnswered(std::size_t count);

 private:
  void serve(quarnel::test::Connection& connection);

  std::atomic<Behaviour> behaviour_;
  mutable std::mutex mutex_;
  std::condition_variable changed_;
  std::vector<Delivery> answered_;
  quarnel::test::TlsServer server_;
};

}  // namespace e2e
