#include "TlsServer.h"

#include <arpa/inet.h>
#include <netinet/in.h>
#include <openssl/pem.h>
#include <openssl/x509v3.h>
#include <poll.h>
#include <sys/socket.h>
#include <unistd.h>

#include <array>
#include <cerrno>
#include <csignal>
#include <cstdio>
#include <cstdlib>
#include <system_error>

namespace quarnel::test {
namespace {

void addExtension(X509* certificate, int kind, const std::string& value) {
  X509_EXTENSION* extension = ::X509V3_EXT_conf_nid(nullptr, nullptr, kind, value.c_str());
  ::X509_add_ext(certificate, extension, -1);
  ::X509_EXTENSION_free(extension);
}

std::size_t contentLength(const std::string& head) {
  constexpr std::string_view kName = "\r\nContent-Length: ";
  const std::size_t found = head.find(kName);
  if (found == std::string::npos) return 0;
  return std::strtoul(head.c_str() + found + kName.size(), nullptr, 10);
}

// A client that goes away must not kill the test with SIGPIPE.
void ignoreBrokenPipes() {
  sigset_t signals;
  ::sigemptyset(&signals);
  ::sigaddset(&signals, SIGPIPE);
  ::pthread_sigmask(SIG_BLOCK, &signals, nullptr);
}

}  // namespace

Certificate::Certificate(const std::string& host, const Certificate* issuer)
    : key_(::EVP_EC_gen("P-256"), &::EVP_PKEY_free), certificate_(::X509_new(), &::X509_free) {
  X509* const made = certificate_.get();
  ::X509_set_version(made, X509_VERSION_3);
  ::ASN1_INTEGER_set(::X509_get_serialNumber(made), issuer == nullptr ? 1 : 2);
  ::X509_gmtime_adj(::X509_getm_notBefore(made), -3600);
  ::X509_gmtime_adj(::X509_getm_notAfter(made), 3600);
  ::X509_set_pubkey(made, key_.get());
  X509_NAME* const name = ::X509_get_subject_name(made);
  ::X509_NAME_add_entry_by_txt(name, "CN", MBSTRING_ASC,
                               reinterpret_cast<const unsigned char*>(host.c_str()), -1, -1, 0);
  ::X509_set_issuer_name(made, issuer ? ::X509_get_subject_name(issuer->certificate()) : name);
  if (issuer == nullptr) {
    addExtension(made, NID_basic_constraints, "critical,CA:TRUE");
  } else {
    addExtension(made, NID_subject_alt_name, "DNS:" + host);
  }
  ::X509_sign(made, issuer ? issuer->key() : key_.get(), ::EVP_sha256());
}

void Certificate::writePem(const std::string& path) const {
  std::FILE* const file = std::fopen(path.c_str(), "w");
  ::PEM_write_X509(file, certificate_.get());
  std::fclose(file);
}

Connection::Connection(int socket, SSL_CTX* context)
    : socket_(socket), ssl_(::SSL_new(context), &::SSL_free) {
  ::SSL_set_fd(ssl_.get(), socket);
}

Connection::~Connection() {
  if (open_) ::SSL_shutdown(ssl_.get());
  ::shutdown(socket_, SHUT_RDWR);
}

bool Connection::handshake() { return open_ = ::SSL_accept(ssl_.get()) == 1; }

std::optional<std::string> Connection::readRequest() {
  std::string request;
  std::array<char, 16384> buffer;
  for (;;) {
    const std::size_t head = request.find("\r\n\r\n");
    if (head != std::string::npos && request.size() >= head + 4 + contentLength(request)) {
      return request;
    }
    const int got = ::SSL_read(ssl_.get(), buffer.data(), static_cast<int>(buffer.size()));
    if (got <= 0) {
      open_ = false;
      return std::nullopt;
    }
    request.append(buffer.data(), static_cast<std::size_t>(got));
  }
}

std::optional<std::string> Connection::readExactly(std::size_t size) {
  std::string bytes(size, '\0');
  for (std::size_t done = 0; done < size;) {
    const int got = ::SSL_read(ssl_.get(), &bytes[done], static_cast<int>(size - done));
    if (got <= 0) {
      open_ = false;
      return std::nullopt;
    }
    done += static_cast<std::size_t>(got);
  }
  return bytes;
}

bool Connection::hasMore() {
  constexpr int kMilliseconds = 2;
  pollfd socket{socket_, POLLIN, 0};
  return ::SSL_pending(ssl_.get()) > 0 || ::poll(&socket, 1, kMilliseconds) > 0;
}

bool Connection::send(const std::string& bytes) {
  return ::SSL_write(ssl_.get(), bytes.data(), static_cast<int>(bytes.size())) > 0;
}

bool Connection::receiveRawByte() {
  char byte = 0;
  return ::recv(socket_, &byte, 1, 0) > 0;
}

void Connection::waitForEnd() {
  while (receiveRawByte()) {
  }
}

TlsServer::TlsServer(const Certificate& certificate, Handler handler, Port port)
    : handler_(std::move(handler)),
      context_(::SSL_CTX_new(::TLS_server_method()), &::SSL_CTX_free),
      listener_(::socket(AF_INET, SOCK_STREAM | SOCK_CLOEXEC, 0)) {
  ::SSL_CTX_use_certificate(context_.get(), certificate.certificate());
  ::SSL_CTX_use_PrivateKey(context_.get(), certificate.key());
  sockaddr_in address{};
  address.sin_family = AF_INET;
  address.sin_addr.s_addr = ::htonl(INADDR_LOOPBACK);
  socklen_t size = sizeof address;
  if (::bind(listener_, reinterpret_cast<sockaddr*>(&address), size) != 0) {
    throw std::system_error(errno, std::generic_category(), "bind");
  }
  ::getsockname(listener_, reinterpret_cast<sockaddr*>(&address), &size);
  port_ = ::ntohs(address.sin_port);
  if (port == Port::kOpen) open();
}

TlsServer::~TlsServer() {
  ::shutdown(listener_, SHUT_RDWR);
  if (acceptor_.joinable()) acceptor_.join();
  {
    const std::lock_guard lock(mutex_);
    for (const int socket : sockets_) ::shutdown(socket, SHUT_RDWR);
  }
  for (std::thread& connection : connections_) connection.join();
  ::close(listener_);
}

void TlsServer::offerHttp2() {
  ::SSL_CTX_set_alpn_select_cb(
      context_.get(),
      [](SSL*, const unsigned char** chosen, unsigned char* size, const unsigned char* offered,
         unsigned offeredSize, void*) {
        static constexpr unsigned char kHttp2[] = {2, 'h', '2'};
        return ::SSL_select_next_proto(const_cast<unsigned char**>(chosen), size, kHttp2,
                                       sizeof kHttp2, offered,
                                       offeredSize) == OPENSSL_NPN_NEGOTIATED
                   ? SSL_TLSEXT_ERR_OK
                   : SSL_TLSEXT_ERR_NOACK;
      },
      nullptr);
}

void TlsServer::open() {
  ::listen(listener_, SOMAXCONN);
  acceptor_ = std::thread([this] { acceptAll(); });
}

std::string TlsServer::url(const std::string& path) const {
  return "https://localhost:" + std::to_string(port_) + path;
}

int TlsServer::acceptedConnections() const {
  const std::lock_guard lock(mutex_);
  return static_cast<int>(connections_.size());
}

void TlsServer::acceptAll() {
  for (;;) {
    const int socket = ::accept4(listener_, nullptr, nullptr, SOCK_CLOEXEC);
    if (socket < 0) return;
    const std::lock_guard lock(mutex_);
    sockets_.insert(socket);
    connections_.emplace_back([this, socket] { serve(socket); });
  }
}

void TlsServer::serve(int socket) {
  ignoreBrokenPipes();
  {
    Connection connection(socket, context_.get());
    handler_(connection);
  }
  const std::lock_guard lock(mutex_);
  sockets_.erase(socket);
  ::close(socket);
}

TlsServer::Handler answering(std::function<std::string(const std::string& request)> respond) {
  return [respond = std::move(respond)](Connection& connection) {
    if (!connection.handshake()) return;
    while (const auto request = connection.readRequest()) {
      if (!connection.send(respond(*request))) return;
    }
  };
}

}  // namespace quarnel::test
