// What delivery costs without the library: sends one recorded request again and again with libcurl,
// on as many connections as the library uses and with reused handles.
//   bare-sender start EXEC-TIME
//   bare-sender send RECORD CA COUNT
// RECORD is a file of the library's offline cache. Prints a figure a line.
#include <curl/curl.h>

#include <array>
#include <cstdio>
#include <cstdlib>
#include <fstream>
#include <stdexcept>
#include <string>

#include "process/ProcessFigures.h"

namespace quarnel::bench {
namespace {

constexpr int kConnections = 4;

void check(bool succeeded, const char* what) {
  if (!succeeded) throw std::runtime_error(what);
}

struct Request {
  std::string url;
  std::string body;
};

Request readRecord(const char* path) {
  std::ifstream file(path);
  std::string version, url, data;
  std::getline(file, version);
  std::getline(file, url);
  std::getline(file, data);
  check(url.rfind("url=", 0) == 0 && data.rfind("data=", 0) == 0, "not a record");
  return {url.substr(4), data.substr(5)};
}

std::size_t discard(char*, std::size_t size, std::size_t count, void*) { return size * count; }

class Sender {
 public:
  Sender(const Request& request, const char* authority) {
    for (const char* line :
         {"Expect:", "Accept: application/json", "Content-Type: application/json"}) {
      headers_ = curl_slist_append(headers_, line);
    }
    for (CURL*& handle : handles_) {
      handle = curl_easy_init();
      curl_easy_setopt(handle, CURLOPT_URL, request.url.c_str());
      curl_easy_setopt(handle, CURLOPT_POSTFIELDS, request.body.data());
      curl_easy_setopt(handle, CURLOPT_POSTFIELDSIZE, static_cast<long>(request.body.size()));
      curl_easy_setopt(handle, CURLOPT_HTTPHEADER, headers_);
      curl_easy_setopt(handle, CURLOPT_CAINFO, authority);
      curl_easy_setopt(handle, CURLOPT_CAPATH, nullptr);
      curl_easy_setopt(handle, CURLOPT_WRITEFUNCTION, &discard);
    }
  }
  Sender(const Sender&) = delete;
  Sender& operator=(const Sender&) = delete;
  ~Sender() {
    for (CURL* handle : handles_) {
      curl_multi_remove_handle(multi_, handle);
      curl_easy_cleanup(handle);
    }
    curl_multi_cleanup(multi_);
    curl_slist_free_all(headers_);
  }

  void send(int count) {
    left_ = count;
    for (CURL* handle : handles_) startNext(handle);
    while (running_ > 0) {
      int running = 0;
      curl_multi_perform(multi_, &running);
      takeFinished();
      if (running_ > 0) curl_multi_poll(multi_, nullptr, 0, 1000, nullptr);
    }
  }

 private:
  void startNext(CURL* handle) {
    if (left_ == 0) return;
    --left_;
    ++running_;
    check(curl_multi_add_handle(multi_, handle) == CURLM_OK, "add");
  }

  void takeFinished() {
    int left = 0;
    while (const CURLMsg* message = curl_multi_info_read(multi_, &left)) {
      CURL* const handle = message->easy_handle;
      long status = 0;
      curl_easy_getinfo(handle, CURLINFO_RESPONSE_CODE, &status);
      check(message->data.result == CURLE_OK && status == 200, "a request failed");
      curl_multi_remove_handle(multi_, handle);
      --running_;
      startNext(handle);
    }
  }

  CURLM* const multi_ = curl_multi_init();
  curl_slist* headers_ = nullptr;
  std::array<CURL*, kConnections> handles_{};
  int left_ = 0;
  int running_ = 0;
};

void start(double mainEntered, double execTime) {
  check(curl_global_init(CURL_GLOBAL_DEFAULT) == CURLE_OK, "curl_global_init");
  CURLM* const multi = curl_multi_init();
  print("exec-to-main", mainEntered - execTime);
  print("main-to-started", wallSeconds() - mainEntered);
  print("resident-kb", static_cast<double>(residentKilobytes()));
  print("private-dirty-kb", static_cast<double>(privateDirtyKilobytes()));
  curl_multi_cleanup(multi);
}

void send(const Request& request, const char* authority, int count) {
  const double began = wallSeconds();
  const double processorBefore = processorSeconds();
  Sender(request, authority).send(count);
  print("seconds", wallSeconds() - began);
  print("processor-seconds", processorSeconds() - processorBefore);
  print("resident-kb", static_cast<double>(peakResidentKilobytes()));
  print("private-dirty-kb", static_cast<double>(privateDirtyKilobytes()));
}

}  // namespace
}  // namespace quarnel::bench

int main(int argumentCount, char** arguments) {
  const double mainEntered = quarnel::bench::wallSeconds();
  try {
    const std::string mode = argumentCount > 1 ? arguments[1] : "";
    if (mode == "start" && argumentCount == 3) {
      quarnel::bench::start(mainEntered, std::stod(arguments[2]));
    } else if (mode == "send" && argumentCount == 5) {
      quarnel::bench::send(quarnel::bench::readRecord(arguments[2]), arguments[3],
                           std::stoi(arguments[4]));
    } else {
      throw std::runtime_error("start EXEC-TIME | send RECORD CA COUNT");
    }
  } catch (const std::exception& error) {
    std::fprintf(stderr, "bare-sender: %s\n", error.what());
    return EXIT_FAILURE;
  }
  return EXIT_SUCCESS;
}
