#pragma once

#include <cstdint>
#include <optional>
#include <string>

#include "TlsServer.h"

namespace quarnel::test {

// The server's side of an HTTP/2 connection, for small requests: their headers are not read.
class Http2Connection {
 public:
  static constexpr std::uint32_t kRefusedStream = 7;
  static constexpr std::uint32_t kHttp11Required = 13;

  // Announces that it takes one stream at a time.
  explicit Http2Connection(Connection& connection);

  // The stream of the next whole request; absent when the client has gone.
  std::optional<std::uint32_t> readRequest();
  // Absent when there is none now or very soon.
  std::optional<std::uint32_t> readRequestThatIsHere();
  void answer(std::uint32_t stream);
  void reset(std::uint32_t stream, std::uint32_t error);
  // Takes no streams after this one.
  void goAway(std::uint32_t lastStream);

 private:
  // The stream, if this ends a request; zero for other frames; absent when the client has gone.
  std::optional<std::uint32_t> readFrame();
  void send(char type, char flags, std::uint32_t stream, const std::string& payload);

  Connection& connection_;
};

}  // namespace quarnel::test
