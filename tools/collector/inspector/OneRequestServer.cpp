#include "inspector/OneRequestServer.h"

#include <arpa/inet.h>
#include <poll.h>
#include <sys/socket.h>
#include <unistd.h>

#include <algorithm>
#include <array>
#include <chrono>
#include <cstring>
#include <string>

namespace collector {
namespace {

using std::chrono::milliseconds;
using Clock = std::chrono::steady_clock;

constexpr milliseconds kRequestTime{10'000};  // For the whole request.
constexpr milliseconds kWriteTime{5'000};
// A client that still sends may not see its answer unless somebody reads what it sends.
constexpr milliseconds kLingerTime{1'000};

bool waitFor(int socket, short events, milliseconds time) {
  pollfd entry{socket, events, 0};
  return poll(&entry, 1, static_cast<int>(std::max(time, milliseconds(0)).count())) > 0;
}

class RequestStream : public httplib::Stream {
 public:
  explicit RequestStream(int socket) : socket_(socket), deadline_(Clock::now() + kRequestTime) {}

  bool is_readable() const override {
    return begin_ < end_ || waitFor(socket_, POLLIN, milliseconds(0));
  }

  bool is_writable() const override {
    char byte = 0;
    return waitFor(socket_, POLLOUT, kWriteTime) &&
           recv(socket_, &byte, 1, MSG_PEEK | MSG_DONTWAIT) != 0;
  }

  ssize_t read(char* target, std::size_t size) override {
    // Lines are read byte by byte, bodies by larger pieces.
    if (size == 1 && ++lineBytes_ > OneRequestServer::kMaximalHead) return -1;
    if (begin_ == end_ && !fill()) return -1;
    const std::size_t count = std::min(size, end_ - begin_);
    std::memcpy(target, buffer_.data() + begin_, count);
    begin_ += count;
    return static_cast<ssize_t>(count);
  }

  ssize_t write(const char* data, std::size_t size) override {
    if (!waitFor(socket_, POLLOUT, kWriteTime)) return -1;
    return send(socket_, data, size, MSG_NOSIGNAL | MSG_DONTWAIT);
  }

  // Only the loopback interface is listened on.
  void get_remote_ip_and_port(std::string& ip, int&) const override { ip = "127.0.0.1"; }
  void get_local_ip_and_port(std::string& ip, int&) const override { ip = "127.0.0.1"; }
  socket_t socket() const override { return socket_; }

 private:
  bool fill() {
    const auto left = std::chrono::duration_cast<milliseconds>(deadline_ - Clock::now());
    if (left <= milliseconds(0) || !waitFor(socket_, POLLIN, left)) return false;
    const ssize_t count = recv(socket_, buffer_.data(), buffer_.size(), 0);
    if (count <= 0) return false;
    received_ += static_cast<std::size_t>(count);
    begin_ = 0;
    end_ = static_cast<std::size_t>(count);
    return received_ <= OneRequestServer::kMaximalHead + OneRequestServer::kMaximalBody;
  }

  const int socket_;
  const Clock::time_point deadline_;
  std::array<char, 4096> buffer_{};
  std::size_t begin_ = 0;
  std::size_t end_ = 0;
  std::size_t lineBytes_ = 0;
  std::size_t received_ = 0;
};

void endConnection(int socket) {
  shutdown(socket, SHUT_WR);
  const auto deadline = Clock::now() + kLingerTime;
  std::array<char, 16384> rest{};
  for (auto now = Clock::now(); now < deadline; now = Clock::now()) {
    if (!waitFor(socket, POLLIN, std::chrono::ceil<milliseconds>(deadline - now)) ||
        recv(socket, rest.data(), rest.size(), 0) <= 0) {
      break;
    }
  }
  close(socket);
}

}  // namespace

bool OneRequestServer::process_and_close_socket(socket_t socket) {
  RequestStream stream(socket);
  bool isClosed = false;
  const bool isAnswered = process_request(stream, true, isClosed, [](httplib::Request&) {});
  endConnection(socket);
  return isAnswered;
}

}  // namespace collector
