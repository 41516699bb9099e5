// An HTTP server that reads one request from a connection, of bounded size and in bounded time.
//
// The connection ends after every answer, whatever the client asks for. So what is left of a
// refused request can never be taken for another request with headers of the sender's choice.
#pragma once

#include <httplib.h>

#include <cstddef>

namespace collector {

class OneRequestServer : public httplib::Server {
 public:
  static constexpr std::size_t kMaximalHead = std::size_t{64} << 10;
  static constexpr std::size_t kMaximalBody = std::size_t{4} << 20;

 private:
  bool process_and_close_socket(socket_t socket) override;
};

}  // namespace collector
