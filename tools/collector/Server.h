// The HTTPS server: hands requests to the endpoints that were added.
#pragma once

#include <functional>
#include <memory>
#include <string>

#include "Certificates.h"
#include "ReceivedRequest.h"

namespace collector {

class Server {
 public:
  using Handler = std::function<Answer(ReceivedRequest)>;
  using RefusalHandler = std::function<void(const ReceivedRequest&, int status)>;

  // `refusal` is told of every request that no endpoint took, or that could not be read. Handlers
  // run on a thread for each connection. Throws std::runtime_error.
  Server(const Certificates& certificates, RefusalHandler refusal);
  ~Server();

  // The path is a regular expression.
  void get(const std::string& path, Handler handler);
  void post(const std::string& path, Handler handler);

  // Binds to the loopback interface and serves from then on. 0 is any free port; the port bound is
  // returned. Throws std::runtime_error when it is taken.
  int start(int port);

  // Returns when every request that has arrived is answered; those whose answer is delayed are not.
  void stop();

 private:
  class Implementation;
  std::unique_ptr<Implementation> implementation_;
};

}  // namespace collector
