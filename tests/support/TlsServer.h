#pragma once

#include <openssl/ssl.h>

#include <functional>
#include <memory>
#include <mutex>
#include <optional>
#include <set>
#include <string>
#include <thread>
#include <vector>

namespace quarnel::test {

// A certificate with its key. Without an issuer it is an authority's.
class Certificate {
 public:
  Certificate(const std::string& host, const Certificate* issuer);
  void writePem(const std::string& path) const;
  X509* certificate() const { return certificate_.get(); }
  EVP_PKEY* key() const { return key_.get(); }

 private:
  std::unique_ptr<EVP_PKEY, decltype(&::EVP_PKEY_free)> key_;
  std::unique_ptr<X509, decltype(&::X509_free)> certificate_;
};

// One accepted connection, still without TLS.
class Connection {
 public:
  Connection(int socket, SSL_CTX* context);
  Connection(const Connection&) = delete;
  Connection& operator=(const Connection&) = delete;
  ~Connection();

  bool handshake();
  // A whole request with its body; absent when the client has gone.
  std::optional<std::string> readRequest();
  std::optional<std::string> readExactly(std::size_t size);
  // Whether more has come, now or very soon.
  bool hasMore();
  bool send(const std::string& bytes);
  // A byte as it comes over the wire; false when the client has gone.
  bool receiveRawByte();
  // The connection will end without TLS's farewell, as when a network breaks.
  void breakOff() { open_ = false; }
  // Waits until the client goes away.
  void waitForEnd();

 private:
  int socket_;
  std::unique_ptr<SSL, decltype(&::SSL_free)> ssl_;
  bool open_ = false;
};

// Serves connections on a loopback port, each on a thread of its own.
class TlsServer {
 public:
  using Handler = std::function<void(Connection&)>;
  enum class Port { kOpen, kClosed };

  // A closed port is taken, but refuses all connections until open().
  TlsServer(const Certificate& certificate, Handler handler, Port port = Port::kOpen);
  TlsServer(const TlsServer&) = delete;
  TlsServer& operator=(const TlsServer&) = delete;
  ~TlsServer();

  // Also offers HTTP/2, and takes it when the client does. Before the first connection.
  void offerHttp2();
  void open();
  int port() const { return port_; }
  std::string url(const std::string& path) const;
  int acceptedConnections() const;

 private:
  void acceptAll();
  void serve(int socket);

  const Handler handler_;
  std::unique_ptr<SSL_CTX, decltype(&::SSL_CTX_free)> context_;
  int listener_;
  int port_ = 0;
  mutable std::mutex mutex_;
  std::set<int> sockets_;  // Of the connections that are still served.
  std::vector<std::thread> connections_;
  std::thread acceptor_;
};

// A handler that answers every request with what `respond` makes of it.
TlsServer::Handler answering(std::function<std::string(const std::string& request)> respond);

}  // namespace quarnel::test
