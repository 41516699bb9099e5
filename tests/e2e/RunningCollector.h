// A collector that tests talk to themselves, without an application.
#pragma once

#include <curl/curl.h>
#include <rapidjson/document.h>

#include <optional>
#include <string>
#include <vector>

#include "Applications.h"

namespace e2e {

using Arguments = std::vector<std::string>;

inline constexpr const char* kPath = "/api/v4/iosevent?app_id=1&buildnumber=1.0.0";

struct Outcome {
  CURLcode code = CURLE_OK;
  long status = 0;
  std::string content;
};

Outcome request(const char* method, const std::string& url, const std::string& body,
                const std::vector<std::string>& headers, const std::string& ca);
Outcome post(const std::string& url, const std::string& body, const std::string& ca,
             const std::vector<std::string>& headers = {});
Outcome get(const std::string& url);

// What a body looks like when the developer key is empty.
std::string encoded(const std::string& json);

class RunningCollector {
 public:
  RunningCollector(const std::string& state, const std::string& key, const Arguments& more);

  std::string line();
  rapidjson::Document json();
  Outcome send(const std::string& body, const std::string& target = kPath,
               const std::vector<std::string>& headers = {}) {
    return post("https://localhost:" + port_ + target, body, ca_, headers);
  }
  // What the inspector answers to who knows its token.
  Outcome get(const std::string& target) { return inspect("GET", target, {}); }
  Outcome inspect(const char* method, const std::string& target, const std::string& body);
  // The same, a JSON object.
  rapidjson::Document ask(const std::string& target);
  // Changes the controls, as the inspector's page does.
  Outcome control(const std::string& controls);
  std::optional<int> end();
  const std::string& port() const { return port_; }
  const std::string& ca() const { return ca_; }
  const std::string& inspector() const { return inspector_; }  // Its address, without the token.
  const std::string& token() const { return token_; }
  Process& process() { return process_; }

 private:
  static Arguments arguments(const std::string& state, const std::string& key,
                             const Arguments& more);

  Process process_;
  bool human_;
  std::string ca_;
  std::string port_;
  std::string inspector_;
  std::string token_;
};

}  // namespace e2e
