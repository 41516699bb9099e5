#include "RunningCollector.h"

#include <csignal>
#include <memory>

namespace e2e {
namespace {

size_t keepContent(char* data, size_t size, size_t count, void* content) {
  static_cast<std::string*>(content)->append(data, size * count);
  return size * count;
}

Outcome perform(CURL* curl, const std::string& url) {
  Outcome outcome;
  curl_easy_setopt(curl, CURLOPT_URL, url.c_str());
  curl_easy_setopt(curl, CURLOPT_WRITEFUNCTION, keepContent);
  curl_easy_setopt(curl, CURLOPT_WRITEDATA, &outcome.content);
  curl_easy_setopt(curl, CURLOPT_NOSIGNAL, 1L);
  curl_easy_setopt(curl, CURLOPT_TIMEOUT, static_cast<long>(kPatience.count()));
  outcome.code = curl_easy_perform(curl);
  curl_easy_getinfo(curl, CURLINFO_RESPONSE_CODE, &outcome.status);
  return outcome;
}

using Easy = std::unique_ptr<CURL, decltype(&curl_easy_cleanup)>;

rapidjson::Document parsed(const std::string& text) {
  rapidjson::Document document;
  document.Parse<rapidjson::kParseValidateEncodingFlag | rapidjson::kParseIterativeFlag>(
      text.data(), text.size());
  if (!document.IsObject()) throw Failure("not a JSON object: " + text.substr(0, 500));
  return document;
}

}  // namespace

Outcome request(const char* method, const std::string& url, const std::string& body,
                const std::vector<std::string>& headers, const std::string& ca) {
  const Easy curl(curl_easy_init(), curl_easy_cleanup);
  curl_slist* list = nullptr;
  for (const std::string& header : headers) list = curl_slist_append(list, header.c_str());
  const std::unique_ptr<curl_slist, decltype(&curl_slist_free_all)> owner(list,
                                                                          curl_slist_free_all);
  curl_easy_setopt(curl.get(), CURLOPT_HTTPHEADER, list);
  curl_easy_setopt(curl.get(), CURLOPT_POSTFIELDSIZE, static_cast<long>(body.size()));
  curl_easy_setopt(curl.get(), CURLOPT_POSTFIELDS, body.data());
  curl_easy_setopt(curl.get(), CURLOPT_CUSTOMREQUEST, method);
  if (!ca.empty()) curl_easy_setopt(curl.get(), CURLOPT_CAINFO, ca.c_str());
  return perform(curl.get(), url);
}

Outcome post(const std::string& url, const std::string& body, const std::string& ca,
             const std::vector<std::string>& headers) {
  return request("POST", url, body, headers, ca);
}

Outcome get(const std::string& url) { return request("GET", url, {}, {}, {}); }

std::string encoded(const std::string& json) {
  const std::string alphabet = "ABCDEFGHIJKLMNOPQRSTUVWXYZabcdefghijklmnopqrstuvwxyz0123456789-/";
  std::string bits;
  for (const unsigned char byte : json) {
    for (int bit = 7; bit >= 0; --bit) bits += (byte >> bit & 1) ? '1' : '0';
  }
  bits.resize((bits.size() + 5) / 6 * 6, '0');
  std::string text;
  for (size_t at = 0; at < bits.size(); at += 6) {
    text += alphabet[std::stoul(bits.substr(at, 6), nullptr, 2)];
  }
  return text.append((4 - text.size() % 4) % 4, '=');
}

RunningCollector::RunningCollector(const std::string& state, const std::string& key,
                                   const Arguments& more)
    : process_(QUARNEL_COLLECTOR_BINARY, arguments(state, key, more)),
      human_(more.empty() || more[0] != "--jsonl"),
      ca_(state + "/ca.pem") {
  const std::string first = line();
  port_ = first.substr(first.find_first_of("0123456789"));
  port_ = port_.substr(0, port_.find_first_not_of("0123456789"));
  inspector_ = human_ ? line() : first;
  inspector_ = inspector_.substr(inspector_.find("http://127"));
  token_ = inspector_.substr(inspector_.find('#') + 1, 32);
  inspector_ = inspector_.substr(0, inspector_.rfind('/', inspector_.find('"')) + 1);
  if (human_) line();
}

std::string RunningCollector::line() {
  const auto line = process_.output().next(Clock::now() + kPatience);
  if (!line) throw Failure("the collector prints nothing");
  return *line;
}

rapidjson::Document RunningCollector::json() { return parsed(line()); }

Outcome RunningCollector::inspect(const char* method, const std::string& target,
                                  const std::string& body) {
  return request(method, inspector_ + target, body, {"Authorization: Bearer " + token_}, {});
}

rapidjson::Document RunningCollector::ask(const std::string& target) {
  return parsed(get(target).content);
}

Outcome RunningCollector::control(const std::string& controls) {
  return inspect("PUT", "api/controls", controls);
}

std::optional<int> RunningCollector::end() {
  process_.signal(SIGTERM);
  return process_.wait();
}

Arguments RunningCollector::arguments(const std::string& state, const std::string& key,
                                      const Arguments& more) {
  Arguments all{"--port", "0", "--dev-key", key, "--state", state};
  all.insert(all.end(), more.begin(), more.end());
  return all;
}

}  // namespace e2e
