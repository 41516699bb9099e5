#include "inspector/PageGuard.h"

#include <openssl/crypto.h>
#include <openssl/rand.h>

#include <array>
#include <charconv>
#include <stdexcept>
#include <string_view>
#include <system_error>
#include <utility>

#include "inspector/OneRequestServer.h"

namespace collector {
namespace {

// A body is allowed whose length is announced once, and bounded; no other reading of where a
// request ends is possible then.
bool hasBoundedBody(const httplib::Request& request) {
  if (request.has_header("Transfer-Encoding") || request.has_header("Content-Encoding")) {
    return false;
  }
  const auto lengths = request.get_header_value_count("Content-Length");
  if (lengths == 0) return true;
  const std::string length = request.get_header_value("Content-Length");
  std::size_t size = 0;
  const char* const end = length.data() + length.size();
  const auto [rest, failure] = std::from_chars(length.data(), end, size);
  return lengths == 1 && failure == std::errc() && rest == end &&
         size <= OneRequestServer::kMaximalBody;
}

}  // namespace

std::string makeToken() {
  std::array<unsigned char, 16> bytes{};
  if (RAND_bytes(bytes.data(), bytes.size()) != 1) throw std::runtime_error("no random numbers");
  constexpr const char* kDigits = "0123456789abcdef";
  std::string token;
  for (const unsigned char byte : bytes) {
    token.push_back(kDigits[byte >> 4]);
    token.push_back(kDigits[byte & 15]);
  }
  return token;
}

PageGuard::PageGuard(std::string token, int port)
    : token_(std::move(token)), port_(std::to_string(port)) {}

PageGuard::Refusal PageGuard::examine(const httplib::Request& request) const {
  const std::string host = request.get_header_value("Host");
  if (request.get_header_value_count("Host") != 1 || !isOwnHost(host)) {
    return {403, "the inspector answers to its own address only"};
  }
  if (request.has_header("Origin") && request.get_header_value("Origin") != "http://" + host) {
    return {403, "the inspector does not answer to other pages"};
  }
  if (!hasBoundedBody(request)) {
    return {413, "a body needs one Content-Length of at most 4 MiB"};
  }
  if (!request.path.starts_with("/api/")) return {};
  if (!hasToken(request)) {
    return {401, "the token of this start is needed: open the address that the collector printed"};
  }
  return {};
}

bool PageGuard::isOwnHost(const std::string& host) const {
  return host == "127.0.0.1:" + port_ || host == "localhost:" + port_;
}

bool PageGuard::hasToken(const httplib::Request& request) const {
  constexpr std::string_view kScheme = "Bearer ";
  const std::string given = request.get_header_value("Authorization");
  return given.starts_with(kScheme) && given.size() == kScheme.size() + token_.size() &&
         CRYPTO_memcmp(given.data() + kScheme.size(), token_.data(), token_.size()) == 0;
}

}  // namespace collector
