// Tells the inspector's own page, and scripts of the collector's user, from everybody else.
//
// The page itself is for everybody, and holds nothing. What it asks for needs the token of this
// start, which is in the printed address: neither another account of this machine nor a page of
// another site knows it, under whatever name it reaches this port.
#pragma once

#include <httplib.h>

#include <string>

namespace collector {

// 128 random bits in hexadecimal digits. Throws std::runtime_error.
std::string makeToken();

class PageGuard {
 public:
  PageGuard(std::string token, int port);

  struct Refusal {
    int status = 0;  // 0 when the request is allowed.
    std::string reason;
  };
  Refusal examine(const httplib::Request& request) const;

 private:
  bool isOwnHost(const std::string& host) const;
  bool hasToken(const httplib::Request& request) const;

  const std::string token_;
  const std::string port_;
};

}  // namespace collector
